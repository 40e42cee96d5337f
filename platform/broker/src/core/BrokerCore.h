/// The broker without I/O and without a clock: members, connections, lanes between members, routing. It owns
/// no message: what waits in its queues may be lost at any time, the senders keep everything.
///
/// The driver's round, on one thread:
///
///     new socket:    core.OnConnected(connection, process, now)
///     readable:      read all there is; per frame of a wire::FrameReader (Direction::kToBroker):
///                    core.OnFrame(connection, frame, now); then core.OnInputSettled(connection,
///                    reader.HeldBytes(), now); on a reader's error: core.OnReaderError(connection, error,
///                    now)
///     end of input:  after every frame before it: core.OnDisconnected(connection, now)
///     process ended: read all of the member's connection first, then core.OnProcessEnded(member, now)
///     timer:         at core.NextDeadline(): core.Tick(now)
///     end of round:  core.Settle(now); perform TakeActions(); write the Output of TakeWritable()
///
/// A record action is performed before any output of its round is written.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "wire/Frame.h"
#include "wire/Limits.h"
#include "wire/Messages.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::broker {

/// The driver's number of a connection; not used again before OnDisconnected was called for it.
using ConnectionId = std::uint64_t;

/// A process as the kernel tells it: the start time tells apart two that had the same number.
struct ProcessIdentity {
    std::uint32_t processId = 0;
    std::uint64_t startTime = 0;
    friend bool operator==(const ProcessIdentity&, const ProcessIdentity&) = default;
};

/// What is remembered of a member across a restart of the broker.
struct MemberRecord {
    wire::MemberId member = 0;
    wire::Nonce nonce{};
    ProcessIdentity process;
    std::uint32_t instance = 0;
    std::string appId;
    /// It joined as a receiver and has not withdrawn since.
    bool receives = true;
};

/// Remember the member durably, and watch its process: OnProcessEnded when it ends.
struct RecordMember {
    MemberRecord record;
};
/// What is remembered of the member has changed.
struct UpdateMember {
    MemberRecord record;
};
/// Forget the member, stop watching.
struct EraseMember {
    wire::MemberId member = 0;
};
/// Close the connection, after writing what its output still holds if flushFirst, and call OnDisconnected.
/// The core takes nothing from it any more.
struct CloseConnection {
    ConnectionId connection = 0;
    /// kNone: no fault, the client left or was refused politely.
    wire::WireError error = wire::WireError::kNone;
    /// For the log.
    std::string reason;
    bool flushFirst = false;
};
/// Answer with SendStatus.
struct StatusRequested {
    ConnectionId connection = 0;
};
using BrokerAction = std::variant<RecordMember, UpdateMember, EraseMember, CloseConnection, StatusRequested>;

/// A lane of a sender that is not at rest: messages are on the way, or the sender is catching the receiver
/// up.
struct LaneStatus {
    wire::MemberId receiver = 0;
    bool attached = false;
    std::size_t bytesInFlight = 0;
    wire::Sequence queued = 0;
    wire::Sequence consumed = 0;
};
/// For `broker status`.
struct MemberStatus {
    wire::MemberId member = 0;
    wire::EndPointInfo endPoint;
    bool connected = false;
    bool receives = false;
    std::size_t queuedBytes = 0;
    /// As a sender; some of them when there are very many.
    std::vector<LaneStatus> busyLanes{};
};
struct BrokerStatus {
    std::vector<MemberStatus> members;
    std::size_t connections = 0;
    /// The most that any one process has.
    std::size_t mostConnections = 0;
    /// The most that waits for any one client.
    std::size_t mostControlBytes = 0;
    std::uint64_t messagesRouted = 0;
    std::uint64_t bytesRouted = 0;
    /// Messages for connections that are no more.
    std::uint64_t messagesDropped = 0;
    std::size_t memoryInUse = 0;
};

class BrokerCore {
  public:
    /// inFirstMember: members get numbers from here on; no broker of this user may have given them before, so
    /// hand in something that grows from broker to broker. inPool makes read buffers as well as queues: its
    /// bytes in use are what the memory bound is compared with. Limits and pool must outlive the core.
    BrokerCore(const wire::Limits& inLimits, wire::BufferPool& inPool, wire::MemberId inFirstMember);
    ~BrokerCore();
    BrokerCore(const BrokerCore&) = delete;
    BrokerCore& operator=(const BrokerCore&) = delete;

    /// A member that an earlier broker remembered and whose process still lives: it is expected back. Before
    /// any connection.
    void Restore(const MemberRecord& inRecord, wire::TimePoint inNow);

    void OnConnected(ConnectionId inConnection, const ProcessIdentity& inProcess, wire::TimePoint inNow);
    /// The frame's bytes are changed (the source is stamped) and referred to while they wait. Frames of
    /// connections that are being closed are ignored.
    void OnFrame(ConnectionId inConnection, const wire::Frame& inFrame, wire::TimePoint inNow);
    void OnReaderError(ConnectionId inConnection, wire::WireError inError, wire::TimePoint inNow);
    /// All that was readable has been handed in. inHeld: bytes of memory that the part of a frame that is
    /// left keeps, 0 if none is left.
    void OnInputSettled(ConnectionId inConnection, std::size_t inHeld, wire::TimePoint inNow);
    /// The connection does not exist any more, whoever closed it.
    void OnDisconnected(ConnectionId inConnection, wire::TimePoint inNow);
    void OnProcessEnded(wire::MemberId inMember, wire::TimePoint inNow);
    /// The socket takes no more: what waits is made compact.
    void OnWriteBlocked(ConnectionId inConnection);
    /// Refuses every new member from now on (shutting down). Members stay remembered.
    void StopAdmitting() noexcept { mEnding = true; }

