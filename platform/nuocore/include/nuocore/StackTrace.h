/// Call stacks for diagnostics.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nuocore/export.h"

namespace nuocore::debug {

/// The functions on this thread's stack, the caller first, readable names where the system knows them. Any
/// thread; slow. `inSkip` more frames are left out at the top; at most `inMaxFrames` are returned.
[[nodiscard]] NUOCORE_API std::vector<std::string> CaptureStackTrace(std::size_t inSkip = 0,
                                                                     std::size_t inMaxFrames = 64);

}  // namespace nuocore::debug
