/// Whether a server sends fast enough. No I/O; the clock is handed in.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace orvane::plexa::zarnd {

struct PaceSettings {
    std::chrono::milliseconds mStallLimit{30000};         ///< without a byte
    std::chrono::milliseconds mSlowSpan{60000};           ///< in any such span at least
    std::uint64_t mSlowBytes = std::uint64_t{60} << 10U;  ///< this many bytes must come
};

/// Watches one transfer.
class Pace {
  public:
    using Time = std::chrono::steady_clock::time_point;

    Pace(const PaceSettings& inSettings, Time inNow) : mSettings(inSettings), mLast(inNow), mBegin(inNow) {}

    void OnBytes(std::uint64_t inCount, Time inNow) {
        mLast = inNow;
        mBytes += inCount;
    }
    /// Time that was not the server's.
    void OnPause(std::chrono::steady_clock::duration inTime) {
        mLast += inTime;
        mBegin += inTime;
    }

    /// What is wrong, in a sentence; nothing as long as the server does well enough.
    std::optional<std::string> Complaint(Time inNow) {
        if (inNow - mLast > mSettings.mStallLimit) {
            return "the server sends nothing for " + std::to_string(mSettings.mStallLimit.count()) + " ms";
        }
        if (inNow - mBegin < mSettings.mSlowSpan) return std::nullopt;
        if (mBytes < mSettings.mSlowBytes) {
            return "the server sends no more than " + std::to_string(mBytes) + " bytes in " +
                   std::to_string(mSettings.mSlowSpan.count()) + " ms";
        }
        mBegin = inNow;
        mBytes = 0;
        return std::nullopt;
    }

  private:
    PaceSettings mSettings;
    Time mLast;   // byte
    Time mBegin;  // of the span
    std::uint64_t mBytes = 0;
};

}  // namespace orvane::plexa::zarnd
