#include <fcntl.h>
#include <unistd.h>

#include "Tool.h"

namespace {

// No file that is opened later may take the place of a standard stream that the caller has closed: what is
// meant for the one would go into the other. What takes it here can't be used, as before.
void FillClosedStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0) ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

int main(int argc, char** argv) {
    FillClosedStreams();
    return orvane::plexa::tool::Run(argc, argv);
}
