/// Ascending message numbers as ranges: what a lane owes of the messages to it alone. Single-threaded.
#pragma once

#include <cstddef>
#include <deque>

#include "wire/Types.h"

namespace orvane::plexa::message5 {

class SequenceRanges {
  public:
    struct Range {
        wire::Sequence first;
        wire::Sequence last;
    };

    /// inSequence is above every number so far.
    void Append(wire::Sequence inSequence) {
        if (!mRanges.empty() && mRanges.back().last + 1 == inSequence) {
            mRanges.back().last = inSequence;
        } else {
            mRanges.push_back({inSequence, inSequence});
        }
    }
    /// Takes the last Append back.
    void DropLast() {
        if (mRanges.back().first == mRanges.back().last) {
            mRanges.pop_back();
        } else {
            --mRanges.back().last;
        }
    }
    bool Empty() const noexcept { return mRanges.empty(); }
    const Range& Front() const { return mRanges.front(); }
    /// Every range, in order.
    const std::deque<Range>& All() const noexcept { return mRanges; }
    /// Removes the numbers up to inThrough from the front range, which begins at or below it.
    void DropFront(wire::Sequence inThrough) {
        if (inThrough >= mRanges.front().last) {
            mRanges.pop_front();
        } else {
            mRanges.front().first = inThrough + 1;
        }
    }
    /// The first number above inAfter; 0 if there is none.
    wire::Sequence NextAfter(wire::Sequence inAfter) const noexcept;

  private:
    std::deque<Range> mRanges;
};

}  // namespace orvane::plexa::message5
