#include "Channel.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>

namespace orvane::plexa::broker {

namespace {

constexpr std::size_t kPiecesPerWrite = 128;

}  // namespace

Channel::Channel(FileDescriptor inSocket, wire::BufferPool& inPool, const wire::Limits& inLimits)
    : mSocket(std::move(inSocket)), mReader(inPool, inLimits, wire::Direction::kToBroker) {}

ReadResult Channel::Read() {
    const std::span<std::byte> space = mReader.Space();
    const ssize_t length = ::recv(mSocket.Get(), space.data(), space.size(), MSG_DONTWAIT);
    if (length > 0) {
        mReader.Commit(static_cast<std::size_t>(length));
        return static_cast<std::size_t>(length) == space.size() ? ReadResult::kFull : ReadResult::kSome;
    }
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) return ReadResult::kNothing;
    return ReadResult::kEnd;  // closed, or reset because the peer closed with something unread
}

void Channel::Rest() {
    if (mReader.Error() != wire::WireError::kNone) return;
    if (mReader.Incomplete()) {
        mReader.Shrink();
    } else {
        mReader.Reset();
    }
}

WriteResult Channel::Write(wire::OutputQueue& inQueue) {
    std::array<iovec, kPiecesPerWrite> pieces;
    while (!inQueue.Empty()) {
        msghdr message{};
        message.msg_iov = pieces.data();
        message.msg_iovlen = inQueue.Gather(pieces);
        const ssize_t length = ::sendmsg(mSocket.Get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length >= 0) {
            inQueue.Consume(static_cast<std::size_t>(length));
        } else if (errno == EAGAIN) {
            return WriteResult::kBlocked;
        } else if (errno != EINTR) {
            return WriteResult::kBroken;
        }
    }
    return WriteResult::kEmpty;
}

}  // namespace orvane::plexa::broker
