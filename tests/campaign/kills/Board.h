/// What the processes of the campaign tell each other beside the bus: memory that all of them share, so that
/// the account is complete whatever becomes of a process.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace campaign::kills {

/// Every process has a place for good: the members first, then guests, each new one.
inline constexpr std::size_t kPlaces = 256;

/// What can be wrong with a message that arrives.
enum class Wrong : std::uint32_t {
    kNothing,
    kMissing,    ///< a number was left out
    kRepeated,   ///< a number that has been
    kOvertaken,  ///< sent before one that has been
    kAnswer,     ///< not the answer to the oldest request
};

/// From one process to another.
struct Lane {
    // Written by the sender, before it sends.
    std::atomic<std::uint64_t> mSent{};       ///< to this receiver alone; they are numbered from 1
    std::atomic<std::uint64_t> mSentBytes{};  ///< broadcasts too
    // Written by the receiver.
    std::atomic<std::uint64_t> mReceived{};            ///< the last number
    std::atomic<std::uint64_t> mReceivedBroadcasts{};  ///< likewise
    std::atomic<std::uint64_t> mReceivedBytes{};
    std::atomic<std::uint64_t>
        mFault{};  ///< the newest that the sender knew of when it sent what has arrived
    std::atomic<std::int64_t> mFaultAt{};  ///< when the first such message arrived
    // The first thing that was wrong.
    std::atomic<Wrong> mWrong{};
    std::atomic<bool> mWrongBroadcast{};
    std::atomic<std::uint64_t> mExpected{};
    std::atomic<std::uint64_t> mGot{};
};

/// One process.
struct Place {
    std::atomic<std::uint64_t> mBroadcasts{};   ///< begun; they are numbered from 1
    std::atomic<std::uint64_t> mAnswers{};      ///< begun; they are among what lanes count
    std::atomic<std::uint64_t> mUnanswered{};   ///< requests sent whose answers haven't come
    std::atomic<std::uint64_t> mUnconfirmed{};  ///< messages to guests of which it was told that they left
                                                ///< before they confirmed them
    std::atomic<std::uint64_t> mBreaks{};       ///< connections broken on command
    std::atomic<bool> mKnowsAll{};              ///< sees every member
    std::atomic<bool> mQuiet{};                 ///< sends nothing of its own any more
    std::atomic<std::uint32_t> mTroubles{};     ///< what must not happen and is no lane's
    std::array<char, 400> mFirstTrouble{};      ///< a text; complete once mTroubles isn't 0
};

/// Zero at first.
struct Board {
    std::atomic<std::uint32_t> mMembers{};
    std::atomic<std::uint64_t> mMostOwed{};  ///< bytes a process may have on the way; half to one receiver
    std::atomic<std::uint64_t> mFault{};     ///< counts them; raised when the broker or connection is no more
    std::atomic<bool> mGo{};                 ///< members send
    std::atomic<bool> mStop{};               ///< members send nothing new
    std::atomic<bool> mWrong{};              ///< something is wrong somewhere
    std::array<Place, kPlaces> mPlaces;
    std::array<std::array<Lane, kPlaces>, kPlaces> mLanes;  ///< [sender][receiver]
};

/// Nanoseconds of a clock that all processes share.
inline std::int64_t Now() noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace campaign::kills
