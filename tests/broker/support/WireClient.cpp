#include "WireClient.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>

namespace {

ReceivedFrame Copy(const wire::Frame& inFrame, const wire::Limits& inLimits) {
    const wire::FrameHeader& header = inFrame.Header();
    ReceivedFrame frame;
    frame.kind = header.kind();
    frame.source = header.source();
    frame.destination = header.destination();
    frame.sequence = header.sequence();
    frame.type = inFrame.Type();
    const auto payload = inFrame.Payload();
    frame.payload.assign(reinterpret_cast<const char*>(payload.data()), payload.size());
    wire::WireError error = wire::WireError::kNone;
    if (frame.kind == wire::FrameKind::Peer) error = wire::Read(inFrame, inLimits, frame.peer);
    if (frame.kind == wire::FrameKind::Joined) error = wire::Read(inFrame, frame.joined);
    if (frame.kind == wire::FrameKind::Refuse) error = wire::Read(inFrame, frame.refusal);
    if (error != wire::WireError::kNone) throw std::runtime_error("the broker sent a bad frame");
    return frame;
}

}  // namespace

WireClient::WireClient(const std::string& inSocketPath, std::shared_ptr<Identity> inIdentity)
    : mIdentity(std::move(inIdentity)), mSocket(mIdentity->Connect(inSocketPath)) {}

void WireClient::Greet() {
    Send([](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, wire::Hello{}); });
    if (!Next(wire::FrameKind::Welcome)) throw std::runtime_error("no welcome");
}

std::vector<ReceivedFrame> WireClient::Join(const std::string& inAppId, bool inReceives) {
    wire::Join join;
    join.appId = inAppId;
    join.nonce = {1, 2};
    join.receives = inReceives;
    return Join(join);
}

std::vector<ReceivedFrame> WireClient::Resume(const std::string& inAppId, wire::MemberId inMember) {
    wire::Join join;
    join.appId = inAppId;
    join.nonce = {1, 2};
    join.member = inMember;
    return Join(join);
}

std::vector<ReceivedFrame> WireClient::Join(const wire::Join& inJoin) {
    Greet();
    Send([&](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, inJoin); });
    std::vector<ReceivedFrame> told;
    while (std::optional<ReceivedFrame> frame = Next()) {
        told.push_back(*frame);
        if (frame->kind == wire::FrameKind::Joined) {
            mJoined = frame->joined;
            return told;
        }
    }
    throw std::runtime_error("not joined");
}

void WireClient::SendMessage(wire::Sequence inSequence, wire::Slot inDestination, std::string_view inType,
                             std::string_view inPayload, wire::Slot inSource) {
    SendBytes(MessageFrame(inSequence, inDestination, inType, inPayload, inSource));
}

bool WireClient::SendBytes(std::string_view inBytes) {
    while (!inBytes.empty()) {
        const ssize_t sent = ::send(mSocket.Get(), inBytes.data(), inBytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) return false;
        if (sent > 0) inBytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::size_t WireClient::SendWhatFits(std::string_view inBytes) {
    const ssize_t sent = ::send(mSocket.Get(), inBytes.data(), inBytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return sent > 0 ? static_cast<std::size_t>(sent) : 0;
}

void WireClient::Flush() {
    while (!mOutput.Empty()) {
        iovec piece{};
        mOutput.Gather({&piece, 1});
        if (!SendBytes({static_cast<const char*>(piece.iov_base), piece.iov_len})) {
            mOutput.Clear();
            return;
        }
        mOutput.Consume(piece.iov_len);
    }
}

std::optional<ReceivedFrame> WireClient::Next(std::chrono::milliseconds inPatience) {
    const auto deadline = std::chrono::steady_clock::now() + inPatience;
    for (;;) {
        wire::Frame frame;
        if (mReader.Next(frame)) return Copy(frame, mLimits);
        if (mReader.Error() != wire::WireError::kNone)
            throw std::runtime_error("the broker sent a wrong frame");
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd state{mSocket.Get(), POLLIN, 0};
        if (mEnded || left.count() <= 0 || ::poll(&state, 1, static_cast<int>(left.count())) <= 0)
            return std::nullopt;
        const auto space = mReader.Space();
        const ssize_t length = ::recv(mSocket.Get(), space.data(), space.size(), MSG_DONTWAIT);
        if (length > 0) mReader.Commit(static_cast<std::size_t>(length));
        mEnded = length == 0 || (length < 0 && errno != EAGAIN && errno != EINTR);
    }
}

std::optional<ReceivedFrame> WireClient::Next(wire::FrameKind inKind) {
    while (std::optional<ReceivedFrame> frame = Next()) {
        if (frame->kind == inKind) return frame;
    }
    return std::nullopt;
}

bool WireClient::IsClosed() {
    while (Next()) continue;
    return mEnded;
}

std::vector<ReceivedFrame> WireClient::EverythingSoFar() {
    Send([](auto& outQueue, auto& inPool) { wire::WriteStatusRequest(outQueue, inPool); });
    std::vector<ReceivedFrame> frames;
    while (std::optional<ReceivedFrame> frame = Next()) {
        if (frame->kind == wire::FrameKind::StatusReply) return frames;
        frames.push_back(std::move(*frame));
    }
    throw std::runtime_error("no answer to the status request");
}

std::string WireClient::Status() {
    Send([](auto& outQueue, auto& inPool) { wire::WriteStatusRequest(outQueue, inPool); });
    const std::optional<ReceivedFrame> reply = Next(wire::FrameKind::StatusReply);
    return reply ? reply->payload : std::string();
}

std::string MessageFrame(wire::Sequence inSequence, wire::Slot inDestination, std::string_view inType,
                         std::string_view inPayload, wire::Slot inSource) {
    std::string bytes(wire::FrameBytes(inType.size(), inPayload.size()), '\0');
    auto* const frame = reinterpret_cast<std::byte*>(bytes.data());
    wire::FrameHeader& header =
        wire::BeginFrame(frame, wire::FrameKind::Data, inType.size(), inPayload.size());
    header.mutate_sequence(inSequence);
    header.mutate_destination(inDestination);
    header.mutate_source(inSource);
    std::memcpy(frame + wire::kHeaderBytes, inType.data(), inType.size());
    std::memcpy(frame + wire::kHeaderBytes + inType.size(), inPayload.data(), inPayload.size());
    return bytes;
}
