// Taking messages, bounds, failures.
#include "SenderCore.h"

#include <algorithm>
#include <utility>

#include "SenderLane.h"

namespace orvane::plexa::message5 {

using wire::LimitName;
using wire::Sequence;
using wire::TimePoint;

namespace {

/// Who acts so much of a limit late has stood still itself, and waits so much longer: first it must hear what
/// came meanwhile.
constexpr int kLateShare = 10;

}  // namespace

SenderCore::SenderCore(const wire::Limits& inLimits, wire::BufferPool& inPool)
    : mLimits(inLimits), mPool(inPool), mLog(inPool), mFirstWindow(inLimits.firstWindow) {}

SenderCore::~SenderCore() = default;

Admission SenderCore::Admit(std::optional<wire::MemberId> inReceiver, std::size_t inTypeLength,
                            std::size_t inPayloadLength, bool inMayWait, TimePoint inNow) {
    using Verdict = Admission::Verdict;
    if (inPayloadLength > mLimits.maxPayload) {
        return {Verdict::kRefuse, {}, FailureReason::kLimit, LimitName::kPayload};
    }
    if (inTypeLength > mLimits.maxTypeText) {
        return {Verdict::kRefuse, {}, FailureReason::kLimit, LimitName::kTypeText};
    }
    const Lane* receiver = nullptr;
    if (inReceiver) {
        receiver = FindMember(*inReceiver);
        if (receiver == nullptr) {
            return {Verdict::kRefuse, {}, FailureReason::kUnknownReceiver, LimitName::kNone};
        }
        if (receiver->state == LaneState::kCut) {
            return {};
        }
    }
    const std::size_t length = wire::FrameBytes(inTypeLength, inPayloadLength);
    LimitName limit = LimitName::kNone;
    if (FindRoom(receiver, length, inMayWait, inNow, limit)) {
        return {};
    }
    Tick(inNow);
    if (FindRoom(receiver, length, inMayWait, inNow, limit)) {
        return {};
    }
    if (inMayWait && !mRefusing) {
        const wire::Duration late = mLimits.stall / kLateShare;
        mWaitsUntil = mWaitsUntil.value_or(inNow + mLimits.stall);
        if (inNow > *mWaitsUntil + late) {
            mWaitsUntil = inNow + late;
        }
        if (inNow < *mWaitsUntil) {
            return {Verdict::kWait, *mWaitsUntil, FailureReason::kLimit, limit};
        }
        mRefusing = true;
    }
    return {Verdict::kRefuse, {}, FailureReason::kLimit, limit};
}

bool SenderCore::FindRoom(const Lane* inReceiver, std::size_t inLength, bool inMayWait, TimePoint inNow,
                          LimitName& outLimit) {
    const std::size_t limit = mLimits.log + (inMayWait ? 0 : mLimits.logReserve);
    if (mLog.HeldBytesWith(inLength) > limit && mLog.KeptBytes() < mLog.HeldBytes() - mLog.HeldBytes() / 4) {
        mLog.Compact();
    }
    if (mLog.HeldBytesWith(inLength) > limit && !mLog.Empty()) {
        NoteFullLog(inNow);
        outLimit = inMayWait ? LimitName::kLog : LimitName::kLogReserve;
        return false;
    }
    if (mLogWasFull && !LogPinned()) {
        ForgetFullLog();
    }
    if (inMayWait && !HasArrears(inReceiver, inLength, inNow)) {
        outLimit = LimitName::kArrears;
        return false;
    }
    return true;
}

/// Only who owes something then is to blame, and stays so until it moves: that others move in what is left of
/// the log is no excuse.
void SenderCore::NoteFullLog(TimePoint inNow) {
    mLogWasFull = true;
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut && OwedBytes(*lane) != 0 && !lane->pinsSince) {
            lane->pinsSince = inNow;
        }
    }
}

void SenderCore::ForgetFullLog() noexcept {
    mLogWasFull = false;
    for (const auto& lane : mLanes) {
        if (lane) {
            lane->pinsSince.reset();
        }
    }
}

