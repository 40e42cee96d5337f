// Lanes: coming, going, what they owe.
#include <algorithm>

#include "SenderLane.h"
#include "wire/Rules.h"

namespace orvane::plexa::message5 {

using wire::PeerChange;
using wire::Rule;
using wire::Sequence;
using wire::TimePoint;

namespace {

FailureReason ReasonOf(wire::PeerReason inReason) {
    switch (inReason) {
        case wire::PeerReason::Left:
            return FailureReason::kLeft;
        case wire::PeerReason::Replaced:
            return FailureReason::kReplaced;
        case wire::PeerReason::Expired:
            return FailureReason::kExpired;
        default:
            return FailureReason::kEnded;
    }
}

}  // namespace

SenderCore::Lane* SenderCore::FindMember(wire::MemberId inMember) const {
    const auto found = mByMember.find(inMember);
    return found == mByMember.end() ? nullptr : mLanes[found->second].get();
}

SenderCore::Lane* SenderCore::FindSlot(wire::Slot inSlot) const {
    const auto found = mBySlot.find(inSlot);
    return found == mBySlot.end() ? nullptr : mLanes[found->second].get();
}

Sequence SenderCore::Written(const Lane& inLane) const {
    return inLane.state == LaneState::kLive ? mNextLive - 1 : inLane.written;
}

Sequence SenderCore::NextBroadcast(Sequence inAfter) const {
    for (auto entry = mLog.NextAfter(inAfter); entry; entry = mLog.NextAfter(entry->sequence)) {
        if (entry->broadcast) {
            return entry->sequence;
        }
    }
    return 0;
}

Sequence SenderCore::FirstOwed(const Lane& inLane) const {
    const Sequence broadcast = NextBroadcast(inLane.floor);
    if (inLane.unicasts.Empty()) {
        return broadcast;
    }
    const Sequence unicast = inLane.unicasts.Front().first;
    return broadcast == 0 ? unicast : std::min(unicast, broadcast);
}

std::size_t SenderCore::InFlight(const Lane& inLane) const {
    const std::uint64_t written = inLane.state == LaneState::kLive ? mStreamedBytes : inLane.writtenBytes;
    return inLane.unicastInFlight + (written > inLane.floorBytes ? written - inLane.floorBytes : 0);
}

std::size_t SenderCore::OwedBytes(const Lane& inLane) const {
    return inLane.unicastBytes + (mLog.BroadcastBytes() - inLane.floorBytes);
}

bool SenderCore::HasWindow(const Lane& inLane, std::size_t inLength) const {
    const std::size_t inFlight = InFlight(inLane);
    return inFlight == 0 || inFlight + inLength <= inLane.window ||
           !wire::Holds(Rule::kMessagesAreAcknowledged);
}

SenderCore::Lane& SenderCore::AddLane(const wire::PeerNotice& inPeer, Sequence inFloor) {
    auto lane = std::make_unique<Lane>();
    lane->member = inPeer.member;
    lane->endPoint = inPeer.endPoint;
    lane->floor = inFloor;
    lane->floorBytes = mLog.BroadcastBytesThrough(inFloor);
    lane->highest = wire::Holds(Rule::kStrangersMayHaveGotAll) ? mNextLive - 1 : inFloor;
    if (mFreeLanes.empty()) {
        mFreeLanes.reserve(mLanes.size() + 1);  // freeing one must not fail
        mLanes.push_back(nullptr);
        mFreeLanes.push_back(static_cast<LaneIndex>(mLanes.size() - 1));
    }
    lane->index = mFreeLanes.back();
    mByMember[lane->member] = lane->index;
    mFreeLanes.pop_back();
    mArrearsBudget = 0;
    return *(mLanes[lane->index] = std::move(lane));
}

void SenderCore::SetSlot(Lane& ioLane, wire::Slot inSlot) {
    if (ioLane.slot != wire::kNoSlot) {
        mBySlot.erase(ioLane.slot);
    }
    ioLane.slot = inSlot;
    if (inSlot != wire::kNoSlot) {
        mBySlot[inSlot] = ioLane.index;
    }
}

void SenderCore::OnPeer(const wire::PeerNotice& inPeer, TimePoint inNow) {
    Lane* lane = FindMember(inPeer.member);
    const bool receives =
        inPeer.receives && (inPeer.change == PeerChange::Up || inPeer.change == PeerChange::Away);
    if (!receives) {
        if (lane != nullptr) {
            RemoveLane(*lane, ReasonOf(inPeer.reason));
            FreeBroadcasts();
        }
        return;
    }
    if (lane == nullptr && inPeer.withdrawn) {
        return;  // it takes nothing new; a lane that is there still has to learn how far it came
    }
    if (inPeer.change == PeerChange::Up) {
        BringUp(inPeer, inNow);
        return;
    }
    if (lane == nullptr) {
        lane = &AddLane(inPeer, mRouted);
    }
    lane->lastProgress = inNow;  // it gets the time to come back
    lane->seen = true;
    Unattach(*lane);
}

void SenderCore::BringUp(const wire::PeerNotice& inPeer, TimePoint inNow) {
    Lane* lane = FindMember(inPeer.member);
    const bool known = lane != nullptr;
    const bool open = inPeer.lane == wire::LaneStart::Open;
    if (!known) {
        const Sequence from = std::min(inPeer.sendFrom, mNextLive);
        lane = &AddLane(inPeer, open ? from - 1 : mRouted);
    } else {
        Unattach(*lane);
    }
    lane->endPoint = inPeer.endPoint;
    lane->seen = true;
    lane->window = mFirstWindow;
    lane->lastProgress = inNow;
    SetSlot(*lane, inPeer.slot);
    if (open) {
        Open(*lane, known);
    }
    NoteProgress();
}

void SenderCore::Open(Lane& ioLane, bool inKnown) {
    if (ioLane.state == LaneState::kCut) {
        Revive(ioLane);
    }
    // A lane that was carried over may owe older messages, or must not get the next ones: then it is detached
    // first.
    const Sequence first = inKnown ? FirstOwed(ioLane) : 0;
    if (ioLane.floor >= mNextLive || (first != 0 && first < mNextLive)) {
        ioLane.state = LaneState::kBehind;
        ioLane.detachPending = true;
    } else {
        ioLane.state = LaneState::kLive;
    }
    mStreamBudget = 0;
}

void SenderCore::Unattach(Lane& ioLane) {
    if (ioLane.state != LaneState::kCut) {
        ioLane.highest = std::max(ioLane.highest, Written(ioLane));
        ioLane.state = LaneState::kUnattached;
    }
    ioLane.detachPending = false;
    ioLane.written = ioLane.floor;
    ioLane.writtenBytes = ioLane.floorBytes;
    ioLane.scanned = ioLane.floor;
    ioLane.unicastInFlight = 0;
    SetSlot(ioLane, wire::kNoSlot);
}

void SenderCore::OnConnectionLost() {
    const bool forgets = !wire::Holds(Rule::kOwedOutlivesJoining) && !mJoined;
    mJoined = false;
    mBlockedSince.reset();
    for (const auto& lane : mLanes) {
        if (lane) {
            if (forgets) {
                SetFloor(*lane, mLog.NextSequence() - 1);
            }
            Unattach(*lane);
            lane->seen = false;
        }
    }
}

void SenderCore::OnJoined() {
    mJoined = true;
    for (std::size_t i = 0; i != mLanes.size(); ++i) {
        if (mLanes[i] && !mLanes[i]->seen) {
            RemoveLane(*mLanes[i], FailureReason::kGone);
        }
    }
    // Whoever may have been given an older broadcast is known by now and owes it.
    mRouted = std::max(mRouted, mNextLive - 1);
    FreeBroadcasts();
    NoteProgress();
}

void SenderCore::OnExpired() {
    FailUnclaimed(FailureReason::kSelfExpired, mNextLive - 1);
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut && lane->highest > lane->floor) {
            FailOwed(*lane, FailureReason::kSelfExpired, lane->highest, true);
        }
    }
    mRouted = std::max(mRouted, mNextLive - 1);
    FreeBroadcasts();
}

