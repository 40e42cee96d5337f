/// The standard input and files, read whole.
#pragma once

#include <cstddef>
#include <string>

#include "nuocore/Strings.h"

namespace orvane::plexa::tool {

/// What is read at most.
inline constexpr std::size_t kMaxInputBytes = std::size_t{64} << 20;

/// Reads the standard input to its end. Throws `Failure` when it can't be read or is larger than
/// `kMaxInputBytes`.
nuocore::UTF8String ReadInput();
/// The same of a file.
nuocore::UTF8String ReadFile(const std::string& inPath);

}  // namespace orvane::plexa::tool
