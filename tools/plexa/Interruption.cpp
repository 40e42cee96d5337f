#include "Interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>

#include "Failure.h"

namespace orvane::plexa::tool {

namespace {

// Read by the signal handler, hence plain, set before the handler is installed and never closed.
int sSignalled = -1;

void OnSignal(int /*inSignal*/) {
    const int error = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(sSignalled, &one, sizeof one);
    errno = error;
}

// Poll's time-out until a deadline, rounded up so that no wait ends early.
int Milliseconds(Deadline inDeadline) {
    if (!inDeadline) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*inDeadline - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

}  // namespace

Interruption::Interruption() {
    sSignalled = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (sSignalled < 0) {
        throw Failure(kExitFailure, "cannot start: the system gives no more file descriptors");
    }
    struct sigaction action {};
    action.sa_handler = OnSignal;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

int Interruption::Descriptor() const noexcept { return sSignalled; }

bool Interruption::HasCome() const noexcept {
    pollfd signalled{sSignalled, POLLIN, 0};
    return ::poll(&signalled, 1, 0) == 1;
}

bool Interruption::Await(int inDescriptor, Deadline inDeadline) const {
    std::array<pollfd, 2> wanted{{{inDescriptor, POLLIN, 0}, {sSignalled, POLLIN, 0}}};
    for (;;) {
        const int ready = ::poll(wanted.data(), wanted.size(), Milliseconds(inDeadline));
        if (ready > 0) return wanted[1].revents == 0;
        if (ready == 0 && inDeadline && Clock::now() >= *inDeadline) return false;
        if (ready < 0 && errno != EINTR) return false;
    }
}

Deadline After(std::optional<double> inSeconds) {
    if (!inSeconds) return std::nullopt;
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*inSeconds));
}

}  // namespace orvane::plexa::tool
