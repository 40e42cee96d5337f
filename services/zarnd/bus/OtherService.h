/// Of several services on one bus only one serves.
#pragma once

#include <optional>
#include <vector>

#include "deployment/Types.h"
#include "processes/ProcessStart.h"

namespace orvane::plexa::zarnd {

/// A service among the end points whose process is older than this one's, so that of two that begin at the
/// same time one stays; nothing when there is none.
std::optional<Asker> OlderService(const std::vector<Asker>& inEndPoints, const Asker& inSelf,
                                  const StartOfProcess& inStartOf);

}  // namespace orvane::plexa::zarnd
