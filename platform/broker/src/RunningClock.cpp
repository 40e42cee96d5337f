#include "RunningClock.h"

#include <algorithm>

namespace orvane::plexa::broker {

namespace {

/// Later than this the broker did not run.
constexpr std::chrono::milliseconds kLate{500};
/// What those get whose time would have run out meanwhile: enough to come in and to be heard.
constexpr std::chrono::seconds kGrace{2};

}  // namespace

wire::TimePoint RunningClock::Advance(wire::TimePoint inReal, std::optional<wire::TimePoint> inDue) noexcept {
    wire::TimePoint now = At(inReal);
    const bool late = inDue && now > *inDue + kLate;
    if (late && !mExcused) {
        const wire::TimePoint back = std::max(mLast, *inDue - kGrace);
        mLag += now - back;
        now = back;
    }
    mExcused = late && !mExcused;
    mLast = now;
    return now;
}

}  // namespace orvane::plexa::broker