Sequence SenderCore::CarriedFrom() const {
    Sequence lowest = mNextLive;
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut) {
            const Sequence first = FirstOwed(*lane);
            lowest = first != 0 ? std::min(lowest, first) : lowest;
        }
    }
    return lowest;
}

void SenderCore::RemoveLane(Lane& ioLane, FailureReason inReason) {
    if (ioLane.state == LaneState::kCut) {
        --mCutLanes;
    } else {
        FailOwed(ioLane, inReason, mLog.NextSequence() - 1, false);
    }
    SetSlot(ioLane, wire::kNoSlot);
    mByMember.erase(ioLane.member);
    mFreeLanes.push_back(ioLane.index);
    mStreamBudget = 0;
    mLanes[ioLane.index].reset();
}

void SenderCore::SetFloor(Lane& ioLane, Sequence inFloor) {
    if (inFloor <= ioLane.floor) {
        return;
    }
    const Sequence written = Written(ioLane);
    while (!ioLane.unicasts.Empty() && ioLane.unicasts.Front().first <= inFloor) {
        const auto front = ioLane.unicasts.Front();
        const Sequence last = std::min(front.last, inFloor);
        const std::size_t bytes = mLog.Free(front.first, last);
        ioLane.unicastBytes -= bytes;
        ioLane.unicastInFlight -= front.first <= written ? std::min(bytes, ioLane.unicastInFlight) : 0;
        ioLane.unicasts.DropFront(last);
    }
    ioLane.floor = inFloor;
    ioLane.floorBytes = mLog.BroadcastBytesThrough(inFloor);
    if (ioLane.written < inFloor) {
        ioLane.written = inFloor;
        ioLane.writtenBytes = ioLane.floorBytes;
    }
    ioLane.scanned = std::max(ioLane.scanned, ioLane.written);
}

