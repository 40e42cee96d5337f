// A world as a search sees it: which steps are possible, what each does, and whether the promise holds.
//
// What commutes is one step. Why nothing is missed by that:
//
// - A write, its way to the broker and what the broker does with it are one. A client learns of the
//   broker's work only by reading, the broker of a client only by what that wrote: so whatever lies between
//   writing and arriving can as well come before or after both. Two exceptions are steps of their own: a
//   write of which only the first frames arrive before the connection or the broker ends, and a socket that
//   takes only the first frames, while the rest waits in the client's output and everybody goes on acting.
// - Connecting goes on to the broker's answer to the join: until then neither side remembers anything of
//   the other.
// - Messages that come first on a connection are read when the first of them is consumed, or when something
//   behind them is read: a message read and not consumed changes nothing that others, or the own writing,
//   can see. A fault is tried with every number of them read.
// - Clients notice a killed broker at once, and the next one starts at once. What a client still reads or
//   writes before it notices it can as well read, or write in vain, before the kill; what it does while there
//   is no broker it can as well do before it connects to the next.
// - The broker writes at once: what would be lost with it can be lost on the way in just the same.
//
// What is less than everything: the notices that come with joining are read one by one in the smaller
// set-ups and together in the larger ones; reports to all senders are due at the same moment, or at once.
// Not here at all: memory that runs out, greetings that take too long, frames cut in the middle.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "Ledger.h"
#include "Setup.h"
#include "World.h"

namespace orvane::plexa::test {

enum class Action : std::uint8_t {
    // Progress: a run isn't over while one of these is possible.
    kConnect,
    kSend,
    kFlush,
    kRead,
    kBeginDelivery,
    kEndDelivery,
    kTick,
    kBrokerNotices,
    kClientNotices,
    kExit,
    // May happen or not.
    kFlushPart,
    kKill,
    kBreak,
    kBreakAtClient,
    kBreakAtBroker,
    kExpire,
    kStall,
    kWithdraw,
    kLeave,
    kEnd,
    kChoose,
};

struct Step {
    Action action = Action::kTick;
    std::uint8_t client = 0;
    /// kFlushPart: how many frames arrive.
    std::uint8_t count = 0;
    /// Faults: how many messages each client has still read.
    std::array<std::uint8_t, kMostClients> taken{};

    bool Progress() const { return action < Action::kFlushPart; }
    friend bool operator==(const Step&, const Step&) = default;
};

class Model {
  public:
    /// Lets everybody join who is there from the start. inSetup must outlive the model.
    explicit Model(const Setup& inSetup);

    void Steps(std::vector<Step>& outSteps);
    /// False when the step turns out to be impossible; then the model is of no more use.
    bool Take(const Step& inStep);
    std::uint64_t Fingerprint();
    /// A broken promise; empty while there is none.
    std::string Broken() const;
    /// For a model that has come to rest: what has been left undone or left over.
    std::string LeftOver();
    std::string Text(const Step& inStep) const;

  private:
    void ProgressSteps(std::vector<Step>& outSteps);
    void ClientSteps(std::size_t inClient, std::vector<Step>& outSteps);
    void FaultSteps(std::vector<Step>& outSteps);
    void LeavingSteps(std::size_t inClient, std::vector<Step>& outSteps);
    void WithTaken(const Step& inStep, std::size_t inFirst, std::size_t inEnd, std::vector<Step>& outSteps);

    bool TakeProgress(const Step& inStep);
    bool TakeFault(const Step& inStep);
    bool Connect(Node& ioNode);
    bool Send(std::size_t inClient);
    bool Flush(std::size_t inClient);
    bool FlushPart(std::size_t inClient, std::size_t inFrames);
    bool FlushFrames(Node& ioNode, std::size_t inFrames);
    void Handle(Node& ioNode, std::size_t inBytes);
    void ReadFrame(Node& ioNode);
    void ReadTaken(const Step& inStep);
    bool ReadThroughNotice(Node& ioNode);
    bool BeginDelivery(Node& ioNode);
    void Leave(std::size_t inClient);
    void Account();
    void NoteGone();

    Node& At(std::size_t inClient) { return *mWorld.Nodes()[inClient]; }
    std::size_t IndexOf(const std::string& inName) const;
    std::optional<std::size_t> NextMessage(std::size_t inClient) const;
    std::optional<wire::MemberId> Find(std::size_t inClient, std::size_t inReceiver);
    bool Ready(std::size_t inClient);
    bool MayBreak() const;
    bool Away();
    static std::size_t PayloadBytes(const Setup& inSetup);
    static wire::Limits LimitsFor(const Setup& inSetup);
    std::string Left(std::size_t inClient);

    const Setup& mSetup;
    World mWorld;
    Ledger mLedger;
    std::uint8_t mKills;
    std::uint8_t mBreaks;
    std::uint8_t mExpiries;
    std::uint8_t mStalls;
    unsigned mWithdrawn = 0;  // sets of clients
    unsigned mLeft = 0;
    unsigned mChosen = 0;
    unsigned mGone = 0;
    unsigned mDeaf = 0;   // disconnected by the broker, and don't know
    unsigned mStuck = 0;  // what they write doesn't arrive any more
};

}  // namespace orvane::plexa::test
