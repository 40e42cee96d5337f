/// Reading files of which nothing is known.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace orvane::plexa::control {

/// The bytes of a regular file. Nothing when it can't be read, is something else or larger than inLargest.
/// Never waits for a pipe's other end. Any thread.
std::optional<std::string> ReadSmallFile(const std::string& inPath, std::size_t inLargest);

/// The first bytes of a regular file, inCount at most; none when it can't be read. Likewise.
std::string ReadBeginning(const std::string& inPath, std::size_t inCount);

}  // namespace orvane::plexa::control
