/// The values of settings, as users write them. No I/O. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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

}  // namespace orvane::plexa::wire
