/// What the campaign with a receiver that stands still shows, one after the other.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "Crew.h"
#include "support/Random.h"

namespace campaign::stopped {

using Milliseconds = std::chrono::milliseconds;

inline constexpr std::size_t kReceivers = kMostReceivers;
inline constexpr std::size_t kSenders = kMostSenders;
/// Bytes: the default bound.
inline constexpr std::size_t kArrears = std::size_t{8} << 20U;
/// A bound that is soon reached, and its setting.
inline constexpr std::size_t kFewArrears = std::size_t{256} << 10U;
inline constexpr const char* kFewArrearsSetting = "256K";

struct PairedPlan {
    std::uint64_t mPairs;
    Milliseconds mPhase;
    Plan mPlan;
};

/// The same run with and without a stop that fits the arrears, in turns. False when something was broken; so
/// with the others.
bool RunPaired(const PairedPlan& inPlan, Random& ioRandom);
/// A stop that doesn't fit.
bool RunCutOff(const Plan& inPlan, Random& ioRandom);
/// A receiver that is slow but moves.
bool RunSlow(const Plan& inPlan);

/// Prints whether inWhat holds, and returns it.
bool Check(const char* inWhat, bool inHolds);
/// Everybody leaves, and the books are closed.
Tally Conclude(Crew& ioCrew);

}  // namespace campaign::stopped
