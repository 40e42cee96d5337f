/// Whether everything that was sent has arrived, and what is wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Board.h"

namespace campaign::kills {

/// What must not be, a line each: messages missing, repeated, overtaken, damaged, errors told. Empty if all
/// is well so far.
std::string WhatIsWrong(const Board& inBoard, std::size_t inPlaces);
/// Who waits for what, a line each. Empty once everything that was sent to the members, and to others alone,
/// has arrived and been answered.
std::string WhatIsMissing(const Board& inBoard, std::size_t inPlaces);
/// Who has heard nothing of whom since a fault, a line each.
std::string WhoIsNotBack(const Board& inBoard, const std::vector<std::size_t>& inMembers,
                         std::uint64_t inFault);

struct Totals {
    std::uint64_t mUnicasts = 0;
    std::uint64_t mAnswers = 0;  ///< among the unicasts
    std::uint64_t mBroadcasts = 0;
    std::uint64_t mUnconfirmed = 0;  ///< to guests that left
    std::uint64_t mArrived = 0;
    std::uint64_t mArrivedBytes = 0;
};
Totals Count(const Board& inBoard, std::size_t inPlaces);

}  // namespace campaign::kills
