#include "Activation.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace orvane::plexa::broker {

namespace {

constexpr int kFirstDescriptor = 3;

std::optional<int> Number(const char* inText) {
    if (inText == nullptr) return std::nullopt;
    const char* const end = inText + std::strlen(inText);
    int value = 0;
    const auto [stop, error] = std::from_chars(inText, end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

int SocketOption(int inSocket, int inName) {
    int value = -1;
    socklen_t length = sizeof(value);
    return ::getsockopt(inSocket, SOL_SOCKET, inName, &value, &length) == 0 ? value : -1;
}

}  // namespace

std::optional<int> ActivatedSocket(const char* inListenPid, const char* inListenFds, pid_t inProcess) {
    if (Number(inListenPid) != inProcess) return std::nullopt;
    const std::optional<int> count = Number(inListenFds);
    if (!count || *count < 1) return std::nullopt;
    return kFirstDescriptor;
}

std::optional<int> TakeActivatedSocket() {
    // NOLINTBEGIN(concurrency-mt-unsafe): at start there is one thread.
    const std::optional<int> socket =
        ActivatedSocket(std::getenv("LISTEN_PID"), std::getenv("LISTEN_FDS"), ::getpid());
    ::unsetenv("LISTEN_PID");
    ::unsetenv("LISTEN_FDS");
    // NOLINTEND(concurrency-mt-unsafe)
    if (!socket) return std::nullopt;
    if (SocketOption(*socket, SO_DOMAIN) != AF_UNIX || SocketOption(*socket, SO_TYPE) != SOCK_STREAM ||
        SocketOption(*socket, SO_ACCEPTCONN) != 1) {
        throw std::runtime_error(
            "descriptor 3, handed over through LISTEN_FDS, is not a listening unix stream socket");
    }
    return socket;
}

void ReportReady(int inDescriptor) {
    const char byte = '\n';
    [[maybe_unused]] const ssize_t written = ::write(inDescriptor, &byte, 1);
    ::close(inDescriptor);
}

}  // namespace orvane::plexa::broker
