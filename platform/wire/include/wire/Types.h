/// The numbers and small values that client and broker share. Plain values: any thread may copy them.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plexa_generated.h"

namespace orvane::plexa::wire {

using schema::FrameFlag;
using schema::FrameHeader;
using schema::FrameKind;
using schema::LaneStart;
using schema::LeaveScope;
using schema::PeerChange;
using schema::PeerReason;
using schema::RefuseCode;

/// A process's membership, given by the broker and never given twice; 0 is nobody.
using MemberId = std::uint64_t;
/// One connection of a member; never used twice by one broker.
using Slot = std::uint32_t;
/// Number of a message among all messages of one sender, counted from 1.
using Sequence = std::uint64_t;
/// What a member proves itself with when it comes back.
using Nonce = std::array<std::uint64_t, 2>;
/// Monotonic time. The cores never read a clock: it is handed in.
using TimePoint = std::chrono::steady_clock::time_point;
using Duration = std::chrono::steady_clock::duration;

/// Of two moments that may never come.
inline std::optional<TimePoint> Earlier(std::optional<TimePoint> inOne, std::optional<TimePoint> inOther) {
    if (!inOne || !inOther) {
        return inOne ? inOne : inOther;
    }
    return std::min(*inOne, *inOther);
}

inline constexpr Slot kNoSlot = 0;
/// No sender ever counts this far; anything above is a wrong peer.
inline constexpr Sequence kMaxSequence = Sequence{1} << 62U;
/// As a destination: every attached receiver.
inline constexpr Slot kEveryone = 0xFFFFFFFFU;
inline constexpr std::uint32_t kMagic = 0x41584C50U;  // "PLXA"
inline constexpr std::uint16_t kLowestVersion = 1;
inline constexpr std::uint16_t kHighestVersion = 1;
/// Optional abilities that this build offers; none yet.
inline constexpr std::uint64_t kFeatures = 0;

/// The public name of a member.
struct EndPointInfo {
    std::string appId;
    std::uint32_t instance = 0;
    std::uint32_t processId = 0;
    friend bool operator==(const EndPointInfo&, const EndPointInfo&) = default;
};

/// Types of the broadcasts that a receiver wants; without a value: all.
using Interest = std::optional<std::vector<std::string>>;

}  // namespace orvane::plexa::wire
