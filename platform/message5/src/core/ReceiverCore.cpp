#include "ReceiverCore.h"

#include <algorithm>

#include "wire/Rules.h"

namespace orvane::plexa::message5 {

using wire::PeerChange;
using wire::TimePoint;
using wire::WireError;

namespace {

/// An eighth of a window keeps the sender going without a pause.
constexpr std::size_t kAcksPerWindow = 8;
/// How many delays an acknowledgement may wait while more is being delivered: a slow listener must be seen to
/// move.
constexpr int kBusyDelays = 10;

}  // namespace

ReceiverCore::ReceiverCore(const wire::Limits& inLimits)
    : mLimits(inLimits), mFirstWindow(inLimits.firstWindow) {}

ReceiverCore::~ReceiverCore() = default;

Origin* ReceiverCore::FindSlot(wire::Slot inSlot) {
    if (mLastOrigin != nullptr && mLastOrigin->slot == inSlot) {
        return mLastOrigin;
    }
    const auto found = mBySlot.find(inSlot);
    return found == mBySlot.end() ? nullptr : mLastOrigin = found->second;
}

WireError ReceiverCore::OnData(const wire::Frame& inFrame) {
    const wire::FrameHeader& header = inFrame.Header();
    Origin* origin = FindSlot(header.source());
    if (origin == nullptr) {
        return WireError::kBadAddress;
    }
    if (mWithdrawn) {
        return WireError::kNone;
    }
    if (header.sequence() <= origin->taken) {
        ++mStatistics.repeated;
        return WireError::kNone;
    }
    mInbound.push_back({wire::BufferRef(inFrame.buffer), inFrame, origin});
    mInboundBytes += header.length();
    origin->taken = header.sequence();
    mActive += origin->queued++ == 0 ? 1 : 0;
    ++mStatistics.taken;
    mStatistics.gaps += inFrame.Has(wire::FrameFlag::Withdrawn) ? 1 : 0;
    return WireError::kNone;
}

std::optional<Delivery> ReceiverCore::Next() {
    if (mInbound.empty()) {
        return std::nullopt;
    }
    Delivery delivery = std::move(mInbound.front());
    mInbound.pop_front();
    ++mInHand;
    return delivery;
}

std::size_t ReceiverCore::Next(std::vector<Delivery>& outDeliveries, std::size_t inMost) {
    const std::size_t count = std::min(inMost, mInbound.size());
    outDeliveries.reserve(outDeliveries.size() + count);
    const auto end = mInbound.begin() + static_cast<std::ptrdiff_t>(count);
    std::move(mInbound.begin(), end, std::back_inserter(outDeliveries));
    mInbound.erase(mInbound.begin(), end);
    mInHand += count;
    return count;
}

void ReceiverCore::PutDown(const Delivery& inDelivery) {
    mInboundBytes -= inDelivery.frame.Length();
    --mInHand;
    mActive -= --inDelivery.origin->queued == 0 ? 1 : 0;
}

void ReceiverCore::Consumed(const Delivery& inDelivery, TimePoint inNow) noexcept {
    Origin& origin = *inDelivery.origin;
    PutDown(inDelivery);
    // With nothing queued, everything taken has been consumed, also what a new lane counted as taken from its
    // start.
    origin.consumed = origin.queued == 0 && !mWithdrawn
                          ? origin.taken
                          : std::max(origin.consumed, inDelivery.frame.Header().sequence());
    if (origin.slot != wire::kNoSlot && wire::Holds(wire::Rule::kMessagesAreAcknowledged)) {
        origin.unreported += inDelivery.frame.Length();
        if (!origin.changed) {
            origin.changed = true;
            mChanged.push_back(&origin);
        }
        mChangedSince = mChangedSince.value_or(inNow);
        mThresholdReached = mThresholdReached || origin.unreported >= AckThreshold(origin);
    }
    EraseIfDone(origin);
}

void ReceiverCore::Discard(const Delivery& inDelivery) {
    PutDown(inDelivery);
    EraseIfDone(*inDelivery.origin);
}

void ReceiverCore::Withdraw() {
    mWithdrawn = true;
    while (const auto delivery = Next()) {
        Discard(*delivery);
    }
}

std::size_t ReceiverCore::AckThreshold(const Origin& inOrigin) const {
    const std::size_t share = mLimits.receiverWindows / std::max<std::size_t>(mActive, 1);
    const std::size_t window = inOrigin.acknowledged ? std::min(share, mLimits.maxWindow) : mFirstWindow;
    return window / kAcksPerWindow;
}

std::optional<TimePoint> ReceiverCore::NextAcks() const {
    if (!mChangedSince) {
        return std::nullopt;
    }
    const bool idle = mInbound.empty() && mInHand == 0;
    return *mChangedSince + mLimits.ackDelay * (idle ? 1 : kBusyDelays);
}

bool ReceiverCore::AcksDue(TimePoint inNow) const {
    const auto deadline = NextAcks();
    return deadline && (mThresholdReached || inNow >= *deadline);
}

void ReceiverCore::WriteAcks(wire::OutputQueue& outQueue, wire::BufferPool& inPool) {
    if (mChanged.empty()) {
        return;
    }
    std::vector<wire::AckEntry> entries;
    entries.reserve(mChanged.size());
    for (const Origin* origin : mChanged) {
        entries.emplace_back(
            origin->slot, static_cast<std::uint32_t>(std::min<std::size_t>(origin->unreported, UINT32_MAX)),
            origin->consumed);
    }
    wire::WriteAcks(outQueue, inPool, entries);
    for (Origin* origin : mChanged) {
        origin->unreported = 0;
        origin->changed = false;
        origin->acknowledged = true;
    }
    mChanged.clear();
    mThresholdReached = false;
    mChangedSince.reset();
}

Origin& ReceiverCore::FindOrAdd(const wire::PeerNotice& inPeer) {
    const auto found = mOrigins.find(inPeer.member);
    if (found != mOrigins.end()) {
        return *found->second;
    }
    mChanged.reserve(mOrigins.size() + 1);
    auto origin = std::make_unique<Origin>();
    origin->member = inPeer.member;
    origin->endPoint = inPeer.endPoint;
    return *(mOrigins.emplace(inPeer.member, std::move(origin)).first->second);
}

void ReceiverCore::OnPeer(const wire::PeerNotice& inPeer, wire::OutputQueue& outQueue,
                          wire::BufferPool& inPool) {
    const auto found = mOrigins.find(inPeer.member);
    Origin* known = found == mOrigins.end() ? nullptr : found->second.get();
    if (inPeer.change == PeerChange::Gone) {
        if (known != nullptr) {
            MarkGone(*known);
        }
        return;
    }
    if (inPeer.change == PeerChange::Away) {
        if (known != nullptr) {
            known->seen = true;
            if (wire::Holds(wire::Rule::kSlotsEndWithTheConnection)) {
                ForgetSlot(*known);
            }
        }
        return;
    }
    if (inPeer.change != PeerChange::Up) {
        return;
    }
    Origin& origin = FindOrAdd(inPeer);
    origin.gone = false;  // though it was told to be, and its messages are still being delivered
    origin.seen = true;
    ForgetSlot(origin);
    origin.slot = inPeer.slot;
    mBySlot[inPeer.slot] = &origin;
    if (inPeer.lane == wire::LaneStart::Open) {
        origin.taken = std::max(origin.taken, inPeer.receiveFrom - 1);
        origin.consumed = origin.queued == 0 ? origin.taken : origin.consumed;
    } else {
        wire::WritePosition(outQueue, inPool, wire::kNoSlot, inPeer.slot, {origin.taken, origin.consumed});
    }
}

void ReceiverCore::OnJoined() {
    std::vector<Origin*> missing;
    for (const auto& [member, origin] : mOrigins) {
        if (!origin->seen) {
            missing.push_back(origin.get());
        }
    }
    for (Origin* origin : missing) {
        MarkGone(*origin);
    }
}

void ReceiverCore::OnConnectionLost() {
    for (const auto& [member, origin] : mOrigins) {
        if (wire::Holds(wire::Rule::kSlotsEndWithTheConnection)) {
            ForgetSlot(*origin);
        }
        origin->seen = false;
    }
}

void ReceiverCore::ForgetPositions() {
    for (const auto& [member, origin] : mOrigins) {
        origin->taken = 0;
        origin->consumed = 0;
    }
}

void ReceiverCore::MarkGone(Origin& ioOrigin) {
    ForgetSlot(ioOrigin);
    ioOrigin.gone = true;
    EraseIfDone(ioOrigin);
}

void ReceiverCore::EraseIfDone(Origin& ioOrigin) {
    if (ioOrigin.gone && ioOrigin.queued == 0) {
        mOrigins.erase(ioOrigin.member);
    }
}

void ReceiverCore::ForgetSlot(Origin& ioOrigin) {
    if (ioOrigin.slot != wire::kNoSlot) {
        const auto known = mBySlot.find(ioOrigin.slot);
        if (known != mBySlot.end() && known->second == &ioOrigin) {
            mBySlot.erase(known);
        }
        ioOrigin.slot = wire::kNoSlot;
    }
    if (mLastOrigin == &ioOrigin) {
        mLastOrigin = nullptr;
    }
    ioOrigin.acknowledged = false;
    ioOrigin.unreported = 0;
    ForgetAck(ioOrigin);
}

void ReceiverCore::ForgetAck(Origin& ioOrigin) {
    if (ioOrigin.changed) {
        ioOrigin.changed = false;
        std::erase(mChanged, &ioOrigin);
        if (mChanged.empty()) {
            mChangedSince.reset();
            mThresholdReached = false;
        }
    }
}

}  // namespace orvane::plexa::message5
