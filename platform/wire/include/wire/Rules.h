/// The rules that the promise of delivery rests on, each with a name, so that a test can break one of them
/// and see what is lost without it, or a benchmark what it costs. In the product every rule holds, and the
/// questions cost nothing.
#pragma once

#include <cstdint>

namespace orvane::plexa::wire {

enum class Rule : std::uint8_t {
    kNone,
    /// A message is done when its receiver has consumed it, not when the broker has passed it on.
    kOnlyConsumedCounts,
    /// A receiver remembers how far it came when its connection ends.
    kPositionsOutliveConnections,
    /// A receiver that returns gets nothing new before its sender has caught it up.
    kReturnedLanesWait,
    /// A broadcast is kept until the sender has been told of everyone the broker gave it to.
    kBroadcastsAreKeptUntilRouted,
    /// A new broker expects those back that were members of the one before.
    kMembersAreRemembered,
    /// Who isn't back yet is away, not gone.
    kAwayIsNotGone,
    /// No two connections of one broker have the same slot.
    kSlotsAreNeverReused,
    /// Slots mean nothing on the next connection.
    kSlotsEndWithTheConnection,
    /// A receiver that has to join anew remembers how far it came.
    kPositionsOutliveExpiry,
    /// A receiver that the sender had not heard of may have got all that was written so far.
    kStrangersMayHaveGotAll,
    /// What is owed stays owed when the connection ends before the sender has joined.
    kOwedOutlivesJoining,
    /// Receivers say how far they came, and senders keep their messages and pay heed to windows for that.
    /// Without it there is no promise at all, but also nothing to pay for it.
    kMessagesAreAcknowledged,
};

#ifdef ORVANE_PLEXA_RULES_CAN_BE_BROKEN
inline Rule sBrokenRule = Rule::kNone;
inline bool Holds(Rule inRule) noexcept { return inRule != sBrokenRule; }
#else
constexpr bool Holds(Rule /*inRule*/) noexcept { return true; }
#endif

}  // namespace orvane::plexa::wire
