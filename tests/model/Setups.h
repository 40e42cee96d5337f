// The table of what is searched: two or three sorts of events at a time, so that each two meet somewhere.
#pragma once

#include <vector>

#include "Setup.h"

namespace orvane::plexa::test {

/// Everyone of them is finished within seconds.
const std::vector<Setup>& ShortSetups();
/// Wider ones, of many million states.
const std::vector<Setup>& LongSetups();
/// By name, from either table.
const Setup& FindSetup(const char* inName);

}  // namespace orvane::plexa::test
