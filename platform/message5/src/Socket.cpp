#include "Socket.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace orvane::plexa::message5 {

namespace {

std::string SystemText(int inError) { return std::system_category().message(inError); }

bool OwnUsers(int inSocket) {
    ucred peer{};
    socklen_t length = sizeof(peer);
    return ::getsockopt(inSocket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && peer.uid == ::geteuid();
}

Transfer Result(ssize_t inResult, std::size_t& outBytes) {
    outBytes = inResult > 0 ? static_cast<std::size_t>(inResult) : 0;
    if (inResult >= 0) {
        return Transfer::kDone;
    }
    if (errno == ENOBUFS || errno == ENOMEM) {
        return Transfer::kShortage;
    }
    return errno == EAGAIN || errno == EINTR ? Transfer::kWouldBlock : Transfer::kClosed;
}

}  // namespace

ConnectResult Connect(const std::string& inPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (inPath.size() >= sizeof(address.sun_path)) {
        return {{}, false, "the socket's path \"" + inPath + "\" is too long"};
    }
    std::memcpy(address.sun_path, inPath.c_str(), inPath.size() + 1);
    wire::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        return {{}, false, "cannot make a socket: " + SystemText(errno)};
    }
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const int error = errno;
        return {{},
                error == ENOENT || error == ECONNREFUSED,
                "cannot connect to \"" + inPath + "\": " + SystemText(error)};
    }
    if (!OwnUsers(socket.Get())) {
        return {{}, false, "\"" + inPath + "\" is another user's broker"};
    }
    return {std::move(socket), false, {}};
}

Transfer Read(int inSocket, std::span<std::byte> inSpace, std::size_t& outBytes) {
    const Transfer result = Result(::recv(inSocket, inSpace.data(), inSpace.size(), MSG_DONTWAIT), outBytes);
    return result == Transfer::kDone && outBytes == 0 ? Transfer::kClosed : result;
}

Transfer Write(int inSocket, std::span<iovec> inPieces, std::size_t& outBytes) {
    msghdr message{};
    message.msg_iov = inPieces.data();
    message.msg_iovlen = inPieces.size();
    return Result(::sendmsg(inSocket, &message, MSG_DONTWAIT | MSG_NOSIGNAL), outBytes);
}

void ShutDown(int inSocket) noexcept { ::shutdown(inSocket, SHUT_RDWR); }

Waker::Waker() : mEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mEvent) {
        throw std::system_error(errno, std::system_category(), "cannot make an event");
    }
}

void Waker::Wake() noexcept { ::eventfd_write(mEvent.Get(), 1); }

void Waker::Clear() noexcept {
    eventfd_t count = 0;
    ::eventfd_read(mEvent.Get(), &count);
}

}  // namespace orvane::plexa::message5
