/// The values of settings, as users write them, and where they are written. No I/O. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::plexa::wire {

/// What a setting may be. Sizes are in bytes, times in milliseconds.
struct SettingRange {
    enum class Kind : std::uint8_t { kCount, kSize, kTime };
    Kind kind = Kind::kCount;
    std::uint64_t least = 0;
    std::uint64_t most = 0;
};

/// A count is a plain number; a size may have one of the units K, M, G; a time has the unit ms or s. None
/// when the text is anything else or out of the range.
std::optional<std::uint64_t> ParseSetting(std::string_view inText, const SettingRange& inRange) noexcept;

/// What ParseSetting takes, such as "a size from 64K to 1G".
std::string Expected(const SettingRange& inRange);

/// The folders of configuration files, the user's own first: inConfigHome, or ".config" below inHome if that
/// is empty; then those of inConfigDirs, separated by colons, or "/etc/xdg" if that is empty. Relative ones
/// are passed over.
std::vector<std::string> ConfigurationFolders(std::string_view inConfigHome, std::string_view inHome,
                                              std::string_view inConfigDirs);

}  // namespace orvane::plexa::wire
