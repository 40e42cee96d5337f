#include <algorithm>
#include <array>

#include "SenderLane.h"
#include "StateInspector.h"

namespace orvane::plexa::message5 {
namespace {

/// The entries of a map of owned things by member, in that order; empty places at the end.
template <typename Thing, typename Entries, typename Get>
std::array<const Thing*, 32> InOrder(const Entries& inEntries, const Get& inGet) {
    std::array<const Thing*, 32> things{};
    std::size_t count = 0;
    for (const auto& entry : inEntries) {
        const Thing* thing = inGet(entry);
        if (thing != nullptr && count != things.size()) {
            things[count++] = thing;
        }
    }
    std::sort(things.begin(), things.begin() + static_cast<std::ptrdiff_t>(count),
              [](const Thing* inLeft, const Thing* inRight) { return inLeft->member < inRight->member; });
    return things;
}

constexpr std::uint64_t Bits(std::initializer_list<bool> inBits) {
    std::uint64_t word = 1;
    for (const bool bit : inBits) {
        word = word << 1U | (bit ? 1U : 0U);
    }
    return word;
}

}  // namespace

void StateInspector::Add(const ClientCore& inClient) {
    mHash.Add(static_cast<std::uint64_t>(inClient.mState));
    mHash.Add(inClient.mMember);
    mHash.Add(mSlots(inClient.mSlot));
    mHash.Add(Bits({inClient.mWithdrawalTold}));
    Add(inClient.mSender);
    Add(inClient.mReceiver);
    for (const auto& [member, known] : inClient.mRoster.mMembers) {
        mHash.Add(member << 2U | (known.receives ? 1U : 0U) | (known.seen ? 2U : 0U));
    }
}

bool StateInspector::MayWrite(const ClientCore& inClient) {
    const SenderCore& sender = inClient.mSender;
    const auto waits = [](const auto& inLane) {
        return inLane && (inLane->detachPending || inLane->state == SenderCore::LaneState::kBehind);
    };
    return !inClient.mOutput.Empty() || inClient.mReceiver.AcksPending() ||
           (inClient.mReceiver.Withdrawn() && !inClient.mWithdrawalTold) ||
           sender.mLog.NextAfter(sender.mNextLive - 1) ||
           std::any_of(sender.mLanes.begin(), sender.mLanes.end(), waits);
}

void StateInspector::AddTime(const std::optional<wire::TimePoint>& inTime, wire::Duration inLimit) {
    mHash.Add(!inTime ? 0U : mNow - *inTime < inLimit ? 1U : 2U);
}

void StateInspector::Add(const SenderCore& inSender) {
    mHash.Add(inSender.mNextLive);
    mHash.Add(inSender.mRouted);
    mHash.Add(Bits({inSender.mJoined, inSender.mHurry}));
    AddLog(inSender);
    AddMarks(inSender);
    for (const SenderCore::Lane* lane :
         InOrder<SenderCore::Lane>(inSender.mLanes, [](const auto& inLane) { return inLane.get(); })) {
        if (lane != nullptr) {
            Add(inSender, *lane);
        }
    }
}

void StateInspector::AddLog(const SenderCore& inSender) {
    mHash.Add(inSender.mLog.NextSequence());
    for (auto entry = inSender.mLog.NextAfter(0); entry; entry = inSender.mLog.NextAfter(entry->sequence)) {
        mHash.Add(entry->sequence << 1U | (entry->broadcast ? 1U : 0U));
    }
}

/// What a full window or full arrears make matter.
void StateInspector::AddMarks(const SenderCore& inSender) {
    if (mSetup.window != 0) {
        // Marks count only in comparison with what a lane owes.
        wire::Sequence least = inSender.mNextLive;
        for (const auto& lane : inSender.mLanes) {
            least = lane ? std::min(least, lane->floor + 1) : least;
        }
        mHash.Add(std::max(least, inSender.mOldMark.nextLive));
        mHash.Add(std::max(least, inSender.mNewMark.nextLive));
        mHash.Add(inSender.mStreamBudget);
        AddTime(inSender.mBlockedSince, wire::Duration::max());
    }
    if (mSetup.stalls != 0) {
        AddTime(inSender.mWaitsUntil, {});
        mHash.Add(Bits({inSender.mRefusing, inSender.mLogWasFull}));
        mHash.Add(inSender.mArrearsBudget);
    }
}

void StateInspector::Add(const SenderCore& inSender, const SenderCore::Lane& inLane) {
    const bool live = inLane.state == SenderCore::LaneState::kLive;
    mHash.Add(inLane.member);
    mHash.Add(mSlots(inLane.slot));
    mHash.Add(static_cast<std::uint64_t>(inLane.state));
    mHash.Add(Bits({inLane.seen, inLane.detachPending, inLane.withdrawn}));
    mHash.Add(inLane.floor);
    mHash.Add(inSender.Written(inLane));
    mHash.Add(live ? 0 : inLane.highest);
    mHash.Add(inLane.state == SenderCore::LaneState::kCut ? inLane.confirmed : 0);
    for (const auto& range : inLane.unicasts.All()) {
        mHash.Add(range.first << 32U | range.last);
    }
    if (mSetup.window != 0) {
        mHash.Add(inLane.window);
        mHash.Add(inSender.InFlight(inLane));
    }
    if (mSetup.stalls != 0) {
        AddTime(inLane.fullSince, inSender.mLimits.stall);
        AddTime(inLane.pinsSince, inSender.mLimits.stall);
        AddTime(inLane.reprieve, {});
        AddTime(inLane.lastProgress, inSender.mLimits.stall);
    }
}

void StateInspector::Add(const ReceiverCore& inReceiver) {
    mHash.Add(Bits({inReceiver.mWithdrawn}) << 8U | inReceiver.mInHand);
    for (const Origin* origin :
         InOrder<Origin>(inReceiver.mOrigins, [](const auto& inEntry) { return inEntry.second.get(); })) {
        if (origin == nullptr) {
            continue;
        }
        mHash.Add(origin->member);
        mHash.Add(mSlots(origin->slot));
        mHash.Add(origin->taken << 32U | origin->consumed);
        mHash.Add(Bits({origin->changed, origin->gone, origin->seen}) << 8U | origin->queued);
        if (mSetup.window != 0) {
            mHash.Add(origin->unreported);
        }
    }
    for (const Delivery& delivery : inReceiver.mInbound) {
        mHash.Add(delivery.origin->member << 16U | delivery.frame.Header().sequence());
    }
}

}  // namespace orvane::plexa::message5
