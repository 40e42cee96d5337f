/// This service as a host on the bus.
#pragma once

#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "PlexaMessage5/PlexaMessage5.h"
#include "bus/IPort.h"

namespace orvane::plexa::zarnd {

/// Holds the library's `Startup` while it is on the bus. It listens and sends at the message library beside
/// it: the library takes request ids out of what it hands to clients, and sends to the first process of an
/// app id where one of several is meant. The connection comes back by itself after a restart of the broker.
/// `Send` on any thread.
class BusHost final : public IPort, private api5::IPlexaMessageListener {
  public:
    /// Takes messages, on the delivery thread.
    using Taker = std::function<void(Message)>;
    /// Takes all end points whenever they have changed, on the delivery thread.
    using EndPointsTaker = std::function<void(std::vector<Asker>)>;
    /// Is told, on the delivery thread, that an older service is on the bus already: this one is to leave.
    using RivalTaker = std::function<void(const Asker&)>;

    BusHost() = default;
    ~BusHost() override { Leave(); }

    /// Joins the bus as "zarnd-VERSION", for messages of some types. Throws `std::runtime_error` when there
    /// is no broker to be had. Once.
    void Join(const std::string& inVersion, std::span<const char* const> inTypes, Taker inTaker,
              EndPointsTaker inEndPointsTaker, RivalTaker inRivalTaker);
    /// Leaves; waits until what was sent has been handed over, 5 s at most. Messages are taken up to the end:
    /// what is taken can be answered, unless that happens in this very moment; the senders of all others are
    /// told that this process has left.
    void Leave();

    void Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) override;

  private:
    void Receive(const api5::PlexaMessage& inMessage) override;
    static void OnRefresh(void* inThis);
    [[nodiscard]] std::vector<Asker> EndPoints() const;

    std::set<std::string> mTypes;
    Taker mTaker;
    EndPointsTaker mEndPointsTaker;
    RivalTaker mRivalTaker;
    api5::IPlexaMessageDispatcher* mDispatcher = nullptr;
    bool mHasJoined = false;
    // Of the delivery thread:
    bool mServes = false;
    bool mHasRival = false;
};

}  // namespace orvane::plexa::zarnd
