/// How a process knows which desktop entry has started it: two variables of its environment, which other
/// launchers of this desktop set too.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace orvane::plexa::control {

inline constexpr std::string_view kLaunchFileVariable = "GIO_LAUNCHED_DESKTOP_FILE";
inline constexpr std::string_view kLaunchProcessVariable = "GIO_LAUNCHED_DESKTOP_FILE_PID";

/// The entry of an environment that names an entry file.
inline std::string LaunchMark(const std::string& inEntryFile) {
    return std::string(kLaunchFileVariable) + '=' + inEntryFile;
}

/// The entry file that this very process was started by, as its environment says, which is entries that each
/// end with a zero; empty when it wasn't. What such a process has started itself inherits the variables, but
/// has another process id.
inline std::string_view LaunchedEntryFile(std::string_view inEnvironment, int inProcessId) {
    const std::string process = std::string(kLaunchProcessVariable) + '=' + std::to_string(inProcessId);
    const std::string mark = LaunchMark({});
    std::string_view file;
    bool holdsProcess = false;
    while (!inEnvironment.empty()) {
        const std::string_view entry = inEnvironment.substr(0, inEnvironment.find('\0'));
        if (entry.starts_with(mark)) file = entry.substr(mark.size());
        holdsProcess = holdsProcess || entry == process;
        inEnvironment.remove_prefix(std::min(inEnvironment.size(), entry.size() + 1));
    }
    return holdsProcess ? file : std::string_view();
}

}  // namespace orvane::plexa::control
