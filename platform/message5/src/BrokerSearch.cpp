#include "BrokerSearch.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "nuocore/StringConversion.h"
#include "xdg/ConfigurationFolders.h"

namespace orvane::plexa::message5 {

namespace {

constexpr std::string_view kSuffix = "/Orvane/Orvane Desktop Common/IPCBox/OrvaneIPCBroker.exe";
constexpr std::string_view kFileName = "/OrvaneIPCBroker.exe";
constexpr std::string_view kKeyFile = "/orvane/plexa/5.0";
constexpr std::string_view kKeyName = "OrvaneIPCBroker=";
/// Stored paths are refused from this many UTF-16 units on, the terminator counted in, on every system.
constexpr std::size_t kStoredPathLimit = 130;

std::vector<std::string> ConfigurationFolders(const IBrokerSearchSystem& inSystem) {
    return xdg::ConfigurationFolders(inSystem.Environment("XDG_CONFIG_HOME").value_or(""),
                                     inSystem.Environment("HOME").value_or(""),
                                     inSystem.Environment("XDG_CONFIG_DIRS").value_or(""));
}

std::optional<std::string> StoredPath(std::string_view inKeyFile) {
    for (std::string_view rest = inKeyFile; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (line.starts_with(kKeyName)) {
            const std::string_view path = line.substr(kKeyName.size());
            const bool fits = nuocore::string::UTF8to16(path).size() + 1 <= kStoredPathLimit;
            return fits ? std::optional<std::string>(path) : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> FindBroker(const IBrokerSearchSystem& inSystem) {
    const auto existing = [&](const std::string& inPath) {
        return inPath.starts_with('/') && inSystem.Exists(inPath) ? std::optional(inPath) : std::nullopt;
    };
    if (const auto path = inSystem.Environment("PLEXA_BROKER"); path && !path->empty()) {
        return existing(*path);
    }
    for (const char* variable : {"CommonProgramFiles(x86)", "CommonProgramFiles"}) {
        std::string base = inSystem.Environment(variable).value_or(inSystem.FallbackBase());
        if (auto found = existing(base.append(kSuffix))) {
            return found;
        }
    }
    for (const std::string& folder : ConfigurationFolders(inSystem)) {
        if (const auto text = inSystem.ReadFile(folder + std::string(kKeyFile))) {
            const auto stored = StoredPath(*text);
            return stored && stored->ends_with(kFileName) ? existing(*stored) : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace orvane::plexa::message5
