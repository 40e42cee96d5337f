#include "Identity.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using orvane::plexa::broker::FileDescriptor;

namespace {

/// Runs in the other process: per address received one connection, sent back as a descriptor together with an
/// error number.
[[noreturn]] void Serve(int inControl) {
    for (;;) {
        sockaddr_un address{};
        if (::recv(inControl, &address, sizeof(address), MSG_WAITALL) !=
            static_cast<ssize_t>(sizeof(address)))
            ::_exit(0);
        const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        int error = 0;
        if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
            error = errno;
        iovec piece{&error, sizeof(error)};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
        msghdr message{};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = room.data();
        message.msg_controllen = room.size();
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &connection, sizeof(connection));
        if (::sendmsg(inControl, &message, MSG_NOSIGNAL) < 0) ::_exit(1);
        ::close(connection);
    }
}

}  // namespace

Identity::Identity() {
    std::array<int, 2> pair{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0) {
        throw std::system_error(errno, std::system_category(), "socketpair");
    }
    mControl = FileDescriptor(pair[0]);
    const FileDescriptor other(pair[1]);
    mProcess = ::fork();
    if (mProcess < 0) throw std::system_error(errno, std::system_category(), "fork");
    if (mProcess == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // Nothing else of the test may stay open here: ends of connections would not be seen.
        constexpr int kControl = STDERR_FILENO + 1;
        if (pair[1] != kControl) ::dup2(pair[1], kControl);
        ::syscall(SYS_close_range, kControl + 1U, ~0U, 0U);
        Serve(kControl);
    }
}

Identity::~Identity() { End(); }

void Identity::End() {
    if (mProcess <= 0) return;
    ::kill(mProcess, SIGKILL);
    ::waitpid(mProcess, nullptr, 0);
    mProcess = -1;
}

FileDescriptor Identity::Connect(const std::string& inSocketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, inSocketPath.c_str(), sizeof(address.sun_path) - 1);
    int error = 0;
    iovec piece{&error, sizeof(error)};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = room.data();
    message.msg_controllen = room.size();
    if (::send(mControl.Get(), &address, sizeof(address), MSG_NOSIGNAL) < 0 ||
        ::recvmsg(mControl.Get(), &message, MSG_CMSG_CLOEXEC) != static_cast<ssize_t>(sizeof(error))) {
        throw std::system_error(ECHILD, std::system_category(), "the connecting process has ended");
    }
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr) throw std::system_error(EMFILE, std::system_category(), "the connection was lost");
    int connection = -1;
    std::memcpy(&connection, CMSG_DATA(header), sizeof(connection));
    FileDescriptor held(connection);
    if (error != 0) throw std::system_error(error, std::system_category(), inSocketPath);
    return held;
}
