/// Of several services on one bus only one serves.
#pragma once

#include <optional>
#include <vector>

#include "deployment/Types.h"
#include "processes/ProcessStart.h"

namespace orvane::plexa::zarnd {

/// The service among the end points whose process is the oldest, so that all choose the same one; nothing
/// when there is none. One whose process can't be seen is chosen only where no other is.
std::optional<Asker> OldestService(const std::vector<Asker>& inEndPoints, const StartOfProcess& inStartOf);

/// That one, if its process is older than this one's.
std::optional<Asker> OlderService(const std::vector<Asker>& inEndPoints, const Asker& inSelf,
                                  const StartOfProcess& inStartOf);

}  // namespace orvane::plexa::zarnd
