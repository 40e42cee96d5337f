/// The clients' connections around the BrokerCore: turns what sockets and processes do into the core's
/// events, and performs the actions the core asks for. Single-threaded.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "BrokerCore.h"
#include "Channel.h"
#include "Log.h"
#include "MembersFile.h"
#include "Poller.h"
#include "Process.h"

namespace orvane::plexa::broker {

/// Counted since the start, for the status and the log.
struct ConnectionTotals {
    std::uint64_t accepted = 0;
    /// Turned away before the first frame: another user's, or a process that could not be held.
    std::uint64_t refused = 0;
    /// Closed for a fault of the client.
    std::uint64_t faulty = 0;
};

/// A round: BeginRound, whatever Poller::Dispatch and Admit bring, FinishRound.
class Switchboard {
  public:
    /// Makes the text that answers a status request.
    using StatusText = std::function<std::string()>;

    /// All references must outlive the switchboard. Takes in the members that inMembers remembers and whose
    /// processes live.
    Switchboard(const wire::Limits& inLimits, Poller& inPoller, MembersFile& inMembers, Log& inLog,
                StatusText inStatusText);
    ~Switchboard();
    Switchboard(const Switchboard&) = delete;
    Switchboard& operator=(const Switchboard&) = delete;

    void BeginRound(wire::TimePoint inNow) noexcept { mNow = inNow; }
    /// Takes a connection over, or turns it away if it is another user's or its process cannot be held.
    void Admit(FileDescriptor inSocket);
    void FinishRound();
    /// When the next round is due although nothing is ready; none: never.
    std::optional<wire::TimePoint> NextDeadline() const { return mDeadline; }

    /// Nobody joins any more and nothing more is read: clients keep what they sent for the next broker. True
    /// when nothing waits to be written.
    void WindUp();
    bool AllWritten() const;

    /// Nobody is connected, and nobody is expected back.
    bool Idle() const noexcept { return mLines.empty() && mCore.MemberCount() == 0; }
    const ConnectionTotals& Totals() const noexcept { return mTotals; }
    BrokerStatus Status() const { return mCore.Status(); }

  private:
    struct Line;
    struct WatchedProcess {
        FileDescriptor handle;
        Poller::Token token = 0;
    };

    Line* Find(ConnectionId inConnection) const;
    void OnEvents(ConnectionId inConnection, std::uint32_t inEvents);
    ReadResult ReadOnce(Line& inLine);
    void Flush(Line& inLine);
    void UpdateInterest(Line& inLine);
    void Disconnect(ConnectionId inConnection);
    void ReportFault(const Line& inLine, std::string_view inReason);
    void TurnAway(FileDescriptor inSocket, const Credentials& inPeer, wire::RefuseCode inCode,
                  const std::string& inReason);
    void ReadLastInput();
    void CloseOverdue();
    std::optional<wire::TimePoint> ComputeDeadline() const;
    void CompactBlocked();

    void PerformActions();
    void Perform(const RecordMember& inAction);
    void Perform(const UpdateMember& inAction);
    void Perform(const EraseMember& inAction);
    void Perform(const CloseConnection& inAction);
    void Perform(const StatusRequested& inAction);

    void RestoreMembers();
    void WatchProcess(wire::MemberId inMember, FileDescriptor inHandle);
    void OnProcessEnded(wire::MemberId inMember);

    const wire::Limits& mLimits;
    Poller& mPoller;
    MembersFile& mMembers;
    Log& mLog;
    StatusText mStatusText;
    wire::BufferPool mPool;
    BrokerCore mCore;
    wire::TimePoint mNow;
    std::optional<wire::TimePoint> mDeadline;
    ConnectionTotals mTotals;
    ConnectionId mLastConnection = 0;
    std::unordered_map<ConnectionId, std::unique_ptr<Line>> mLines;
    std::map<wire::MemberId, WatchedProcess> mWatched;
    /// Lines whose sockets take something again. They are written at the end of the round, when everything
    /// that has to come before is done.
    std::vector<ConnectionId> mUnblocked;
    /// Lines that are closed once what can still be read from them has been read.
    std::vector<ConnectionId> mEnding;
    /// Lines that are closed once what waits for them is written.
    std::vector<ConnectionId> mClosing;
    /// Memory in use above which queues that stand still are made compact.
    std::size_t mCompactAbove;
    bool mWindingUp = false;
};

}  // namespace orvane::plexa::broker
