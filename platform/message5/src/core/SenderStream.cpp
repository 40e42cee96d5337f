// The way out: the live stream, and what lanes that are behind get on their own.
#include <algorithm>
#include <cstring>

#include "SenderLane.h"
#include "wire/Rules.h"

namespace orvane::plexa::message5 {

using wire::FrameFlag;
using wire::Sequence;
using wire::TimePoint;

std::uint8_t SenderCore::HurryFlag() const noexcept {
    return mHurry || mLog.HeldBytes() > mLimits.log / 2 ? wire::Bit(FrameFlag::ReportSoon) : std::uint8_t{0};
}

void SenderCore::Pump(wire::OutputQueue& outQueue, TimePoint inNow) {
    if (!mJoined) {
        return;
    }
    if (inNow - mNewMark.time >= mLimits.broadcastWait) {
        mOldMark = mNewMark;
        mNewMark = {inNow, mNextLive};
    }
    for (const auto& lane : mLanes) {
        if (lane && lane->detachPending) {
            WriteDetach(outQueue, *lane);
        }
    }
    PumpStream(outQueue, inNow);
    for (const auto& lane : mLanes) {
        if (lane && lane->state == LaneState::kBehind) {
            CatchUp(outQueue, *lane);
        }
    }
    if (!wire::Holds(wire::Rule::kMessagesAreAcknowledged)) {
        ForgetWritten();
    }
}

/// As if everything written had been consumed.
void SenderCore::ForgetWritten() {
    for (const auto& lane : mLanes) {
        if (lane && lane->state == LaneState::kLive) {
            SetFloor(*lane, Written(*lane));
        }
    }
    mRouted = mNextLive - 1;
    FreeBroadcasts();
    NoteProgress();
}

void SenderCore::PumpStream(wire::OutputQueue& outQueue, TimePoint inNow) {
    while (const auto entry = mLog.NextAfter(mNextLive - 1)) {
        auto& header = entry->frame.Header();
        const std::size_t length = header.length();
        if (entry->broadcast) {
            if (!AdmitToStream(outQueue, length, inNow)) {
                return;
            }
            header.mutate_flags(HurryFlag());
            outQueue.Append(*entry->frame.buffer, entry->frame.data, length);
            mStreamedBytes += length;
        } else {
            Lane& lane = *mLanes[header.destination()];
            if (lane.state == LaneState::kLive) {
                if (HasWindow(lane, length)) {
                    WriteAlone(outQueue, lane, *entry);
                    const std::size_t inFlight = InFlight(lane);
                    mStreamBudget = std::min(mStreamBudget, lane.window - std::min(lane.window, inFlight));
                } else {
                    TurnBehind(outQueue, lane);
                }
            }
        }
        mNextLive = entry->sequence + 1;
    }
    mNextLive = mLog.NextSequence();
}

bool SenderCore::AdmitToStream(wire::OutputQueue& outQueue, std::size_t inLength, TimePoint inNow) {
    if (inLength > mStreamBudget && wire::Holds(wire::Rule::kMessagesAreAcknowledged)) {
        bool wait = false;
        std::size_t budget = SIZE_MAX;
        const bool waited = mBlockedSince && inNow - *mBlockedSince >= mLimits.broadcastWait;
        for (const auto& lane : mLanes) {
            if (!lane || lane->state != LaneState::kLive) {
                continue;
            }
            if (HasWindow(*lane, inLength)) {
                budget = std::min(budget, lane->window - std::min(lane->window, InFlight(*lane)));
            } else if (waited || !MovedLately(*lane, inNow)) {
                TurnBehind(outQueue, *lane);
            } else {
                wait = true;
            }
        }
        if (wait) {
            mBlockedSince = mBlockedSince.value_or(inNow);
            return false;
        }
        mStreamBudget = budget;
    }
    mBlockedSince.reset();
    mStreamBudget -= std::min(mStreamBudget, inLength);
    return true;
}

/// Also true for a lane to which nothing was on the way until lately.
bool SenderCore::MovedLately(const Lane& inLane, TimePoint inNow) const {
    return inNow - inLane.lastProgress < mLimits.broadcastWait || FirstOwed(inLane) >= mOldMark.nextLive;
}

void SenderCore::TurnBehind(wire::OutputQueue& outQueue, Lane& ioLane) {
    ioLane.written = mNextLive - 1;
    ioLane.writtenBytes = mStreamedBytes;
    ioLane.scanned = ioLane.written;
    ioLane.highest = std::max(ioLane.highest, ioLane.written);
    ioLane.state = LaneState::kBehind;
    WriteDetach(outQueue, ioLane);
}

void SenderCore::WriteDetach(wire::OutputQueue& outQueue, Lane& ioLane) {
    ioLane.detachPending = false;
    wire::WriteLaneSwitch(outQueue, mPool, wire::FrameKind::Detach, ioLane.slot);
}

void SenderCore::CatchUp(wire::OutputQueue& outQueue, Lane& ioLane) {
    Sequence broadcast = 0;  // the next one owed; found once, used once
    for (;;) {
        if (broadcast == 0 && ioLane.scanned + 1 < mNextLive) {
            broadcast = NextBroadcast(ioLane.scanned);
            ioLane.scanned = (broadcast == 0 || broadcast >= mNextLive ? mNextLive : broadcast) - 1;
        }
        const Sequence unicast = ioLane.unicasts.NextAfter(ioLane.written);
        const Sequence next = broadcast == 0 || (unicast != 0 && unicast < broadcast) ? unicast : broadcast;
        if (next == 0 || next >= mNextLive) {
            break;
        }
        const auto entry = mLog.NextAfter(next - 1);
        if (!HasWindow(ioLane, entry->frame.Length())) {
            return;
        }
        WriteAlone(outQueue, ioLane, *entry);
        ioLane.written = next;
        ioLane.highest = std::max(ioLane.highest, next);
        if (entry->broadcast) {
            ioLane.scanned = next;
            broadcast = 0;
        }
    }
    if (ioLane.floor < mNextLive) {
        wire::WriteLaneSwitch(outQueue, mPool, wire::FrameKind::Attach, ioLane.slot);
        ioLane.state = LaneState::kLive;
        mStreamBudget = 0;
    }
}

void SenderCore::WriteAlone(wire::OutputQueue& outQueue, Lane& ioLane, const SegmentLog::Entry& inEntry) {
    const wire::Frame& frame = inEntry.frame;
    const std::size_t length = frame.Length();
    std::uint8_t flags = HurryFlag();
    if (ioLane.withdrawn) {
        flags |= wire::Bit(FrameFlag::Withdrawn);
        ioLane.withdrawn = false;
    }
    if (inEntry.broadcast) {
        flags |= wire::Bit(FrameFlag::BroadcastCopy);
    }
    if (inEntry.broadcast || inEntry.sequence <= ioLane.highest) {
        // The frame itself belongs to all receivers, or still waits in the output for an earlier connection
        // of this one, and must not get there with the rest of what waits: it gets another header before the
        // shared bytes.
        std::byte* head = outQueue.AppendControl(mPool, wire::FrameKind::Data, 0);
        std::memcpy(head, frame.data, wire::kHeaderBytes);
        auto& header = *reinterpret_cast<wire::FrameHeader*>(head);
        header.mutate_destination(ioLane.slot);
        header.mutate_flags(flags);
        if (length > wire::kHeaderBytes) {
            outQueue.Append(*frame.buffer, frame.data + wire::kHeaderBytes, length - wire::kHeaderBytes);
        }
    } else {
        frame.Header().mutate_destination(ioLane.slot);
        frame.Header().mutate_flags(flags);
        outQueue.Append(*frame.buffer, frame.data, length);
    }
    if (inEntry.broadcast) {
        ioLane.writtenBytes += length;
    } else {
        ioLane.unicastInFlight += length;
    }
}

}  // namespace orvane::plexa::message5
