/// The tool as a process on the bus.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ConnectionOptions.h"
#include "Interruption.h"
#include "PlexaMessage5/PlexaMessage5.h"
#include "PlexaMessage5/Texts.h"
#include "nuocore/Strings.h"

namespace orvane::plexa::tool {

/// Holds the tool's `Startup` for its life, and listens beside the library at the message library: for
/// results of sending, which the library keeps to itself, and for request ids, which it takes out of what it
/// hands to clients. One object a process; used by the main thread.
class BusConnection final : private api5::IPlexaMessageListener {
  public:
    /// Begins to connect under the identity that the options name. Clients may subscribe from now on. Throws
    /// `Failure` when that can't be anybody's.
    explicit BusConnection(const ConnectionOptions& inOptions);
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    /// Leaves the bus; waits until what was sent has been handed over, 5 s at most.
    ~BusConnection() override;

    /// Called on the delivery thread for every message, if set before `Connect`.
    std::function<void(const api5::SuiteMessage&)> mOnMessage;

    /// Waits until the bus is ready. Throws `Failure` when there is no broker, none is ready in time, or the
    /// wait is interrupted.
    void Connect(const Interruption& inInterruption);

    /// All processes that receive, this one included. Throws `Failure`.
    std::vector<api5::EndPoint> EndPoints() const;
    [[nodiscard]] api5::EndPoint Self() const;

    /// Sends to a destination, or to everybody else when that is invalid. Throws `Failure` when the message
    /// is refused.
    void Send(const std::string& inType, const nuocore::UTF8String& inPayload,
              const api5::EndPoint& inDestination);

    /// Leaves the bus now, as the destructor does.
    void Leave();
    /// How many messages have not arrived, or may not have. Each has been told on stderr. Final after
    /// `Leave`.
    [[nodiscard]] int CountFailures() const noexcept { return mFailures; }

  private:
    void Receive(const api5::PlexaMessage& inMessage) override;
    void TellFailure(std::string_view inText);
    static void OnRefresh(void* inThis);
    [[noreturn]] void FailToConnect(const std::string& inReason) const;

    api5::IPlexaMessageDispatcher* mDispatcher = nullptr;
    bool mIsStarted = false;
    std::atomic<int> mFailures{0};
    int mReady = -1;  // event descriptor: the bus is ready
    std::optional<double> mWait;
};

/// The payload of a received message.
nuocore::UTF8String PayloadOf(const api5::SuiteMessage& inMessage);
/// Throws `Failure` for a payload that is larger than what the bus takes.
void CheckPayload(const nuocore::UTF8String& inPayload);

}  // namespace orvane::plexa::tool
