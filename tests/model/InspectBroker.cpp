#include "BrokerState.h"

#include <algorithm>
#include <array>

#include "StateInspector.h"

namespace orvane::plexa::broker {

wire::Slot StateInspector::SlotOf(const BrokerCore& inBroker, ConnectionId inConnection) {
    const BrokerCore::Connection* connection = inBroker.Find(inConnection);
    return connection == nullptr ? wire::kNoSlot : connection->slot;
}

void StateInspector::AddMembers(const BrokerCore& inBroker) {
    for (const auto& [id, member] : inBroker.mMembers) {
        mHash.Add(id << 3U | (member->receives ? 1U : 0U) | (member->connection != nullptr ? 2U : 0U) |
                  (member->record.receives ? 4U : 0U));
    }
    mHash.Add(inBroker.mNextMember);
}

void StateInspector::Add(const BrokerCore& inBroker, ConnectionId inConnection) {
    const BrokerCore::Connection& connection = *inBroker.Find(inConnection);
    mHash.Add(static_cast<std::uint64_t>(connection.state));
    mHash.Add(mSlots(connection.slot));
    mHash.Add((connection.receives ? 1U : 0U) | (connection.interest ? 2U : 0U) |
              (connection.reporting ? 4U : 0U) | (connection.reportSoon ? 8U : 0U));
    mHash.Add(connection.interest ? connection.interest->size() : 0);
    mHash.Add(connection.routed << 32U | connection.highest);
    if (mSetup.window != 0) {
        mHash.Add(connection.unreported);
    }
    // Lanes by receiver, in the order in which those are connected, which the caller goes by too.
    std::array<const BrokerCore::Lane*, 32> lanes{};
    std::size_t count = 0;
    for (const auto& [slot, lane] : connection.lanes) {
        if (count != lanes.size()) {
            lanes[count++] = lane.get();
        }
    }
    std::sort(lanes.begin(), lanes.begin() + static_cast<std::ptrdiff_t>(count),
              [&](const BrokerCore::Lane* inLeft, const BrokerCore::Lane* inRight) {
                  return mSlots(inLeft->receiver->slot) < mSlots(inRight->receiver->slot);
              });
    for (std::size_t i = 0; i != count; ++i) {
        Add(*lanes[i]);
    }
}

void StateInspector::Add(const BrokerCore::Lane& inLane) {
    mHash.Add(mSlots(inLane.receiver->slot));
    mHash.Add((inLane.attached ? 1U : 0U) | (inLane.awaitsPosition ? 2U : 0U) | (inLane.reporting ? 4U : 0U));
    mHash.Add(inLane.queued << 32U | inLane.consumed);
    mHash.Add(inLane.filtered);
    if (mSetup.window != 0) {
        mHash.Add(inLane.inFlight << 32U | inLane.unreported);
        mHash.Add(inLane.window);
    }
}

}  // namespace orvane::plexa::broker
