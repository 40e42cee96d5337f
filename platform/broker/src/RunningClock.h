/// Time as it passes for the broker. While the broker is stopped or gets no processor it hears nobody, so
/// nobody's time may run out by that: then less time passes than the system's clock says, and what has come
/// meanwhile is heard first. Single-threaded.
#pragma once

#include <chrono>
#include <optional>

#include "wire/Types.h"

namespace orvane::plexa::broker {

class RunningClock {
  public:
    explicit RunningClock(wire::TimePoint inReal) noexcept : mLast(inReal) {}

    /// The time when the system's clock says inReal.
    wire::TimePoint At(wire::TimePoint inReal) const noexcept { return inReal - mLag; }
    /// The same, after a wait that should have ended at inDue at the latest. Being late is excused once, not
    /// over and over: on a machine that is always too slow time has to go on, too.
    wire::TimePoint Advance(wire::TimePoint inReal, std::optional<wire::TimePoint> inDue) noexcept;

  private:
    wire::TimePoint mLast;
    wire::Duration mLag{};
    bool mExcused = false;
};

}  // namespace orvane::plexa::broker
