/// What is on its way to the bus.
#pragma once

#include <string>
#include <thread>

#include "bus/IPort.h"
#include "service/Inbox.h"

namespace orvane::plexa::zarnd {

/// Sends in order, on a thread of its own: the bus holds senders up whose receivers don't keep pace, and
/// nobody else is to wait for those. A full outbox does hold its givers up. Any thread.
class Outbox final : public IPort {
  public:
    /// What may wait, beside the message that is being sent.
    static constexpr std::size_t kMaxMessages = 4096;
    static constexpr std::size_t kMaxBytes = std::size_t{16} << 20U;

    explicit Outbox(IPort& ioPort) : mPort(ioPort), mThread([this] { Pass(); }) {}
    ~Outbox() override { Finish(); }

    void Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) override {
        const auto late = mMessages.Put({inTo, inType, inPayload});
        if (late) mPort.Send(late->mFrom, late->mType, late->mPayload);
    }

    /// Returns when everything has been sent. What comes from then on is sent by who brings it.
    void Finish() {
        mMessages.Close();
        if (mThread.joinable()) mThread.join();
    }

  private:
    void Pass() {
        while (const auto message = mMessages.Take()) {
            mPort.Send(message->mFrom, message->mType, message->mPayload);
        }
    }

    struct Bytes {
        std::size_t operator()(const Message& inMessage) const noexcept {
            return sizeof inMessage + inMessage.mFrom.mAppId.size() + inMessage.mType.size() +
                   inMessage.mPayload.size();
        }
    };

    IPort& mPort;
    Inbox<Message, Bytes> mMessages{kMaxMessages, kMaxBytes};  // to whom, it says "from"
    std::thread mThread;
};

}  // namespace orvane::plexa::zarnd
