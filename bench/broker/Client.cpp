#include "Client.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t kBatchBytes = std::size_t{64} << 10U;
/// Well below the first window, or sender and receiver would wait for each other.
constexpr std::size_t kAcknowledgeBytes = std::size_t{32} << 10U;
/// As long as a usual type name.
constexpr std::string_view kType = "plexa.SuiteMessage.bench.measurement";
static_assert(kType.size() == 36);

}  // namespace

Client::Client(const std::string& inSocketPath, const std::string& inAppId)
    : mSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, inSocketPath.c_str(), sizeof(address.sun_path) - 1);
    if (::connect(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::system_error(errno, std::system_category(), inSocketPath);
    }
    wire::Write(mControl, mPool, wire::Hello{});
    wire::Join join;
    join.appId = inAppId;
    join.nonce = {static_cast<std::uint64_t>(::getpid()), 1};
    wire::Write(mControl, mPool, join);
    FlushControl();
    while (!mJoined) Read();
}

Client::~Client() { ::close(mSocket); }

void Client::AwaitPeer() {
    while (mPeer == wire::kNoSlot) Read();
}

std::size_t Client::AppendFrame(std::vector<std::byte>& outBytes, std::size_t inPayload) {
    const std::size_t length = wire::FrameBytes(kType.size(), inPayload);
    const std::size_t begin = outBytes.size();
    outBytes.resize(begin + length);
    std::byte* const frame = outBytes.data() + begin;
    wire::FrameHeader& header = wire::BeginFrame(frame, wire::FrameKind::Data, kType.size(), inPayload);
    header.mutate_destination(mPeer);
    header.mutate_sequence(++mSent);
    std::memcpy(frame + wire::kHeaderBytes, kType.data(), kType.size());
    return length;
}

void Client::SendMany(std::uint64_t inCount, std::size_t inPayload) {
    const std::size_t length = wire::FrameBytes(kType.size(), inPayload);
    const std::uint64_t last = mSent + inCount;
    std::vector<std::byte> batch;
    while (mConfirmed < last) {
        batch.clear();
        const auto mayGo = [&] {
            const std::uint64_t flying = mSent - mConfirmed;
            return mSent < last && (flying == 0 || (flying + 1) * length <= mWindow);
        };
        while (mayGo() && (batch.empty() || batch.size() + length <= kBatchBytes))
            AppendFrame(batch, inPayload);
        if (batch.empty()) {
            Read();
        } else {
            Write(batch.data(), batch.size());
        }
    }
}

void Client::ReceiveMany(std::uint64_t inCount) {
    mAwaited += inCount;
    while (mReceived < mAwaited) Read();
    Acknowledge();
}

void Client::SendOne(std::size_t inPayload) {
    std::vector<std::byte> frame;
    AppendFrame(frame, inPayload);
    Write(frame.data(), frame.size());
}

void Client::Exchange(std::size_t inPayload) {
    ++mAwaited;
    SendOne(inPayload);
    while (mReceived < mAwaited) Read();
}

void Client::Answer(std::uint64_t inCount, std::size_t inPayload) {
    for (std::uint64_t i = 0; i != inCount; ++i) {
        ++mAwaited;
        while (mReceived < mAwaited) Read();
        SendOne(inPayload);
    }
}

void Client::Write(const std::byte* inBytes, std::size_t inLength) {
    while (inLength != 0) {
        const ssize_t sent = ::send(mSocket, inBytes, inLength, MSG_NOSIGNAL);
        if (sent < 0) throw std::system_error(errno, std::system_category(), "the broker is gone");
        inBytes += sent;
        inLength -= static_cast<std::size_t>(sent);
    }
}

void Client::FlushControl() {
    while (!mControl.Empty()) {
        iovec piece{};
        mControl.Gather({&piece, 1});
        Write(static_cast<const std::byte*>(piece.iov_base), piece.iov_len);
        mControl.Consume(piece.iov_len);
    }
}

void Client::Read() {
    const auto space = mReader.Space();
    const ssize_t length = ::recv(mSocket, space.data(), space.size(), 0);
    if (length <= 0) throw std::runtime_error("the broker closed the connection");
    mReader.Commit(static_cast<std::size_t>(length));
    wire::Frame frame;
    while (mReader.Next(frame)) {
        switch (frame.Kind()) {
            case wire::FrameKind::Data:
                ++mReceived;
                mLastReceived = frame.Header().sequence();
                mUnacknowledged += frame.Length();
                break;
            case wire::FrameKind::Report: {
                std::span<const wire::ReportEntry> entries;
                if (wire::Read(frame, entries) != wire::WireError::kNone)
                    throw std::runtime_error("bad report");
                for (const wire::ReportEntry& entry : entries) {
                    mConfirmed = std::max(mConfirmed, entry.consumed());
                    mWindow = entry.window();
                }
                break;
            }
            case wire::FrameKind::Peer: {
                wire::PeerNotice peer;
                if (wire::Read(frame, mLimits, peer) != wire::WireError::kNone)
                    throw std::runtime_error("bad peer");
                if (peer.change == wire::PeerChange::Up) mPeer = peer.slot;
                break;
            }
            case wire::FrameKind::Joined:
                mJoined = true;
                break;
            case wire::FrameKind::Refuse:
                throw std::runtime_error("the broker refused the connection");
            default:
                break;
        }
    }
    if (mReader.Error() != wire::WireError::kNone)
        throw std::runtime_error(std::string(wire::Text(mReader.Error())));
    if (mUnacknowledged >= kAcknowledgeBytes) Acknowledge();
}

void Client::Acknowledge() {
    if (mUnacknowledged == 0) return;
    const wire::AckEntry entry(mPeer, static_cast<std::uint32_t>(mUnacknowledged), mLastReceived);
    mUnacknowledged = 0;
    wire::WriteAcks(mControl, mPool, {&entry, 1});
    FlushControl();
}

}  // namespace bench
