/// Where the broker's program is. The search itself asks a system that is handed in.
#pragma once

#include <optional>
#include <string>

namespace orvane::plexa::message5 {

/// What the search asks of the machine.
class IBrokerSearchSystem {
  public:
    IBrokerSearchSystem() = default;
    IBrokerSearchSystem(const IBrokerSearchSystem&) = delete;
    IBrokerSearchSystem& operator=(const IBrokerSearchSystem&) = delete;
    virtual ~IBrokerSearchSystem() = default;

    /// The value of an environment variable; nothing when it isn't set.
    [[nodiscard]] virtual std::optional<std::string> Environment(const char* inName) const = 0;
    /// Folder that stands in for the folders of common files that the environment doesn't name.
    [[nodiscard]] virtual std::string FallbackBase() const = 0;
    [[nodiscard]] virtual bool Exists(const std::string& inPath) const = 0;
    /// The beginning of a small text file; nothing when it can't be opened.
    [[nodiscard]] virtual std::optional<std::string> ReadFile(const std::string& inPath) const = 0;
};

/// The program's path. PLEXA_BROKER decides alone if it is set; else the two standard places below the
/// folders of common files, then the path stored in the first key file of the configuration directories.
/// Nothing when there is no such file. Any thread, while nobody changes the environment.
std::optional<std::string> FindBroker(const IBrokerSearchSystem& inSystem);
/// The same on this machine.
std::optional<std::string> FindBroker();

}  // namespace orvane::plexa::message5
