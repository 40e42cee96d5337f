#include "Listener.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace orvane::plexa::broker {

namespace {

std::system_error Failure(const std::string& inWhat) { return {errno, std::system_category(), inWhat}; }

FileDescriptor OpenSpare() { return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

/// A socket's inode lives as long as the socket: its number is nobody else's meanwhile.
std::optional<FileNumber> FileAt(const std::string& inPath) {
    struct stat status {};
    if (::lstat(inPath.c_str(), &status) != 0) return std::nullopt;
    return FileNumber{status.st_dev, status.st_ino};
}

/// False when the path is too long.
bool SetAddress(sockaddr_un& outAddress, const std::string& inPath) {
    outAddress = {};
    outAddress.sun_family = AF_UNIX;
    if (inPath.size() >= sizeof(outAddress.sun_path)) return false;
    std::memcpy(outAddress.sun_path, inPath.c_str(), inPath.size() + 1);
    return true;
}

}  // namespace

Listener::Listener(FileDescriptor inSocket, std::string inPath, bool inAdopted)
    : mSocket(std::move(inSocket)),
      mSpare(OpenSpare()),
      mPath(std::move(inPath)),
      mAdopted(inAdopted),
      mFile(FileAt(mPath)) {}

Listener Listener::Bind(const std::string& inPath) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket) throw Failure("cannot make a socket");
    // Bound under another name first: under its own name it listens from the first moment on.
    const std::string provisional = inPath + "~";
    sockaddr_un address{};
    if (!SetAddress(address, provisional)) {
        errno = ENAMETOOLONG;
        throw Failure("cannot make the socket " + inPath);
    }
    ::unlink(provisional.c_str());
    if (::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::chmod(provisional.c_str(), S_IRUSR | S_IWUSR) != 0 || ::listen(socket.Get(), SOMAXCONN) != 0 ||
        ::rename(provisional.c_str(), inPath.c_str()) != 0) {
        const int error = errno;
        ::unlink(provisional.c_str());
        errno = error;
        throw Failure("cannot make the socket " + inPath);
    }
    return {std::move(socket), inPath, false};
}

Listener Listener::Adopt(FileDescriptor inSocket, const std::string& inPath) {
    const int flags = ::fcntl(inSocket.Get(), F_GETFL);
    if (flags < 0 || ::fcntl(inSocket.Get(), F_SETFL, flags | O_NONBLOCK) != 0 ||
        ::fcntl(inSocket.Get(), F_SETFD, FD_CLOEXEC) != 0) {
        throw Failure("cannot use the socket handed over");
    }
    return {std::move(inSocket), inPath, true};
}

bool Listener::IsServed(const std::string& inPath) noexcept {
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    if (!SetAddress(address, inPath)) return false;
    // A full queue of connections says that somebody listens, too.
    return ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ||
           errno == EAGAIN;
}

AcceptResult Listener::Accept(FileDescriptor& outConnection) {
    const auto accept = [this] {
        return FileDescriptor(::accept4(mSocket.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    };
    outConnection = accept();
    if (outConnection) return AcceptResult::kAccepted;
    switch (errno) {
        case EAGAIN:
            return AcceptResult::kNone;
        case EINTR:
        case ECONNABORTED:
            return AcceptResult::kTurnedAway;
        case EMFILE:
        case ENFILE: {
            if (!mSpare) mSpare = OpenSpare();
            if (!mSpare) return AcceptResult::kLater;
            mSpare.Close();
            const bool taken = static_cast<bool>(accept());
            // Without a free descriptor the first attempt fails even when nobody waits.
            const bool nobody = !taken && errno == EAGAIN;
            mSpare = OpenSpare();
            if (nobody) return AcceptResult::kNone;
            return taken ? AcceptResult::kTurnedAway : AcceptResult::kLater;
        }
        default:
            return AcceptResult::kLater;
    }
}

bool Listener::InPlace() const noexcept { return mFile && FileAt(mPath) == mFile; }

void Listener::Unlink() noexcept {
    if (!Adopted() && InPlace()) ::unlink(mPath.c_str());
}

}  // namespace orvane::plexa::broker
