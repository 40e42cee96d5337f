// Taking messages, bounds, failures.
#include "SenderCore.h"

#include <algorithm>
#include <utility>

#include "SenderLane.h"

namespace orvane::plexa::message5 {

using wire::LimitName;
using wire::Sequence;
using wire::TimePoint;

SenderCore::SenderCore(const wire::Limits& inLimits, wire::BufferPool& inPool)
    : mLimits(inLimits), mPool(inPool), mLog(inPool) {}

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
    if (inMayWait) {
        if (!mRefusedSince) {
            mRefusedSince = inNow;
        }
        if (inNow < *mRefusedSince + mLimits.stall) {
            return {Verdict::kWait, *mRefusedSince + mLimits.stall, FailureReason::kLimit, limit};
        }
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
        if (!mLogFullSince) {
            mLogFullSince = inNow;
        }
        outLimit = inMayWait ? LimitName::kLog : LimitName::kLogReserve;
        return false;
    }
    if (inMayWait) {
        mLogFullSince.reset();
        if (!HasArrears(inReceiver, inLength, inNow)) {
            outLimit = LimitName::kArrears;
            return false;
        }
    }
    return true;
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
        lane->unicasts.Append(mLog.Append(lane->index, inType, inPayload));
        lane->unicastBytes += length;
    } else {
        mLog.Append(wire::kEveryone, inType, inPayload);
        if (mCutLanes != 0) {
            for (const auto& lane : mLanes) {
                if (lane && lane->state == LaneState::kCut) {
                    Fail(FailureKind::kNotDelivered, FailureReason::kCutOff, &lane->endPoint, inType);
                }
            }
        }
    }
    mArrearsBudget -= std::min(mArrearsBudget, length);
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
    mRefusedSince.reset();
}

void SenderCore::FailOwed(Lane& ioLane, FailureReason inReason, Sequence inThrough, bool inBroadcastsToo) {
    const Sequence everWritten = std::max(ioLane.highest, Written(ioLane));
    Sequence at = ioLane.floor;
    Sequence broadcast = inBroadcastsToo ? NextBroadcast(at) : 0;
    for (;;) {
        const Sequence unicast = ioLane.unicasts.NextAfter(at);
        const Sequence next = broadcast == 0 || (unicast != 0 && unicast < broadcast) ? unicast : broadcast;
        if (next == 0 || next > inThrough) {
            break;
        }
        const bool certain = inReason == FailureReason::kLeft || next > everWritten;
        const auto entry = mLog.NextAfter(next - 1);
        Fail(certain ? FailureKind::kNotDelivered : FailureKind::kNotConfirmed, inReason, &ioLane.endPoint,
             entry->frame.Type());
        at = next;
        broadcast = broadcast == next ? NextBroadcast(at) : broadcast;
    }
    SetFloor(ioLane, inThrough);
    NoteProgress();
}

std::optional<TimePoint> SenderCore::CutTime(const Lane& inLane) const {
    if (!mJoined || inLane.state == LaneState::kCut || OwedBytes(inLane) == 0 ||
        (!mLogFullSince && !inLane.fullSince)) {
        return std::nullopt;
    }
    const TimePoint full =
        std::min(mLogFullSince.value_or(TimePoint::max()), inLane.fullSince.value_or(TimePoint::max()));
    return std::max(full, inLane.lastProgress) + mLimits.stall;
}

void SenderCore::Tick(TimePoint inNow) {
    for (const auto& lane : mLanes) {
        if (lane) {
            const auto due = CutTime(*lane);
            if (due && *due <= inNow) {
                Cut(*lane);
            }
        }
    }
    FreeBroadcasts();
}

std::optional<TimePoint> SenderCore::NextDeadline() const {
    std::optional<TimePoint> next;
    const auto consider = [&](std::optional<TimePoint> inTime) {
        if (inTime && (!next || *inTime < *next)) {
            next = inTime;
        }
    };
    if (mBlockedSince) {
        consider(*mBlockedSince + mLimits.broadcastWait);
    }
    for (const auto& lane : mLanes) {
        if (lane) {
            consider(CutTime(*lane));
        }
    }
    return next;
}

void SenderCore::Cut(Lane& ioLane) {
    ioLane.confirmed = ioLane.floor;
    ioLane.highest = std::max(ioLane.highest, Written(ioLane));
    FailOwed(ioLane, FailureReason::kCutOff, mLog.NextSequence() - 1, true);
    ioLane.detachPending = ioLane.detachPending || ioLane.state == LaneState::kLive;
    ioLane.state = LaneState::kCut;
    ioLane.fullSince.reset();
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
    bool owed = false;
    for (const auto& lane : mLanes) {
        if (lane && lane->state != LaneState::kCut) {
            owed = true;
            FailOwed(*lane, inReason, last, true);
        }
    }
    for (Sequence next = owed ? 0 : NextBroadcast(mNextLive - 1); next != 0; next = NextBroadcast(next)) {
        Fail(FailureKind::kNotDelivered, inReason, nullptr, mLog.NextAfter(next - 1)->frame.Type());
    }
    mLog.FreeBroadcasts(mBroadcastsFreed, last);
    mBroadcastsFreed = last;
    mRouted = std::max(mRouted, last);
    NoteProgress();
}

}  // namespace orvane::plexa::message5
