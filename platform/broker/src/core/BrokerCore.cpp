// Connections: greeting, rules of order, ends, time.
#include "BrokerCore.h"

#include <algorithm>
#include <utility>

#include "BrokerState.h"

namespace orvane::plexa::broker {

namespace {

/// Lanes of one sender in a status: enough to see what stands still.
constexpr std::size_t kMostLanesTold = 32;

}  // namespace

using wire::FrameKind;
using wire::RefuseCode;
using wire::TimePoint;
using wire::WireError;

BrokerCore::BrokerCore(const wire::Limits& inLimits, wire::BufferPool& inPool, wire::MemberId inFirstMember)
    : mLimits(inLimits),
      mPool(inPool),
      mNextMember(std::max<wire::MemberId>(inFirstMember, 1)),
      mRun(std::make_unique<Run>()) {}

BrokerCore::~BrokerCore() = default;

BrokerCore::Connection* BrokerCore::Find(ConnectionId inConnection) const {
    if (mLast == nullptr || mLast->id != inConnection) {
        const auto found = mConnections.find(inConnection);
        mLast = found == mConnections.end() ? nullptr : found->second.get();
    }
    return mLast;
}

BrokerCore::Connection* BrokerCore::FindSlot(wire::Slot inSlot) const {
    const auto found = mBySlot.find(inSlot);
    return found == mBySlot.end() ? nullptr : found->second;
}

void BrokerCore::OnConnected(ConnectionId inConnection, const ProcessIdentity& inProcess, TimePoint inNow) {
    const auto ofProcess = std::count_if(mConnections.begin(), mConnections.end(), [&](const auto& inEntry) {
        return inEntry.second->process == inProcess && inEntry.second->state != Connection::State::kClosing;
    });
    auto connection = std::make_unique<Connection>();
    connection->id = inConnection;
    connection->process = inProcess;
    connection->since = inNow;
    Connection& added = *(mConnections[inConnection] = std::move(connection));
    if (static_cast<std::size_t>(ofProcess) >= mLimits.connectionsPerProcess) {
        Refuse(added, RefuseCode::Connections, WireError::kRefused, "too many connections of one process");
    }
}

void BrokerCore::OnFrame(ConnectionId inConnection, const wire::Frame& inFrame, TimePoint inNow) {
    Connection* connection = Find(inConnection);
    if (connection == nullptr || connection->state == Connection::State::kClosing) {
        return;
    }
    if (connection->Joined() && inFrame.Kind() == FrameKind::Data) {
        const WireError error = Route(*connection, inFrame, inNow);
        if (error != WireError::kNone) {
            Fail(*connection, error, inNow);
        }
        return;
    }
    FlushRun();
    if (wire::IsSkippable(inFrame.Kind())) {
        return;
    }
    if (inFrame.Kind() == FrameKind::StatusRequest && connection->state != Connection::State::kNew) {
        // One at a time: making the text takes a while, and everybody else waits.
        if (std::exchange(connection->statusRequested, true)) {
            Fail(*connection, WireError::kOutOfOrder, inNow);
        } else {
            mActions.emplace_back(StatusRequested{inConnection});
        }
    } else if (connection->state == Connection::State::kNew) {
        OnGreeting(*connection, inFrame);
    } else if (connection->state == Connection::State::kWelcomed) {
        if (inFrame.Kind() == FrameKind::Join) {
            OnJoin(*connection, inFrame, inNow);
        } else {
            Fail(*connection, WireError::kOutOfOrder, inNow);
        }
    } else {
        OnMemberFrame(*connection, inFrame, inNow);
    }
}

void BrokerCore::OnGreeting(Connection& ioConnection, const wire::Frame& inFrame) {
    wire::Hello hello;
    const WireError error =
        inFrame.Kind() == FrameKind::Hello ? wire::Read(inFrame, hello) : WireError::kBadMagic;
    if (error != WireError::kNone) {
        Refuse(ioConnection, RefuseCode::Magic, error, wire::Text(error));
        return;
    }
    const std::uint16_t version = wire::CommonVersion(hello);
    if (version == 0) {
        Refuse(ioConnection, RefuseCode::Version, WireError::kNoCommonVersion,
               wire::Text(WireError::kNoCommonVersion));
        return;
    }
    ioConnection.state = Connection::State::kWelcomed;
    wire::Write(ioConnection.output, mPool,
                wire::Welcome{version, hello.features & wire::kFeatures,
                              static_cast<std::uint32_t>(mLimits.maxPayload),
                              static_cast<std::uint32_t>(mLimits.firstWindow)});
    MarkWritable(ioConnection);
}

void BrokerCore::OnMemberFrame(Connection& ioConnection, const wire::Frame& inFrame, TimePoint inNow) {
    WireError error = WireError::kNone;
    switch (inFrame.Kind()) {
        case FrameKind::Ack:
            error = OnAck(ioConnection, inFrame, inNow);
            break;
        case FrameKind::Position:
            error = OnPosition(ioConnection, inFrame);
            break;
        case FrameKind::Attach:
        case FrameKind::Detach:
            SwitchLane(ioConnection, inFrame.Header().destination(), inFrame.Kind() == FrameKind::Attach);
            break;
        case FrameKind::Interest: {
            wire::Interest interest;
            error = wire::ReadInterest(inFrame, mLimits, interest);
            if (error == WireError::kNone) {
                SetInterest(ioConnection, interest);
            }
            break;
        }
        case FrameKind::Leave:
            OnLeave(ioConnection, inFrame, inNow);
            break;
        default:
            error = WireError::kOutOfOrder;
            break;
    }
    if (error != WireError::kNone) {
        Fail(ioConnection, error, inNow);
    }
}

void BrokerCore::OnReaderError(ConnectionId inConnection, WireError inError, TimePoint inNow) {
    FlushRun();
    Connection* connection = Find(inConnection);
    if (connection != nullptr && connection->state != Connection::State::kClosing) {
        Fail(*connection, inError, inNow);
    }
}

void BrokerCore::OnInputSettled(ConnectionId inConnection, std::size_t inHeld, TimePoint inNow) {
    FlushRun();
    Connection* connection = Find(inConnection);
    if (connection == nullptr || connection->state == Connection::State::kClosing) {
        return;
    }
    connection->heldInput = inHeld;
    if (inHeld == 0) {
        connection->halfFrameSince.reset();
    } else if (!connection->halfFrameSince) {
        connection->halfFrameSince = inNow;
    }
}

void BrokerCore::OnDisconnected(ConnectionId inConnection, TimePoint inNow) {
    FlushRun();
    Connection* connection = Find(inConnection);
    if (connection == nullptr) {
        return;
    }
    SendAway(*connection, inNow);
    std::erase(mWritable, inConnection);
    std::erase(mReporting, inConnection);
    mLast = nullptr;
    mConnections.erase(inConnection);
}

void BrokerCore::OnWriteBlocked(ConnectionId inConnection) {
    Connection* connection = Find(inConnection);
    if (connection != nullptr && mPool.BytesInUse() > mLimits.brokerMemory / 8) {
        connection->output.Compact(mPool);
    }
}

void BrokerCore::Refuse(Connection& ioConnection, RefuseCode inCode, WireError inError,
                        std::string_view inReason) {
    wire::Write(ioConnection.output, mPool, wire::Refusal{inCode, std::string(inReason)});
    MarkWritable(ioConnection);
    Close(ioConnection, inError, inReason, true);
}

/// The peer broke a rule: it is told, and its connection ends.
void BrokerCore::Fail(Connection& ioConnection, WireError inError, TimePoint inNow) {
    FlushRun();
    SendAway(ioConnection, inNow);
    Refuse(ioConnection, RefuseCode::Protocol, inError, wire::Text(inError));
}

/// The connection ends; the member may return at once, nothing is lost.
void BrokerCore::Drop(Connection& ioConnection, WireError inError, std::string_view inReason,
                      TimePoint inNow) {
    SendAway(ioConnection, inNow);
    ioConnection.output.Clear();
    Close(ioConnection, inError, inReason, false);
}

void BrokerCore::Close(Connection& ioConnection, WireError inError, std::string_view inReason,
                       bool inFlushFirst) {
    ioConnection.state = Connection::State::kClosing;
    ioConnection.halfFrameSince.reset();
    ioConnection.heldInput = 0;
    mActions.emplace_back(CloseConnection{ioConnection.id, inError, std::string(inReason), inFlushFirst});
}

void BrokerCore::MarkWritable(Connection& ioConnection) {
    if (!ioConnection.writable) {
        ioConnection.writable = true;
        mWritable.push_back(ioConnection.id);
    }
}

void BrokerCore::Settle(TimePoint inNow) {
    FlushRun();
    WriteDueReports(inNow);
    for (const ConnectionId id : std::exchange(mOverrunning, {})) {
        Connection* sender = Find(id);
        if (sender != nullptr && sender->Joined()) {
            Drop(*sender, WireError::kWindowOverrun, wire::Text(WireError::kWindowOverrun), inNow);
        }
    }
    std::vector<Connection*> overflowing;
    for (const ConnectionId id : mWritable) {
        Connection& connection = *Find(id);
        if (connection.state != Connection::State::kClosing &&
            connection.output.ControlBytes() > mLimits.controlQueue + connection.snapshotBytes) {
            overflowing.push_back(&connection);
        }
    }
    for (Connection* connection : overflowing) {
        Drop(*connection, WireError::kControlOverflow, wire::Text(WireError::kControlOverflow), inNow);
    }
    GuardMemory(inNow);
}

void BrokerCore::GuardMemory(TimePoint inNow) {
    if (mPool.BytesInUse() <= mLimits.brokerMemory) {
        return;
    }
    for (const auto& [id, connection] : mConnections) {
        connection->output.Compact(mPool);
    }
    std::size_t leaving = 0;  // input of connections that are about to be closed
    while (mPool.BytesInUse() > mLimits.brokerMemory + leaving) {
        Connection* fullest = nullptr;
        for (const auto& [id, connection] : mConnections) {
            if (connection->HeldBytes() > (fullest == nullptr ? 0 : fullest->HeldBytes())) {
                fullest = connection.get();
            }
        }
        if (fullest == nullptr) {
            return;
        }
        if (fullest->state == Connection::State::kClosing) {
            fullest->output.Clear();
        } else {
            leaving += fullest->heldInput;
            Drop(*fullest, WireError::kMemoryPressure, wire::Text(WireError::kMemoryPressure), inNow);
        }
    }
}

void BrokerCore::Tick(TimePoint inNow) {
    FlushRun();
    std::vector<Connection*> slow;
    for (const auto& [id, connection] : mConnections) {
        const bool joined = connection->Joined();
        const bool closing = connection->state == Connection::State::kClosing;
        if ((!joined && !closing && connection->since + mLimits.handshake <= inNow) ||
            (connection->halfFrameSince && *connection->halfFrameSince + mLimits.halfFrame <= inNow)) {
            slow.push_back(connection.get());
        }
    }
    for (Connection* connection : slow) {
        Drop(*connection, WireError::kTooSlow, wire::Text(WireError::kTooSlow), inNow);
    }
    std::vector<wire::MemberId> expired;
    for (const auto& [id, member] : mMembers) {
        if (member->connection == nullptr && member->awaySince + mLimits.away <= inNow) {
            expired.push_back(id);
        }
    }
    for (const wire::MemberId member : expired) {
        RemoveMember(member, wire::PeerReason::Expired);
    }
}

std::optional<TimePoint> BrokerCore::NextDeadline() const {
    std::optional<TimePoint> next;
    const auto consider = [&](TimePoint inTime) { next = next ? std::min(*next, inTime) : inTime; };
    for (const auto& [id, connection] : mConnections) {
        if (connection->halfFrameSince) {
            consider(*connection->halfFrameSince + mLimits.halfFrame);
        }
        if (connection->state == Connection::State::kNew ||
            connection->state == Connection::State::kWelcomed) {
            consider(connection->since + mLimits.handshake);
        }
    }
    for (const ConnectionId id : mReporting) {
        const Connection& connection = *Find(id);
        if (connection.output.ControlBytes() < mLimits.controlQueue / 4) {
            consider(connection.reportSince + mLimits.reportDelay);
        }
    }
    for (const auto& [id, member] : mMembers) {
        if (member->connection == nullptr) {
            consider(member->awaySince + mLimits.away);
        }
    }
    return next;
}

std::vector<BrokerAction> BrokerCore::TakeActions() { return std::exchange(mActions, {}); }

std::vector<ConnectionId> BrokerCore::TakeWritable() {
    for (const ConnectionId id : mWritable) {
        Find(id)->writable = false;
    }
    return std::exchange(mWritable, {});
}

wire::OutputQueue& BrokerCore::Output(ConnectionId inConnection) { return Find(inConnection)->output; }

std::vector<LaneStatus> BrokerCore::BusyLanes(const Connection& inSender) {
    std::vector<LaneStatus> busy;
    for (const auto& [slot, lane] : inSender.lanes) {
        if (busy.size() == kMostLanesTold) {
            break;
        }
        if (lane->inFlight != 0 || !lane->attached) {
            busy.push_back({lane->receiver->member->record.member, lane->attached, lane->inFlight,
                            lane->queued, lane->consumed});
        }
    }
    return busy;
}

BrokerStatus BrokerCore::Status() const {
    BrokerStatus status;
    for (const auto& [id, member] : mMembers) {
        MemberStatus& told = status.members.emplace_back();
        told.member = id;
        told.endPoint = member->Notice(wire::PeerChange::Away).endPoint;
        told.receives = member->receives;
        if (const Connection* connection = member->connection) {
            told.connected = true;
            told.queuedBytes = connection->output.Bytes();
            told.busyLanes = BusyLanes(*connection);
        }
    }
    status.connections = mConnections.size();
    std::map<std::pair<std::uint32_t, std::uint64_t>, std::size_t> ofProcess;
    for (const auto& [id, connection] : mConnections) {
        const ProcessIdentity& process = connection->process;
        status.mostConnections =
            std::max(status.mostConnections, ++ofProcess[{process.processId, process.startTime}]);
        status.mostControlBytes = std::max(status.mostControlBytes, connection->output.ControlBytes());
    }
    status.messagesRouted = mMessagesRouted;
    status.bytesRouted = mBytesRouted;
    status.messagesDropped = mMessagesDropped;
    status.memoryInUse = mPool.BytesInUse();
    return status;
}

void BrokerCore::SendStatus(ConnectionId inConnection, std::string_view inJson) {
    Connection* connection = Find(inConnection);
    if (connection != nullptr && connection->state != Connection::State::kClosing) {
        connection->statusRequested = false;
        wire::WriteStatusReply(connection->output, mPool, inJson);
        MarkWritable(*connection);
    }
}

std::optional<wire::MemberId> BrokerCore::MemberOf(ConnectionId inConnection) const {
    const Connection* connection = Find(inConnection);
    return connection == nullptr || connection->member == nullptr
               ? std::nullopt
               : std::optional(connection->member->record.member);
}

std::optional<ConnectionId> BrokerCore::ConnectionOf(wire::MemberId inMember) const {
    const auto found = mMembers.find(inMember);
    return found == mMembers.end() || found->second->connection == nullptr
               ? std::nullopt
               : std::optional(found->second->connection->id);
}

}  // namespace orvane::plexa::broker
