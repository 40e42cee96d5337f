/// The standard input, read whole.
#pragma once

#include <cstddef>

#include "nuocore/Strings.h"

namespace orvane::plexa::tool {

/// What `ReadInput` reads at most.
inline constexpr std::size_t kMaxInputBytes = std::size_t{64} << 20;

/// Reads the standard input to its end. Throws `Failure` when it can't be read or is larger than
/// `kMaxInputBytes`.
nuocore::UTF8String ReadInput();

}  // namespace orvane::plexa::tool
