/// When a broken download is tried again. No I/O, no clock.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

namespace orvane::plexa::zarnd {

struct RetrySettings {
    std::chrono::milliseconds mFirstDelay{500};  ///< doubled with every attempt in a row that brought nothing
    std::chrono::milliseconds mLongestDelay{8000};
    int mMaxBarren = 4;   ///< attempts in a row that brought nothing, the last one not tried again
    int mMaxBreaks = 64;  ///< all breaks of one download
};

class RetryPolicy {
  public:
    explicit RetryPolicy(const RetrySettings& inSettings) : mSettings(inSettings) {}

    /// After an attempt that broke off: how long to wait before the next one; nothing when it's enough.
    std::optional<std::chrono::milliseconds> OnBreak(std::uint64_t inBytesBrought) {
        mBarren = inBytesBrought > 0 ? 0 : mBarren + 1;
        if (++mBreaks > mSettings.mMaxBreaks || mBarren >= mSettings.mMaxBarren) return std::nullopt;
        std::chrono::milliseconds delay = mSettings.mFirstDelay;
        for (int i = 1; i < mBarren && delay < mSettings.mLongestDelay; ++i) delay *= 2;
        return std::min(delay, mSettings.mLongestDelay);
    }

  private:
    RetrySettings mSettings;
    int mBarren = 0;
    int mBreaks = 0;
};

}  // namespace orvane::plexa::zarnd
