/// A bus of a campaign's own, with senders and receivers on it, each a process.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Ledger.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace campaign::stopped {

/// What its processes find in their environment, besides the bus.
using Environment = std::map<std::string, std::optional<std::string>>;

/// Runs this program in a role on inBus.
std::unique_ptr<support::ChildProcess> StartRole(const support::PrivateBus& inBus,
                                                 std::vector<std::string> inWords,
                                                 const Environment& inEnvironment = {});
/// Waits for what must happen; throws `std::runtime_error`, naming it, when it doesn't within `kPatience`.
/// inAccount: what there is to say about it then.
void Await(const char* inWhat, const std::function<bool()>& inHasHappened,
           const std::function<std::string()>& inAccount = {});

class Crew {
  public:
    /// Everybody is on the bus and holds. inEnvironment: of all, the broker too. Throws `std::runtime_error`.
    Crew(std::size_t inReceivers, const std::vector<Plan>& inPlans, const Environment& inEnvironment);

    Ledger& Book() const noexcept { return *mLedger; }
    const support::PrivateBus& Bus() const noexcept { return mBus; }
    std::size_t Senders() const noexcept { return mSenders.size(); }
    pid_t SenderId(std::size_t inSender) const { return mSenders[inSender]->Id(); }

    /// The senders send, from now on in this part.
    void Send(Part inPart) const { SetAndWake(mLedger->mPart, inPart); }
    /// Nobody sends any more.
    void Hold() const;
    void Stop(std::size_t inReceiver) const;
    void Continue(std::size_t inReceiver) const;
    /// Everything that was sent has a fate. While they hold.
    void AwaitFates() const;
    /// Everybody leaves. Throws `std::runtime_error` when one of them ends otherwise than it should.
    void End();

  private:
    support::PrivateBus mBus;
    SharedLedger mLedger;
    std::vector<std::unique_ptr<support::ChildProcess>> mReceivers;
    std::vector<std::unique_ptr<support::ChildProcess>> mSenders;
};

}  // namespace campaign::stopped