void SenderCore::Consume(Lane& ioLane, Sequence inConsumed, TimePoint inNow) {
    if (inConsumed > ioLane.floor) {
        SetFloor(ioLane, inConsumed);
        ioLane.lastProgress = inNow;
        ioLane.fullSince.reset();
        ioLane.pinsSince.reset();
        NoteProgress();
    }
}

void SenderCore::OnPosition(wire::Slot inFrom, const wire::Position& inPosition, TimePoint inNow) {
    Lane* lane = FindSlot(inFrom);
    if (lane == nullptr) {
        return;
    }
    if (lane->state == LaneState::kCut) {
        Revive(*lane);
        lane->lastProgress = inNow;
        return;
    }
    if (lane->state != LaneState::kUnattached) {
        return;
    }
    const Sequence taken = std::min(inPosition.taken, lane->highest);
    Consume(*lane, std::min(inPosition.consumed, taken), inNow);
    lane->written = std::max(taken, lane->floor);
    lane->writtenBytes = mLog.BroadcastBytesThrough(lane->written);
    lane->scanned = lane->written;
    lane->unicastInFlight = 0;
    for (const auto& range : lane->unicasts.All()) {
        if (range.first > lane->written) {
            break;
        }
        lane->unicastInFlight += mLog.BytesOf(range.first, std::min(range.last, lane->written));
    }
    lane->state = LaneState::kBehind;
    lane->lastProgress = inNow;
    FreeBroadcasts();
}

wire::WireError SenderCore::OnReport(Sequence inRouted, std::span<const wire::ReportEntry> inEntries,
                                     TimePoint inNow) {
    if (inRouted >= mNextLive) {
        return wire::WireError::kBadPosition;
    }
    if (inRouted > mRouted) {
        mRouted = inRouted;
        NoteProgress();
    }
    for (const wire::ReportEntry& entry : inEntries) {
        Lane* lane = FindSlot(entry.receiver());
        if (lane == nullptr || lane->state == LaneState::kUnattached) {
            continue;
        }
        lane->window = entry.window();
        if (lane->state != LaneState::kCut) {
            Consume(*lane, std::min(entry.consumed(), Written(*lane)), inNow);
        } else if (std::min(entry.consumed(), lane->highest) > lane->confirmed) {
            Revive(*lane);
            lane->lastProgress = inNow;
        }
    }
    for (const auto& lane : mLanes) {
        if (!wire::Holds(Rule::kOnlyConsumedCounts) && lane && lane->state == LaneState::kLive) {
            Consume(*lane, inRouted, inNow);
        }
    }
    mStreamBudget = 0;
    FreeBroadcasts();
    return wire::WireError::kNone;
}

void SenderCore::FreeBroadcasts() {
    const Sequence known = wire::Holds(Rule::kBroadcastsAreKeptUntilRouted) ? mRouted : mNextLive - 1;
    Sequence through = std::min(known, mLog.NextSequence() - 1);
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut) {
            through = std::min(through, lane->floor);
        }
    }
    if (through > mBroadcastsFreed) {
        if (mLog.FreeBroadcasts(mBroadcastsFreed, through)) {
            NoteProgress();
        }
        mBroadcastsFreed = through;
    }
}

}  // namespace orvane::plexa::message5
