/// How many records of one sort may be written: a burst of 100, and then 20 in a second. What others can
/// cause as often as they like must not fill a disk.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

#include "nuocore/Log.h"

namespace nuocore::log {

/// One for each sort of record, a static mostly: it's not destroyed, and so serves to the very end of the
/// process. Any thread.
class RecordBudget {
  public:
    using Clock = std::chrono::steady_clock;

    /// Whether a record may be written now; if so, how many before it were left out since the last one.
    std::optional<std::uint64_t> Take(Clock::time_point inNow) {
        const Hold hold(mHeld);
        const std::chrono::duration<double> passed = inNow - mLast;
        mLeft = std::min(kBurst, mLeft + passed.count() * kPerSecond);
        mLast = inNow;
        if (mLeft < 1) {
            ++mLeftOut;
            return std::nullopt;
        }
        mLeft -= 1;
        return std::exchange(mLeftOut, 0);
    }

  private:
    // For a few instructions each time. Not every system's mutex can do without being destroyed.
    struct Hold {
        explicit Hold(std::atomic_flag& ioHeld) noexcept : mHeld(ioHeld) {
            while (mHeld.test_and_set(std::memory_order_acquire)) {
                std::this_thread::yield();
            }
        }
        ~Hold() { mHeld.clear(std::memory_order_release); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

        std::atomic_flag& mHeld;
    };

    static constexpr double kBurst = 100;
    static constexpr double kPerSecond = 20;

    std::atomic_flag mHeld;
    double mLeft = kBurst;
    Clock::time_point mLast = Clock::now();
    std::uint64_t mLeftOut = 0;
};

static_assert(std::is_trivially_destructible_v<RecordBudget>);

/// Logs the record that `inMake` makes, if the budget allows one, with the number of those that were left out
/// before it; whether it did. Never throws: without memory for the record there is none.
template <typename Make>
bool LogWithin(RecordBudget& ioBudget, const Make& inMake) noexcept {
    try {
        const std::optional<std::uint64_t> leftOut = ioBudget.Take(RecordBudget::Clock::now());
        if (!leftOut) {
            return false;
        }
        LogRecord record = inMake();
        if (*leftOut != 0) {
            record.mFields.emplace_back("leftOutBefore", serialization::VariantValue(*leftOut));
        }
        Log(record);
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace nuocore::log
