/// What became of every message of a campaign with a receiver that stands still: written by the processes
/// that send and receive, read by the one that judges.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/SharedBoard.h"

namespace campaign::stopped {

inline constexpr std::size_t kMostSenders = 2;
inline constexpr std::size_t kMostReceivers = 8;
/// Of one sender.
inline constexpr std::uint32_t kMostMessages = 1U << 19U;

/// Goes with each message: when it was sent. The measured parts of a run begin at kFirstPart.
using Part = std::uint32_t;
inline constexpr Part kHold = 0;  ///< nobody sends
inline constexpr Part kEnd = 1;   ///< everybody leaves
inline constexpr Part kFirstPart = 2;
inline constexpr Part kMostParts = 256;

/// How a sender goes about it: once every period a message to the next of its receivers, and now and then one
/// to all.
struct Plan {
    std::uint32_t mPeriod = 0;  ///< nanoseconds; 0: as fast as it can
    std::uint32_t mFirstReceiver = 0;
    std::uint32_t mReceivers = 0;
    std::uint32_t mBroadcastEvery = 0;  ///< periods; 0: never
    std::uint32_t mPayload = 0;
};

/// What one receiver got of one message, or its sender was told about it.
struct Fate {
    std::atomic<std::uint8_t> mReceived;
    std::atomic<std::uint8_t> mNotDelivered;
    std::atomic<std::uint8_t> mNotConfirmed;
    std::atomic<std::uint32_t> mLatency;  ///< nanoseconds, at most all ones

    [[nodiscard]] bool Settled() const { return mReceived != 0 || mNotDelivered != 0 || mNotConfirmed != 0; }
};

struct Entry {
    static constexpr std::uint8_t kToAll = 0xFF;

    std::atomic<std::uint8_t> mTo;  ///< the receiver's number, or kToAll
    std::atomic<std::uint32_t> mPart;
    std::array<Fate, kMostReceivers> mFates;

    [[nodiscard]] bool IsFor(std::size_t inReceiver) const {
        const std::uint8_t to = mTo.load();
        return to == kToAll || to == inReceiver;
    }
};

struct SenderPage {
    Plan mPlan;
    std::atomic<std::uint32_t> mBegun;  ///< messages whose sending was begun: they have the numbers 0 and up
    std::atomic<std::uint32_t> mSent;   ///< of which so many calls have returned
    std::atomic<bool> mHolding;         ///< it has seen kHold, and sends nothing
    std::atomic<std::uint32_t> mRefused;        ///< calls that failed
    std::atomic<std::uint32_t> mUnaccountable;  ///< errors that name no message
    /// The longest call in each part, nanoseconds.
    std::array<std::atomic<std::uint64_t>, kMostParts> mLongestCall;
    std::array<Entry, kMostMessages> mMessages;
};

struct ReceiverPage {
    std::atomic<std::uint32_t> mNap;         ///< microseconds it sleeps over each message
    std::atomic<std::uint32_t> mDisordered;  ///< messages that came after a later one of the same sender
    std::atomic<std::uint32_t> mForeign;     ///< that nobody sent to it
};

struct Ledger {
    std::atomic<std::uint32_t> mPart;
    std::atomic<std::uint32_t> mReady;  ///< processes
    std::uint32_t mReceiverCount = 0;
    std::array<ReceiverPage, kMostReceivers> mReceivers;
    std::array<SenderPage, kMostSenders> mSenders;
};
using SharedLedger = SharedBoard<Ledger>;

/// Under what name a receiver is on the bus.
std::string ReceiverName(std::size_t inReceiver);
/// The type of a message; by it an error tells which one failed.
std::string TypeOf(std::uint32_t inNumber);
/// Bytes of a message in a log or a queue.
std::size_t FrameBytes(const Plan& inPlan);

/// What all fates together come to.
struct Tally {
    std::uint64_t mMessages = 0;  ///< each counted for each of its receivers
    std::uint64_t mReceived = 0;
    std::uint64_t mNotDelivered = 0;
    std::uint64_t mNotConfirmed = 0;
    std::uint64_t mLost = 0;     ///< neither received nor told
    std::uint64_t mDoubled = 0;  ///< received twice, or told twice
    std::uint64_t mDenied = 0;   ///< called undelivered, and received
    std::uint64_t mOther =
        0;  ///< calls refused, messages out of order, errors and messages of unknown origin

    [[nodiscard]] std::uint64_t Told() const { return mNotDelivered + mNotConfirmed; }
    [[nodiscard]] bool Kept() const { return mLost + mDoubled + mDenied + mOther == 0; }
};
Tally TallyOf(const Ledger& inLedger);
/// Of one pair.
Tally TallyOf(const Ledger& inLedger, std::size_t inSender, std::size_t inReceiver);

}  // namespace campaign::stopped
