/// What stands in a folder.
#pragma once

#include <string>
#include <vector>

namespace orvane::plexa::control {

/// The names in a folder, sorted by their bytes, so that the order doesn't depend on the file system's. None
/// when it isn't there or isn't ours to read. Throws `std::system_error` when it can't be read at this
/// moment. Any thread.
std::vector<std::string> NamesIn(const std::string& inFolder);

}  // namespace orvane::plexa::control
