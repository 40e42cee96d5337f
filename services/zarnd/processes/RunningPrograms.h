/// Which programs run.
#pragma once

#include <string>
#include <vector>

namespace orvane::plexa::zarnd {

/// Those of the names, in their order, that are the name of an executable which a process of this user runs.
/// A script runs as its interpreter.
std::vector<std::string> RunningPrograms(const std::vector<std::string>& inNames);

}  // namespace orvane::plexa::zarnd
