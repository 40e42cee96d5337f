// What the broker tells about itself.
#include <algorithm>
#include <map>
#include <utility>

#include "BrokerState.h"

namespace orvane::plexa::broker {

namespace {

/// Lanes of one sender in a status: enough to see what stands still.
constexpr std::size_t kMostLanesTold = 32;

}  // namespace

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
        told.receives = member->receives && member->record.receives;
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

}  // namespace orvane::plexa::broker
