#include "Process.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>

namespace orvane::plexa::broker {

namespace {

bool HasEnded(int inProcessHandle) {
    pollfd state{inProcessHandle, POLLIN, 0};
    return ::poll(&state, 1, 0) != 0;
}

/// None with errno telling why.
std::optional<std::uint64_t> ReadStartTime(pid_t inProcess) {
    const std::string path = "/proc/" + std::to_string(inProcess) + "/stat";
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return std::nullopt;
    std::array<char, 1024> text;
    const ssize_t length = ::read(file.Get(), text.data(), text.size());
    errno = ESRCH;
    if (length <= 0) return std::nullopt;
    return StartTimeOf({text.data(), static_cast<std::size_t>(length)});
}

}  // namespace

std::optional<Credentials> PeerCredentials(int inSocket) {
    ucred peer{};
    socklen_t length = sizeof(peer);
    if (::getsockopt(inSocket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return std::nullopt;
    return Credentials{peer.uid, peer.pid};
}

std::optional<HeldProcess> HoldProcess(pid_t inProcess) {
    FileDescriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, inProcess, 0U)));
    if (!handle) return std::nullopt;
    const std::optional<std::uint64_t> startTime = ReadStartTime(inProcess);
    if (!startTime) return std::nullopt;
    // Alive after the reading: so the text was about this process and not about a later one of the same
    // number.
    if (HasEnded(handle.Get())) {
        errno = ESRCH;
        return std::nullopt;
    }
    return HeldProcess{{static_cast<std::uint32_t>(inProcess), *startTime}, std::move(handle)};
}

std::optional<std::uint64_t> StartTimeOf(std::string_view inStatText) {
    // The second field is the program's name in parentheses and may contain anything, parentheses and blanks
    // included.
    constexpr int kFieldsBetween = 19;
    const std::size_t nameEnd = inStatText.rfind(')');
    if (nameEnd == std::string_view::npos) return std::nullopt;
    std::string_view rest = inStatText.substr(nameEnd + 1);
    for (int field = 0; field <= kFieldsBetween; ++field) {
        const std::size_t blank = rest.find(' ');
        if (blank == std::string_view::npos) return std::nullopt;
        rest.remove_prefix(blank + 1);
    }
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (error != std::errc() || end == rest.data()) return std::nullopt;
    return value;
}

}  // namespace orvane::plexa::broker
