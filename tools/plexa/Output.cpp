#include "Output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>

#include "Failure.h"

namespace orvane::plexa::tool {

namespace {

bool WantsColours() {
    return ::isatty(STDOUT_FILENO) == 1 &&
           std::getenv("NO_COLOR") == nullptr;  // NOLINT(concurrency-mt-unsafe): nothing changes it
}

// Waits until a write won't block; false when interrupted first.
bool AwaitReader(int inInterruption) {
    std::array<pollfd, 2> wanted{{{STDOUT_FILENO, POLLOUT, 0}, {inInterruption, POLLIN, 0}}};
    while (::poll(wanted.data(), wanted.size(), -1) < 0) {
        if (errno != EINTR) return true;  // the write itself says what is wrong
    }
    return wanted[1].revents == 0;
}

[[noreturn]] void FailToWrite() {
    if (errno == EPIPE) throw ReaderGone();
    throw Failure(kExitFailure,
                  "cannot write the output: " + std::error_code(errno, std::system_category()).message());
}

}  // namespace

Output::Output(int inInterruption) : mInterruption(inInterruption), mColours(WantsColours()) {}

void Output::Write(std::string_view inText) {
    while (!inText.empty()) {
        if (!AwaitReader(mInterruption)) return;
        // No more than what a pipe that is ready takes without waiting.
        const ssize_t written =
            ::write(STDOUT_FILENO, inText.data(), std::min<std::size_t>(inText.size(), PIPE_BUF));
        if (written >= 0) {
            inText.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            FailToWrite();
        }
    }
}

void Output::Line(std::string_view inText) { Write(std::string(inText) + "\n"); }

std::string Output::Strong(std::string_view inText) const {
    return mColours ? "\033[1m" + std::string(inText) + "\033[0m" : std::string(inText);
}

}  // namespace orvane::plexa::tool