bool SenderCore::HasArrears(const Lane* inReceiver, std::size_t inLength, TimePoint inNow) {
    if (inReceiver == nullptr && inLength <= mArrearsBudget) {
        return true;
    }
    std::size_t least = mLimits.arrears;
    bool room = true;
    const auto look = [&](Lane& ioLane) {
        const std::size_t owed = OwedBytes(ioLane);
        if (owed != 0 && owed + inLength > mLimits.arrears) {
            room = false;
            if (!ioLane.fullSince) {
                ioLane.fullSince = inNow;
            }
        } else {
            ioLane.fullSince.reset();
        }
        least = std::min(least, mLimits.arrears - std::min(owed, mLimits.arrears));
    };
    if (inReceiver != nullptr) {
        look(*mLanes[inReceiver->index]);
        return room;
    }
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut) {
            look(*lane);
        }
    }
    mArrearsBudget = least;
    return room;
}

void SenderCore::Send(std::optional<wire::MemberId> inReceiver, std::string_view inType,
                      std::span<const std::byte> inPayload) {
    const std::size_t length = wire::FrameBytes(inType.size(), inPayload.size());
    if (inReceiver) {
        Lane* lane = FindMember(*inReceiver);
        if (lane->state == LaneState::kCut) {
            Fail(FailureKind::kNotDelivered, FailureReason::kCutOff, &lane->endPoint, inType);
            return;
        }
        lane->unicasts.Append(mLog.NextSequence());
        try {
            mLog.Append(lane->index, inType, inPayload);
        } catch (...) {
            lane->unicasts.DropLast();
            throw;
        }
        lane->unicastBytes += length;
    } else {
        const std::size_t failures = mFailures.size();
        try {
            FailForCutLanes(inType);
            mLog.Append(wire::kEveryone, inType, inPayload);
        } catch (...) {
            mFailures.resize(failures);
            throw;
        }
    }
    mArrearsBudget -= std::min(mArrearsBudget, length);
}

void SenderCore::FailForCutLanes(std::string_view inType) {
    if (mCutLanes == 0) {
        return;
    }
    for (const auto& lane : mLanes) {
        if (lane && lane->state == LaneState::kCut) {
            Fail(FailureKind::kNotDelivered, FailureReason::kCutOff, &lane->endPoint, inType);
        }
    }
}

void SenderCore::Refuse(std::optional<wire::MemberId> inReceiver, std::string_view inType,
                        const Admission& inAdmission) {
    const Lane* lane = inReceiver ? FindMember(*inReceiver) : nullptr;
    Fail(FailureKind::kNotDelivered, inAdmission.reason, lane == nullptr ? nullptr : &lane->endPoint, inType);
    mFailures.back().limit = inAdmission.limit;
}

void SenderCore::Fail(FailureKind inKind, FailureReason inReason, const wire::EndPointInfo* inReceiver,
                      std::string_view inType) {
    mFailures.push_back({inKind, inReason, LimitName::kNone,
                         inReceiver == nullptr ? wire::EndPointInfo{} : *inReceiver, std::string(inType)});
}

std::vector<SendFailure> SenderCore::TakeFailures() { return std::exchange(mFailures, {}); }

void SenderCore::NoteProgress() noexcept {
    ++mProgress;
    mWaitsUntil.reset();
    mRefusing = false;
}

void SenderCore::FailOwed(Lane& ioLane, FailureReason inReason, Sequence inThrough, bool inBroadcastsToo) {
    const Sequence everWritten = std::max(ioLane.highest, Written(ioLane));
    // Who left before it could say how far it had come on this connection may have handled more than is
    // known.
    const bool confirmed = inReason == FailureReason::kLeft && ioLane.state != LaneState::kUnattached;
    Sequence at = ioLane.floor;
    Sequence broadcast = inBroadcastsToo ? NextBroadcast(at) : 0;
    for (;;) {
        const Sequence unicast = ioLane.unicasts.NextAfter(at);
        const Sequence next = broadcast == 0 || (unicast != 0 && unicast < broadcast) ? unicast : broadcast;
        if (next == 0 || next > inThrough) {
            break;
        }
        const bool certain = confirmed || next > everWritten;
        const auto entry = mLog.NextAfter(next - 1);
        Fail(certain ? FailureKind::kNotDelivered : FailureKind::kNotConfirmed, inReason, &ioLane.endPoint,
             entry->frame.Type());
        at = next;
        broadcast = broadcast == next ? NextBroadcast(at) : broadcast;
        SetFloor(ioLane, at);  // told once, whatever happens next
    }
    SetFloor(ioLane, inThrough);
    NoteProgress();
}

