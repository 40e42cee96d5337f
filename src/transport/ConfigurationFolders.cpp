#include "transport/ConfigurationFolders.h"

#include <algorithm>
#include <utility>

namespace nuoplexasupport {

std::vector<std::string> ConfigurationFolders(std::string_view inConfigHome, std::string_view inHome,
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

}  // namespace nuoplexasupport
