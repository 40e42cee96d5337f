// Connections: greeting, rules of order, ends.
#include "BrokerCore.h"

#include <algorithm>
#include <utility>

#include "BrokerState.h"

namespace orvane::plexa::broker {

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

std::vector<BrokerAction> BrokerCore::TakeActions() { return std::exchange(mActions, {}); }

std::vector<ConnectionId> BrokerCore::TakeWritable() {
    for (const ConnectionId id : mWritable) {
        Find(id)->writable = false;
    }
    return std::exchange(mWritable, {});
}

wire::OutputQueue& BrokerCore::Output(ConnectionId inConnection) { return Find(inConnection)->output; }

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
