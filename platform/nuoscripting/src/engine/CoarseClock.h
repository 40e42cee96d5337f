/// The time, cheap to ask and some milliseconds late.
#pragma once

#include <chrono>

namespace nuoscripting::engine {

/// Of `std::chrono::steady_clock`.
[[nodiscard]] std::chrono::steady_clock::time_point CoarseNow() noexcept;

}  // namespace nuoscripting::engine
