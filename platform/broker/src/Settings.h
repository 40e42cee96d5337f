/// The broker's bounds, as the environment and a configuration file set them.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "wire/Limits.h"
#include "wire/Setting.h"

namespace orvane::plexa::broker {

/// A bound that can be set. Its name with underscores and in capitals, behind "PLEXA_LIMIT_", is the
/// environment variable.
struct BoundSetting {
    std::string_view name;
    std::variant<std::size_t wire::Limits::*, wire::Duration wire::Limits::*> field;
    wire::SettingRange range;
};
std::span<const BoundSetting> BoundSettings() noexcept;
std::string EnvironmentName(const BoundSetting& inSetting);
/// A size in bytes, a time in milliseconds, or a count.
std::uint64_t ValueOf(const BoundSetting& inSetting, const wire::Limits& inLimits) noexcept;

/// The value of an environment variable; none when it isn't set.
using EnvironmentLookup = std::function<std::optional<std::string>(const std::string& inName)>;

/// A configuration file's text: lines "name = value", empty ones, and such that begin with #.
struct ConfigurationFile {
    std::string path;
    std::string text;
};

struct Settings {
    wire::Limits limits;
    /// A sentence for each value that cannot be used: the default, or the file's value, holds then.
    std::vector<std::string> complaints;
};

/// The environment counts more than the file. No I/O.
Settings ReadSettings(const std::optional<ConfigurationFile>& inFile, const EnvironmentLookup& inLookup);

/// Reads the file at inPath or, if that is empty, the first "orvane/plexa/broker.conf" in the configuration
/// folders that the environment names; none when there is none. Throws std::runtime_error when a file is
/// there and cannot be read, or inPath is not there.
std::optional<ConfigurationFile> ReadConfigurationFile(const std::string& inPath,
                                                       const EnvironmentLookup& inLookup);

/// This process's environment, which nobody may change meanwhile.
std::optional<std::string> ProcessEnvironment(const std::string& inName);

}  // namespace orvane::plexa::broker
