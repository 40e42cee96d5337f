#include "nuocore/Time.h"

#include <fmt/format.h>

#include <chrono>

namespace nuocore::time {

namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

std::uint64_t GetCurrentTimeStamp() noexcept {
    return static_cast<std::uint64_t>(Clock::now().time_since_epoch().count());
}

std::uint64_t ConvertToNanos(std::uint64_t inTicks) noexcept {
    using Ticks = std::chrono::duration<std::uint64_t, Clock::period>;
    using Nanos = std::chrono::duration<std::uint64_t, std::nano>;
    return std::chrono::duration_cast<Nanos>(Ticks(inTicks)).count();
}

std::string FormatCurrentTime() {
    using std::chrono::floor;
    const auto now = floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    const auto day = floor<std::chrono::days>(now);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(now - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
                       clock.subseconds().count());
}

}  // namespace nuocore::time