    /// The end of a round: reports that are due, runs of messages still held together, the memory bound.
    void Settle(wire::TimePoint inNow);
    void Tick(wire::TimePoint inNow);
    std::optional<wire::TimePoint> NextDeadline() const;

    std::vector<BrokerAction> TakeActions();
    /// Connections whose output has grown since the last call.
    std::vector<ConnectionId> TakeWritable();
    /// Valid from OnConnected until OnDisconnected.
    wire::OutputQueue& Output(ConnectionId inConnection);

    BrokerStatus Status() const;
    void SendStatus(ConnectionId inConnection, std::string_view inJson);
    /// Connected and expected members; a broker without any may end.
    std::size_t MemberCount() const noexcept { return mMembers.size(); }
    /// The member of a connection, if it has joined: whose process it is.
    std::optional<wire::MemberId> MemberOf(ConnectionId inConnection) const;
    std::optional<ConnectionId> ConnectionOf(wire::MemberId inMember) const;

  private:
    friend class StateInspector;  // tests

    struct Connection;
    struct Member;
    struct Lane;
    struct Run;

    // Connections: greeting, ends.
    static std::vector<LaneStatus> BusyLanes(const Connection& inSender);
    Connection* Find(ConnectionId inConnection) const;
    Connection* FindSlot(wire::Slot inSlot) const;
    void OnGreeting(Connection& ioConnection, const wire::Frame& inFrame);
    void OnMemberFrame(Connection& ioConnection, const wire::Frame& inFrame, wire::TimePoint inNow);
    void Refuse(Connection& ioConnection, wire::RefuseCode inCode, wire::WireError inError,
                std::string_view inReason);
    void Fail(Connection& ioConnection, wire::WireError inError, wire::TimePoint inNow);
    void Drop(Connection& ioConnection, wire::WireError inError, std::string_view inReason,
              wire::TimePoint inNow);
    void Close(Connection& ioConnection, wire::WireError inError, std::string_view inReason,
               bool inFlushFirst);
    void MarkWritable(Connection& ioConnection);

    // Members: joining, leaving, being away.
    void OnJoin(Connection& ioConnection, const wire::Frame& inFrame, wire::TimePoint inNow);
    Member* FindReturning(const wire::Join& inJoin, const ProcessIdentity& inProcess) const;
    Member& AddMember(const wire::Join& inJoin, const ProcessIdentity& inProcess);
    std::uint32_t FreeInstance(const std::string& inAppId) const;
    void Introduce(Connection& ioNewcomer, const wire::Join& inJoin, wire::LaneStart inStart);
    void TellOthers(const Member& inMember, const wire::PeerNotice& inNotice);
    void OnLeave(Connection& ioConnection, const wire::Frame& inFrame, wire::TimePoint inNow);
    void Detach(Connection& ioConnection);
    void SendAway(Connection& ioConnection, wire::TimePoint inNow);
    void RemoveMember(wire::MemberId inMember, wire::PeerReason inReason);
    void SetInterest(Connection& ioConnection, const wire::Interest& inInterest);

    // Lanes: routing, acknowledgements, reports.
    /// As the receiver is told of the sender.
    Lane& AddLane(Connection& ioSender, Connection& ioReceiver, const wire::PeerNotice& inNotice);
    void RemoveLanesTo(Connection& ioReceiver);
    void SetAttached(Lane& ioLane, bool inAttached);
    wire::WireError Route(Connection& ioSender, const wire::Frame& inFrame, wire::TimePoint inNow);
    void RouteBroadcast(Connection& ioSender, const wire::Frame& inFrame, wire::TimePoint inNow);
    void ExtendRun(Connection& ioSender, Lane* inLane, const wire::Frame& inFrame);
    void FlushRun();
    void Queue(Lane& ioLane, wire::Buffer& inBuffer, const std::byte* inBytes, std::size_t inLength,
               wire::Sequence inLast);
    void Filter(Lane& ioLane, wire::Sequence inSequence, wire::TimePoint inNow);
    wire::WireError OnAck(Connection& ioReceiver, const wire::Frame& inFrame, wire::TimePoint inNow);
    wire::WireError OnPosition(Connection& ioReceiver, const wire::Frame& inFrame);
    void SwitchLane(Connection& ioSender, wire::Slot inReceiver, bool inAttached);
    void MarkReport(Connection& ioSender, Lane* inLane, wire::TimePoint inNow);
    void WriteReport(Connection& ioSender);
    void WriteDueReports(wire::TimePoint inNow);
    std::uint32_t Window(const Connection& inReceiver) const;
    void GuardMemory(wire::TimePoint inNow);

    const wire::Limits& mLimits;
    wire::BufferPool& mPool;
    wire::MemberId mNextMember;
    wire::Slot mNextSlot = 1;
    bool mEnding = false;
    std::unordered_map<ConnectionId, std::unique_ptr<Connection>> mConnections;
    boost::unordered_flat_map<wire::Slot, Connection*> mBySlot;  // of joined connections
    std::map<wire::MemberId, std::unique_ptr<Member>> mMembers;
    mutable Connection* mLast = nullptr;  // of the last event: frames come in runs
    std::unique_ptr<Run> mRun;            // adjacent frames for the same receivers, not queued yet
    std::vector<ConnectionId> mReporting;
    std::vector<ConnectionId> mOverrunning;  // senders that pay no heed to windows
    std::vector<BrokerAction> mActions;
    std::vector<ConnectionId> mWritable;
    std::uint64_t mMessagesRouted = 0;
    std::uint64_t mBytesRouted = 0;
    std::uint64_t mMessagesDropped = 0;
};

}  // namespace orvane::plexa::broker
