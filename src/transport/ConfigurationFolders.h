/// Where configuration files are looked for on systems that follow the XDG base directories.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nuoplexasupport {

/// The configuration directories, the user's first. Takes the values of XDG_CONFIG_HOME, HOME and
/// XDG_CONFIG_DIRS; an empty one counts as not set. Relative directories are ignored. Any thread.
std::vector<std::string> ConfigurationFolders(std::string_view inConfigHome, std::string_view inHome,
                                              std::string_view inConfigDirs);

}  // namespace nuoplexasupport
