/// High-precision time. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "nuocore/export.h"

namespace nuocore::time {

/// A stamp of a clock that never steps, in ticks of its own since an arbitrary start.
[[nodiscard]] NUOCORE_API std::uint64_t GetCurrentTimeStamp() noexcept;
/// The nanoseconds in a difference of two stamps.
[[nodiscard]] NUOCORE_API std::uint64_t ConvertToNanos(std::uint64_t inTicks) noexcept;
/// The current UTC time as "2026-01-31T12:34:56.789012Z".
[[nodiscard]] NUOCORE_API std::string FormatCurrentTime();

}  // namespace nuocore::time
