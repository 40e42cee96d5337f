/// What a background program does with the files of the process it was started in.
#pragma once

#include <span>

namespace orvane::plexa::wire {

/// Closes every descriptor above stderr but those in inKept, so that nobody waits for the end of a pipe or
/// for a lock because of this process, and opens /dev/null for each of the standard three that is closed, so
/// that no later file takes its number. Called before anything else runs.
void CloseInheritedDescriptors(std::span<const int> inKept);

}  // namespace orvane::plexa::wire
