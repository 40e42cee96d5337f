#include "SequenceRanges.h"

#include <algorithm>

namespace orvane::plexa::message5 {

wire::Sequence SequenceRanges::NextAfter(wire::Sequence inAfter) const noexcept {
    const auto range =
        std::lower_bound(mRanges.begin(), mRanges.end(), inAfter + 1,
                         [](const Range& inRange, wire::Sequence inValue) { return inRange.last < inValue; });
    return range == mRanges.end() ? 0 : std::max(range->first, inAfter + 1);
}

}  // namespace orvane::plexa::message5
