/// The receiving half of a client, without I/O and without a clock: it decides which messages are taken,
/// hands them out in order, and knows what to acknowledge. ClientCore puts it together with the sending half;
/// drivers use ClientCore and reach the operations marked "driver" here through ClientCore::Receiver().
///
/// Single-threaded: the driver's lock is held around every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "wire/Limits.h"
#include "wire/Messages.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::message5 {

/// One sending member as the receiver remembers it.
struct Origin {
    wire::MemberId member = 0;
    wire::EndPointInfo endPoint;
    wire::Slot slot = wire::kNoSlot;
    wire::Sequence taken = 0;
    wire::Sequence consumed = 0;
    std::size_t queued = 0;      // messages in the inbound queue or being delivered
    std::size_t unreported = 0;  // bytes consumed since the last Ack
    bool changed = false;        // consumed moved since the last Ack
    bool acknowledged = false;   // an Ack went out under this slot
    bool gone = false;
    bool seen = false;  // in the snapshot being received
};

/// A message to deliver. Its bytes are valid while the value lives, its origin until Consumed was called for
/// it.
struct Delivery {
    wire::BufferRef buffer;
    wire::Frame frame;
    Origin* origin = nullptr;

    std::string_view Type() const noexcept { return frame.Type(); }
    std::span<const std::byte> Payload() const noexcept { return frame.Payload(); }
    /// Whom it comes from. Unchanging; may be read without the lock until Consumed.
    const wire::EndPointInfo& Source() const noexcept { return origin->endPoint; }
};

struct ReceiverStatistics {
    std::uint64_t taken = 0;
    /// Dropped because they were taken before; 0 unless a connection was lost.
    std::uint64_t repeated = 0;
    /// Messages that came after others had been withdrawn by their sender.
    std::uint64_t gaps = 0;
};

class ReceiverCore {
  public:
    /// Must outlive the core.
    explicit ReceiverCore(const wire::Limits& inLimits);
    ~ReceiverCore();
    ReceiverCore(const ReceiverCore&) = delete;
    ReceiverCore& operator=(const ReceiverCore&) = delete;

    // --- driver: delivering
    // ----------------------------------------------------------------------------------------

    /// The next message to deliver, oldest first. The driver then calls the listeners without its lock and
    /// Consumed with it.
    std::optional<Delivery> Next();
    /// As Next, up to inMost at once, appended to outDeliveries. For each, Consumed is called once, in order.
    /// Throws std::bad_alloc and then has done nothing.
    std::size_t Next(std::vector<Delivery>& outDeliveries, std::size_t inMost);
    /// Every listener has returned. inDelivery's origin must not be used afterwards.
    void Consumed(const Delivery& inDelivery, wire::TimePoint inNow) noexcept;
    /// A delivery that will not be made (the receiver is leaving): it does not count as consumed.
    void Discard(const Delivery& inDelivery);
    /// Drops the inbound queue unconsumed and takes nothing any more.
    void Withdraw();
    bool Withdrawn() const noexcept { return mWithdrawn; }
    /// A delivery was handed out and neither consumed nor discarded yet.
    bool InHand() const noexcept { return mInHand != 0; }
    bool HasInbound() const noexcept { return !mInbound.empty(); }
    std::size_t InboundBytes() const noexcept { return mInboundBytes; }

    /// Something is to be acknowledged; it rides on the next write.
    bool AcksPending() const noexcept { return !mChanged.empty(); }
    /// Acknowledgements should be written now even if nothing else is.
    bool AcksDue(wire::TimePoint inNow) const;
    /// When AcksDue will be true though nothing else happens.
    std::optional<wire::TimePoint> NextAcks() const;
    /// Appends one Ack frame with everything pending; nothing if there is none. Throws std::bad_alloc and
    /// then has done nothing.
    void WriteAcks(wire::OutputQueue& outQueue, wire::BufferPool& inPool);
    const ReceiverStatistics& Statistics() const noexcept { return mStatistics; }

    // --- events from the connection (ClientCore)
    // -------------------------------------------------------------------

    /// A checked Data frame. Takes it into the inbound queue, or drops a repeated one.
    wire::WireError OnData(const wire::Frame& inFrame);
    /// What the broker grants each lane at first, in bytes.
    void SetFirstWindow(std::size_t inWindow) noexcept { mFirstWindow = inWindow; }
    void OnConnectionLost();
    /// What a receiver must not do: that is why it is asked for where a rule is broken on purpose.
    void ForgetPositions();
    /// Answers a resumed lane with a Position in outQueue.
    void OnPeer(const wire::PeerNotice& inPeer, wire::OutputQueue& outQueue, wire::BufferPool& inPool);
    void OnJoined();

  private:
    friend class StateInspector;  // tests

    Origin* FindSlot(wire::Slot inSlot);
    Origin& FindOrAdd(const wire::PeerNotice& inPeer);
    void MarkGone(Origin& ioOrigin);
    void EraseIfDone(Origin& ioOrigin);
    void ForgetSlot(Origin& ioOrigin);
    void ForgetAck(Origin& ioOrigin);
    void PutDown(const Delivery& inDelivery);
    std::size_t AckThreshold(const Origin& inOrigin) const;

    const wire::Limits& mLimits;
    boost::unordered_flat_map<wire::MemberId, std::unique_ptr<Origin>> mOrigins;
    boost::unordered_flat_map<wire::Slot, Origin*> mBySlot;
    Origin* mLastOrigin = nullptr;  // of the last Data frame; a run usually comes from one sender
    std::deque<Delivery> mInbound;
    std::size_t mInboundBytes = 0;  // handed out ones included
    std::size_t mInHand = 0;        // handed out, not yet consumed
    std::size_t mActive = 0;        // origins with something queued
    std::vector<Origin*> mChanged;  // with something to acknowledge; has room for all
    std::size_t mFirstWindow;
    bool mThresholdReached = false;
    bool mWithdrawn = false;
    std::optional<wire::TimePoint> mChangedSince;
    ReceiverStatistics mStatistics;
};

}  // namespace orvane::plexa::message5
