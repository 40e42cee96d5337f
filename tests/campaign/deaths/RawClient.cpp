#include "RawClient.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Plan.h"
#include "wire/RuntimeDirectory.h"

namespace campaign::deaths {

namespace {

constexpr std::chrono::seconds kPatience{20};

wire::FileDescriptor Connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = wire::RuntimePath(wire::RuntimeDirectoryPath(), wire::kSocketName);
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        wire::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            return socket;
        if (std::chrono::steady_clock::now() > limit)
            throw std::system_error(errno, std::generic_category(), path);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace

RawClient::RawClient() : mSocket(Connect()) {}

std::string RawClient::Bytes(const wire::OutputQueue& inQueue) {
    std::array<iovec, 16> pieces{};
    std::string bytes;
    const std::size_t count = inQueue.Gather(pieces);
    for (std::size_t i = 0; i != count; ++i)
        bytes.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
    return bytes;
}

std::string RawClient::Greeting() {
    return BytesOf([](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, wire::Hello{}); });
}

std::string RawClient::Request(const wire::Join& inJoin) {
    return BytesOf([&](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, inJoin); });
}

bool RawClient::Send(std::string_view inBytes) const {
    while (!inBytes.empty()) {
        const ssize_t sent = ::send(mSocket.Get(), inBytes.data(), inBytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) return false;
        if (sent > 0) inBytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool RawClient::Join(const wire::Join& inJoin) { return Send(Request(inJoin)) && AwaitJoined(); }

bool RawClient::AwaitJoined() {
    for (;;) {
        wire::Frame frame;
        while (mReader.Next(frame)) {
            wire::PeerNotice peer;
            const std::string observer = std::string(kObserver) + "-1";
            if (frame.Kind() == wire::FrameKind::Peer &&
                wire::Read(frame, mLimits, peer) == wire::WireError::kNone && peer.endPoint.appId == observer)
                mObserver = peer.slot;
            if (frame.Kind() == wire::FrameKind::Joined)
                return wire::Read(frame, mJoined) == wire::WireError::kNone;
            if (frame.Kind() == wire::FrameKind::Refuse) {
                wire::Read(frame, mRefusal);
                return false;
            }
        }
        const auto space = mReader.Space();
        const ssize_t count = ::recv(mSocket.Get(), space.data(), space.size(), 0);
        if (count == 0 || (count < 0 && errno != EINTR)) return false;
        if (count > 0) mReader.Commit(static_cast<std::size_t>(count));
    }
}

std::string MessageFrame(wire::Sequence inSequence, wire::Slot inTo, std::string_view inType,
                         std::string_view inPayload) {
    std::vector<std::uint64_t> room(wire::FrameBytes(inType.size(), inPayload.size()) / 8);
    auto* const bytes = reinterpret_cast<std::byte*>(room.data());
    wire::FrameHeader& header =
        wire::BeginFrame(bytes, wire::FrameKind::Data, inType.size(), inPayload.size());
    header.mutate_destination(inTo);
    header.mutate_sequence(inSequence);
    std::memcpy(bytes + wire::kHeaderBytes, inType.data(), inType.size());
    std::memcpy(bytes + wire::kHeaderBytes + inType.size(), inPayload.data(), inPayload.size());
    return {reinterpret_cast<const char*>(bytes), room.size() * 8};
}

}  // namespace campaign::deaths
