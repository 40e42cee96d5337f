#include <ctime>

#include "CoarseClock.h"

namespace nuoscripting::engine {

std::chrono::steady_clock::time_point CoarseNow() noexcept {
    ::timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::chrono::steady_clock::time_point(std::chrono::seconds(now.tv_sec) +
                                                 std::chrono::nanoseconds(now.tv_nsec));
}

}  // namespace nuoscripting::engine
