#include "bus/OtherService.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "bus/MessageTypes.h"

namespace orvane::plexa::zarnd {

namespace {

std::pair<std::uint64_t, std::int32_t> AgeOf(const Asker& inService, const StartOfProcess& inStartOf) {
    const std::uint64_t start = inStartOf(inService.mProcessId);
    return {start != 0 ? start : std::numeric_limits<std::uint64_t>::max(), inService.mProcessId};
}

}  // namespace

std::optional<Asker> OldestService(const std::vector<Asker>& inEndPoints, const StartOfProcess& inStartOf) {
    std::optional<Asker> oldest;
    for (const Asker& endPoint : inEndPoints) {
        if (!endPoint.mAppId.starts_with(kAppIdPrefix)) continue;
        if (!oldest || AgeOf(endPoint, inStartOf) < AgeOf(*oldest, inStartOf)) oldest = endPoint;
    }
    return oldest;
}

std::optional<Asker> OlderService(const std::vector<Asker>& inEndPoints, const Asker& inSelf,
                                  const StartOfProcess& inStartOf) {
    const auto oldest = OldestService(inEndPoints, inStartOf);
    if (!oldest || AgeOf(*oldest, inStartOf) >= AgeOf(inSelf, inStartOf)) return std::nullopt;
    return oldest;
}

}  // namespace orvane::plexa::zarnd
