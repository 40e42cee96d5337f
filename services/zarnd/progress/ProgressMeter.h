/// Which progress is told, and when. No I/O; the clock is handed in.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace orvane::plexa::zarnd {

/// Percentages that never fall, never pass 100, reach 100 only at the end, and come no more than 20 times a
/// second.
class ProgressMeter {
  public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds kInterval{50};

    /// The share that is done, 0 to 1; returns the percentage if it is to be told now.
    std::optional<int> OnShare(double inShare, Time inNow) {
        const double share = inShare > 0 ? std::min(inShare, 1.0) : 0.0;  // nothing that is no number
        mPercent = std::max(mPercent, std::min(kLastBeforeEnd, static_cast<int>(share * 100)));
        return OnTime(inNow);
    }

    /// The percentage, if it has become time to tell it.
    std::optional<int> OnTime(Time inNow) {
        if (mPercent == mTold || (mTold >= 0 && inNow < mLast + kInterval)) return std::nullopt;
        mLast = inNow;
        mTold = mPercent;
        return mTold;
    }

    /// When `OnTime` has something to tell; nothing while it has not.
    [[nodiscard]] std::optional<Time> Due() const {
        if (mPercent == mTold) return std::nullopt;
        return mTold < 0 ? Time::min() : mLast + kInterval;
    }

    /// What has been told last, for those who join; nothing before the first time.
    [[nodiscard]] std::optional<int> Told() const {
        return mTold < 0 ? std::nullopt : std::optional<int>(mTold);
    }

  private:
    static constexpr int kLastBeforeEnd = 99;

    int mPercent = 0;
    int mTold = -1;
    Time mLast = Time::min();
};

}  // namespace orvane::plexa::zarnd
