// Bounds and times: who is disconnected for them, and who is gone.
#include <utility>

#include "BrokerState.h"

namespace orvane::plexa::broker {

using wire::TimePoint;
using wire::WireError;

void BrokerCore::OnWriteBlocked(ConnectionId inConnection) {
    Connection* connection = Find(inConnection);
    if (connection != nullptr && mPool.BytesInUse() > mLimits.brokerMemory / 8) {
        connection->output.Compact(mPool);
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
    const auto consider = [&](TimePoint inTime) { next = wire::Earlier(next, inTime); };
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

}  // namespace orvane::plexa::broker
