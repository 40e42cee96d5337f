#include "PlexaMessage5/BrokerStatus.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <optional>

#include <poll.h>

#include "Socket.h"
#include "wire/FrameReader.h"
#include "wire/Limits.h"
#include "wire/Messages.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::api5 {

namespace {

using Clock = std::chrono::steady_clock;
using message5::Transfer;
using wire::FrameKind;

constexpr std::size_t kBufferBytes = std::size_t{64} << 10U;

/// One question, one answer.
class Inquiry {
  public:
    Inquiry(wire::FileDescriptor inSocket, Clock::time_point inDeadline)
        : mSocket(std::move(inSocket)), mDeadline(inDeadline) {}

    /// The broker's status; otherwise Trouble tells why not.
    std::optional<std::string> Run() {
        wire::Write(mOutput, mPool, wire::Hello{});
        const auto welcome = Exchange(FrameKind::Welcome);
        if (!welcome) {
            return std::nullopt;
        }
        wire::WriteStatusRequest(mOutput, mPool);
        return Exchange(FrameKind::StatusReply);
    }
    const std::string& Trouble() const { return mTrouble; }

  private:
    bool Await(short inEvents) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(mDeadline - Clock::now()).count();
        pollfd wait{mSocket.Get(), inEvents, 0};
        if (left > 0 && ::poll(&wait, 1, static_cast<int>(left)) != 0) {
            return true;
        }
        mTrouble = "the broker doesn't answer in time";
        return false;
    }

    bool WriteAll() {
        while (!mOutput.Empty()) {
            std::array<iovec, 8> pieces{};
            std::size_t bytes = 0;
            const auto result =
                message5::Write(mSocket.Get(), std::span(pieces).first(mOutput.Gather(pieces)), bytes);
            mOutput.Consume(bytes);
            if (result == Transfer::kClosed) {
                mTrouble = "the broker closed the connection";
                return false;
            }
            if (result == Transfer::kWouldBlock && !Await(POLLOUT)) {
                return false;
            }
        }
        return true;
    }

    bool ReadMore() {
        std::size_t bytes = 0;
        const Transfer result = message5::Read(mSocket.Get(), mReader.Space(), bytes);
        mReader.Commit(bytes);
        if (result == Transfer::kClosed) {
            mTrouble = "the broker closed the connection";
            return false;
        }
        return result == Transfer::kDone || Await(POLLIN);
    }

    /// The payload of the first frame of that kind.
    std::optional<std::string> Exchange(FrameKind inKind) {
        if (!WriteAll()) {
            return std::nullopt;
        }
        for (;;) {
            wire::Frame frame;
            while (mReader.Next(frame)) {
                if (frame.Kind() == FrameKind::Refuse) {
                    wire::Refusal refusal;
                    wire::Read(frame, refusal);
                    mTrouble = "the broker refused: " + refusal.text;
                    return std::nullopt;
                }
                if (frame.Kind() == inKind) {
                    const auto payload = frame.Payload();
                    return std::string(reinterpret_cast<const char*>(payload.data()), payload.size());
                }
            }
            if (mReader.Error() != wire::WireError::kNone) {
                mTrouble = "the broker's answer can't be understood: " + std::string(Text(mReader.Error()));
                return std::nullopt;
            }
            if (!ReadMore()) {
                return std::nullopt;
            }
        }
    }

    const wire::Limits mLimits;
    wire::BufferPool mPool{kBufferBytes};
    wire::FileDescriptor mSocket;
    Clock::time_point mDeadline;
    wire::OutputQueue mOutput;
    wire::FrameReader mReader{mPool, mLimits, wire::Direction::kToClient};
    std::string mTrouble;
};

}  // namespace

PlexaMessageErrorCode QueryBrokerStatus(int inTimeoutMilliseconds, std::string& outText) {
    try {
        const auto deadline = Clock::now() + std::chrono::milliseconds(std::max(inTimeoutMilliseconds, 0));
        auto connection =
            message5::Connect(wire::RuntimePath(wire::RuntimeDirectoryPath(), wire::kSocketName));
        if (!connection.socket) {
            outText = connection.trouble;
            return kPlexaMessageErrorCode_BrokerProcessDoesNotExist;
        }
        Inquiry inquiry(std::move(connection.socket), deadline);
        if (auto status = inquiry.Run()) {
            outText = std::move(*status);
            return kPlexaMessageErrorCode_None;
        }
        outText = inquiry.Trouble();
    } catch (const std::exception& error) {
        outText = error.what();
    }
    return kPlexaMessageErrorCode_Unknown;
}

}  // namespace orvane::plexa::api5
