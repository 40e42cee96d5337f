#include "StatusText.h"

#include <array>
#include <string_view>
#include <utility>

#include <boost/json.hpp>

#include "Settings.h"
#include "Version.h"

namespace orvane::plexa::broker {

namespace {

boost::json::array Describe(const std::vector<LaneStatus>& inLanes) {
    boost::json::array lanes;
    for (const LaneStatus& lane : inLanes) {
        lanes.push_back({{"receiver", lane.receiver},
                         {"attached", lane.attached},
                         {"in_flight_bytes", lane.bytesInFlight},
                         {"queued", lane.queued},
                         {"consumed", lane.consumed}});
    }
    return lanes;
}

boost::json::object Describe(const MemberStatus& inMember) {
    return {
        {"member", inMember.member},
        {"app_id", inMember.endPoint.appId},
        {"instance", inMember.endPoint.instance},
        {"pid", inMember.endPoint.processId},
        {"state", inMember.connected ? "up" : "away"},
        {"receives", inMember.receives},
        {"queued_bytes", inMember.queuedBytes},
        {"lanes", Describe(inMember.busyLanes)},
    };
}

/// How near each bound is, where that is a matter of amount.
boost::json::object DescribeBounds(const StatusFacts& inFacts) {
    const std::array<std::pair<std::string_view, std::size_t>, 4> amounts = {{
        {"broker memory", inFacts.core.memoryInUse},
        {"control queue", inFacts.core.mostControlBytes},
        {"connections", inFacts.core.mostConnections},
        {"members", inFacts.core.members.size()},
    }};
    boost::json::object bounds;
    for (const BoundSetting& setting : BoundSettings()) {
        const bool isTime = setting.range.kind == wire::SettingRange::Kind::kTime;
        boost::json::object bound{{isTime ? "limit_ms" : "limit", ValueOf(setting, inFacts.limits)}};
        for (const auto& [name, amount] : amounts) {
            if (name == setting.name) bound["in_use"] = amount;
        }
        bounds[setting.name] = std::move(bound);
    }
    return bounds;
}

}  // namespace

std::string StatusText(const StatusFacts& inFacts, std::size_t inMaxBytes) {
    boost::json::object status{
        {"version", kVersion},
        {"pid", inFacts.processId},
        {"uptime_s", inFacts.uptime.count()},
        {"runtime_dir", inFacts.runtimeDirectory},
        {"members_total", inFacts.core.members.size()},
        {"connections", inFacts.core.connections},
        {"totals",
         {{"messages", inFacts.core.messagesRouted},
          {"bytes", inFacts.core.bytesRouted},
          {"dropped", inFacts.core.messagesDropped},
          {"connections", inFacts.connections.accepted},
          {"refused", inFacts.connections.refused},
          {"faulty", inFacts.connections.faulty}}},
        {"memory", {{"in_use", inFacts.core.memoryInUse}, {"limit", inFacts.limits.brokerMemory}}},
        {"bounds", DescribeBounds(inFacts)},
    };
    boost::json::array members;
    std::size_t length = boost::json::serialize(status).size() + 16;
    for (const MemberStatus& member : inFacts.core.members) {
        boost::json::object description = Describe(member);
        length += boost::json::serialize(description).size() + 1;
        if (length > inMaxBytes) break;
        members.push_back(std::move(description));
    }
    status["members"] = std::move(members);
    return boost::json::serialize(status);
}

}  // namespace orvane::plexa::broker