/// Kept without being owed: the broker has not told yet whom it found.
void SenderCore::FailUnclaimed(FailureReason inReason, Sequence inThrough) {
    FreeBroadcasts();
    Sequence through = inThrough;
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut) {
            through = std::min(through, lane->floor);
        }
    }
    for (Sequence next = NextBroadcast(0); next != 0 && next <= through; next = NextBroadcast(next)) {
        Fail(next < mNextLive ? FailureKind::kNotConfirmed : FailureKind::kNotDelivered, inReason, nullptr,
             mLog.NextAfter(next - 1)->frame.Type());
    }
}

std::optional<TimePoint> SenderCore::StandsStillSince(const Lane& inLane) const {
    const bool pins = inLane.pinsSince && LogPinned();
    // With nothing on the way it isn't the receiver that stands still, and it could never move again either.
    const bool idle = inLane.state != LaneState::kUnattached && InFlight(inLane) == 0;
    if (!mJoined || inLane.state == LaneState::kCut || idle || OwedBytes(inLane) == 0 ||
        (!pins && !inLane.fullSince)) {
        return std::nullopt;
    }
    TimePoint full = inLane.fullSince.value_or(TimePoint::max());
    full = pins ? std::min(full, *inLane.pinsSince) : full;
    return std::max(full, inLane.lastProgress);
}

std::optional<TimePoint> SenderCore::CutTime(const Lane& inLane) const {
    const auto since = StandsStillSince(inLane);
    return since ? std::optional(std::max(*since + mLimits.stall, inLane.reprieve)) : std::nullopt;
}

void SenderCore::Tick(TimePoint inNow) {
    const wire::Duration late = mLimits.stall / kLateShare;
    for (const auto& lane : mLanes) {
        const auto due = lane ? CutTime(*lane) : std::nullopt;
        if (!due || *due > inNow) {
            continue;
        }
        if (inNow > *due + late && *due != lane->reprieve) {
            lane->reprieve = inNow + late;
        } else {
            Cut(*lane);
        }
    }
    FreeBroadcasts();
}

std::optional<TimePoint> SenderCore::NextTick() const {
    std::optional<TimePoint> next;
    for (const auto& lane : mLanes) {
        next = wire::Earlier(next, lane ? CutTime(*lane) : std::nullopt);
    }
    return next;
}

std::optional<TimePoint> SenderCore::NextPump() const {
    return mBlockedSince ? std::optional(*mBlockedSince + mLimits.broadcastWait) : std::nullopt;
}

void SenderCore::Cut(Lane& ioLane) {
    ioLane.confirmed = ioLane.floor;
    ioLane.highest = std::max(ioLane.highest, Written(ioLane));
    FailOwed(ioLane, FailureReason::kCutOff, mLog.NextSequence() - 1, true);
    ioLane.detachPending = ioLane.detachPending || ioLane.state == LaneState::kLive;
    ioLane.state = LaneState::kCut;
    ioLane.fullSince.reset();
    ioLane.pinsSince.reset();
    ++mCutLanes;
}

void SenderCore::Revive(Lane& ioLane) {
    --mCutLanes;
    ioLane.state = LaneState::kBehind;
    ioLane.withdrawn = true;
    SetFloor(ioLane, mLog.NextSequence() - 1);
    NoteProgress();
}

void SenderCore::Abandon(FailureReason inReason) {
    const Sequence last = mLog.NextSequence() - 1;
    FailUnclaimed(inReason, last);
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut) {
            FailOwed(*lane, inReason, last, true);
        }
    }
    mLog.FreeBroadcasts(mBroadcastsFreed, last);
    mBroadcastsFreed = last;
    mRouted = std::max(mRouted, last);
    NoteProgress();
}

}  // namespace orvane::plexa::message5
