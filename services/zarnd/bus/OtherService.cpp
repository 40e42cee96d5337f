#include "bus/OtherService.h"

#include "bus/MessageTypes.h"

#include <algorithm>
#include <utility>

namespace orvane::plexa::zarnd {

std::optional<Asker> OlderService(const std::vector<Asker>& inEndPoints, const Asker& inSelf,
                                  const StartOfProcess& inStartOf) {
    const auto ageOf = [&](const Asker& inService) {
        return std::pair(inStartOf(inService.mProcessId), inService.mProcessId);
    };
    const auto own = ageOf(inSelf);
    const auto found = std::find_if(inEndPoints.begin(), inEndPoints.end(), [&](const Asker& inEndPoint) {
        if (!inEndPoint.mAppId.starts_with(kAppIdPrefix)) return false;
        const auto age = ageOf(inEndPoint);
        return age.first != 0 && age < own;  // one that has ended serves nobody
    });
    if (found == inEndPoints.end()) return std::nullopt;
    return *found;
}

}  // namespace orvane::plexa::zarnd
