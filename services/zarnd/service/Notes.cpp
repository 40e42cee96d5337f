#include "service/Notes.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>

#include "nuocore/Log.h"

namespace orvane::plexa::zarnd {

namespace {

/// So many records at once, then so many in a second.
class Allowance {
  public:
    /// How many have been left out before this one; nothing when this one is to be left out too.
    std::optional<std::size_t> Take() {
        constexpr double kAtOnce = 50;
        constexpr double kInASecond = 1;
        const std::lock_guard lock(mMutex);
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> since = now - std::exchange(mLast, now);
        mLeft = std::min(kAtOnce, mLeft + since.count() * kInASecond);
        if (mLeft < 1) {
            ++mLeftOut;
            return std::nullopt;
        }
        mLeft -= 1;
        return std::exchange(mLeftOut, 0);
    }

  private:
    std::mutex mMutex;
    std::chrono::steady_clock::time_point mLast;
    double mLeft = 0;  // the first one finds it full
    std::size_t mLeftOut = 0;
};

}  // namespace

void Note(const std::string& inText) noexcept {
    try {
        nuocore::log::Log({"zarnd", "", "", inText, {}});
    } catch (...) {  // no memory for the record
    }
}

void NoteProvoked(const std::string& inText) noexcept {
    static Allowance sAllowance;
    try {
        const auto leftOut = sAllowance.Take();
        if (!leftOut) return;
        Note(*leftOut == 0 ? inText
                           : inText + " (and " + std::to_string(*leftOut) + " records that were left out)");
    } catch (...) {  // no memory for the record
    }
}

}  // namespace orvane::plexa::zarnd
