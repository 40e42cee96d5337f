#include "wire/InheritedDescriptors.h"

#include <algorithm>
#include <vector>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace orvane::plexa::wire {

namespace {

void CloseRange(unsigned inFirst, unsigned inLast) {
    if (inFirst <= inLast) ::syscall(SYS_close_range, inFirst, inLast, 0U);
}

}  // namespace

void CloseInheritedDescriptors(std::span<const int> inKept) {
    std::vector<unsigned> kept;
    for (const int descriptor : inKept) {
        if (descriptor > STDERR_FILENO) kept.push_back(static_cast<unsigned>(descriptor));
    }
    std::sort(kept.begin(), kept.end());
    unsigned first = STDERR_FILENO + 1;
    for (const unsigned descriptor : kept) {
        if (descriptor > first) CloseRange(first, descriptor - 1);
        first = std::max(first, descriptor + 1);
    }
    CloseRange(first, ~0U);
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        // The lowest free number is taken, and all below `standard` are open.
        if (::fcntl(standard, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
    }
}

}  // namespace orvane::plexa::wire
