/// Durations that hosts name, up to `max()` for ever.
#pragma once

#include <algorithm>
#include <chrono>

namespace nuoscripting::detail {

/// The same, within what clocks can add to their time.
inline std::chrono::milliseconds Bounded(std::chrono::milliseconds inDuration) {
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365 * 100);
    return std::clamp(inDuration, std::chrono::milliseconds(0), kLongest);
}

}  // namespace nuoscripting::detail
