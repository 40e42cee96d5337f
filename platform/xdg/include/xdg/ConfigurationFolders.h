/// Where configuration files are looked for on systems that follow the XDG base directories. The library, the
/// message library and the broker look in the same places and share no library of their own.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvane::plexa::xdg {

/// The configuration directories, the user's first. Takes the values of XDG_CONFIG_HOME, HOME and
/// XDG_CONFIG_DIRS; an empty one counts as not set. Relative directories are ignored. No I/O. Any thread.
inline std::vector<std::string> ConfigurationFolders(std::string_view inConfigHome, std::string_view inHome,
                                                     std::string_view inConfigDirs) {
    std::vector<std::string> folders;
    const auto add = [&](std::string inFolder) {
        if (inFolder.starts_with('/')) {
            folders.push_back(std::move(inFolder));
        }
    };
    if (!inConfigHome.empty()) {
        add(std::string(inConfigHome));
    } else if (!inHome.empty()) {
        // Without a home it would be a folder of the root.
        add(std::string(inHome).append("/.config"));
    }
    std::string_view rest = inConfigDirs.empty() ? "/etc/xdg" : inConfigDirs;
    while (!rest.empty()) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
        add(std::string(folder));
    }
    return folders;
}

}  // namespace orvane::plexa::xdg
