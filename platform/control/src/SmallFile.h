/// Reading files of which nothing is known.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace orvane::plexa::control {

/// The bytes of a regular file. Nothing when it isn't there or isn't ours to read, is something else or
/// larger than inLargest. Throws `std::system_error` when it can't be read at this moment. Never waits for a
/// pipe's other end. Any thread.
std::optional<std::string> ReadSmallFile(const std::string& inPath, std::size_t inLargest);

/// The first bytes of a regular file, inCount at most; none where the other gives nothing. Likewise.
std::string ReadBeginning(const std::string& inPath, std::size_t inCount);

}  // namespace orvane::plexa::control
