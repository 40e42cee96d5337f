/// The sending half of a client, without I/O and without a clock: it keeps every message until each receiver
/// has consumed it, and decides what is written next. ClientCore puts it together with the receiving half;
/// drivers use ClientCore and reach the operations marked "driver" here through ClientCore::Sender().
///
/// Single-threaded: the driver's lock is held around every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "SegmentLog.h"
#include "SendFailure.h"
#include "SequenceRanges.h"
#include "wire/Limits.h"
#include "wire/Messages.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::message5 {

/// The answer to a wish to send.
struct Admission {
    enum class Verdict : std::uint8_t {
        /// Send may be called now.
        kAccept,
        /// Wait for progress (Progress() changes), at most until `until`, then ask again.
        kWait,
        /// Not now and not by waiting: report a failure with `reason` and `limit`, "Not delivered".
        kRefuse,
    };
    Verdict verdict = Verdict::kAccept;
    wire::TimePoint until{};
    FailureReason reason = FailureReason::kLimit;
    wire::LimitName limit = wire::LimitName::kNone;
};

class SenderCore {
  public:
    /// Both must outlive the core.
    SenderCore(const wire::Limits& inLimits, wire::BufferPool& inPool);
    ~SenderCore();
    SenderCore(const SenderCore&) = delete;
    SenderCore& operator=(const SenderCore&) = delete;

    // --- driver: sending
    // -------------------------------------------------------------------------------------------

    /// May a message of that size be sent? inReceiver: a member, or nothing for a broadcast. inMayWait is
    /// false on the delivery thread, which gets the reserve instead of kWait. Remembers since when there is
    /// no room, and cuts off the receivers that have stood still for too long before it refuses.
    Admission Admit(std::optional<wire::MemberId> inReceiver, std::size_t inTypeLength,
                    std::size_t inPayloadLength, bool inMayWait, wire::TimePoint inNow);
    /// Takes a message that Admit has accepted, with nothing in between. For receivers that are cut off it
    /// becomes failures at once. Nothing is written before Pump. Throws std::bad_alloc and then has sent
    /// nothing.
    void Send(std::optional<wire::MemberId> inReceiver, std::string_view inType,
              std::span<const std::byte> inPayload);
    /// Makes the failure of a message that Admit has refused.
    void Refuse(std::optional<wire::MemberId> inReceiver, std::string_view inType,
                const Admission& inAdmission);
    /// Appends what may be written now to outQueue: lane switches, the live stream, what lanes owe. Each byte
    /// of the log goes at most once into the queue of one connection.
    void Pump(wire::OutputQueue& outQueue, wire::TimePoint inNow);
    /// Does what is due: cuts receivers off.
    void Tick(wire::TimePoint inNow);
    /// When Tick has something to do though nothing else happens; after a Tick always later than that.
    std::optional<wire::TimePoint> NextTick() const;
    /// When Pump has something to do though nothing else happens. Only Pump puts it off: no reason to look
    /// again while nothing can be written.
    std::optional<wire::TimePoint> NextPump() const;
    /// Failures since the last call, in order of sending per receiver.
    std::vector<SendFailure> TakeFailures();
    bool HasFailures() const noexcept { return !mFailures.empty(); }
    /// Changes whenever a sender that was told to wait may get another answer.
    std::uint64_t Progress() const noexcept { return mProgress; }
    /// Every message has been confirmed or has failed; lingering may end.
    bool NothingOwed() const noexcept { return mLog.Empty(); }
    /// Gives everything up: each owed message becomes a failure with inReason, one per receiver.
    void Abandon(FailureReason inReason);
    /// Asks the broker to report soon, with every message from now on (lingering).
    void HurryReports() noexcept { mHurry = true; }
    /// Bytes of memory held for messages.
    std::size_t LogBytes() const noexcept { return mLog.HeldBytes(); }

    // --- events from the connection (ClientCore)
    // -------------------------------------------------------------------

    /// For JOIN: the first sequence never written to any connection.
    wire::Sequence NextLive() const noexcept { return mNextLive; }
    /// For JOIN as a new member: the lowest sequence that may still come.
    wire::Sequence CarriedFrom() const;
    /// What the broker grants each lane at first, in bytes.
    void SetFirstWindow(std::size_t inWindow) noexcept { mFirstWindow = inWindow; }
    /// The connection is gone, written bytes with it.
    void OnConnectionLost();
    /// The broker forgot this member: what was ever written fails, the rest is carried over to the new
    /// membership.
    void OnExpired();
    /// Only notices about others.
    void OnPeer(const wire::PeerNotice& inPeer, wire::TimePoint inNow);
    /// The snapshot is complete.
    void OnJoined();
    /// inFrom: the receiver's slot. Claims beyond what was written count as what was written.
    void OnPosition(wire::Slot inFrom, const wire::Position& inPosition, wire::TimePoint inNow);
    /// An error when the broker claims to have routed what was never written.
    wire::WireError OnReport(wire::Sequence inRouted, std::span<const wire::ReportEntry> inEntries,
                             wire::TimePoint inNow);

  private:
    friend class StateInspector;  // tests

    /// How a lane stands to the live stream.
    enum class LaneState : std::uint8_t {
        /// Away, or its position is not known yet.
        kUnattached,
        /// Broadcasts go to it with the stream.
        kLive,
        /// The broker gives it no broadcasts: what it owes is written to it alone.
        kBehind,
        /// Cut off: owes nothing, new messages to it fail at once.
        kCut,
    };
    struct Lane;
    using LaneIndex = std::uint32_t;

    // Lanes and what they owe.
    Lane* FindMember(wire::MemberId inMember) const;
    Lane* FindSlot(wire::Slot inSlot) const;
    Lane& AddLane(const wire::PeerNotice& inPeer, wire::Sequence inFloor);
    void BringUp(const wire::PeerNotice& inPeer, wire::TimePoint inNow);
    void Open(Lane& ioLane, bool inKnown);
    void SetSlot(Lane& ioLane, wire::Slot inSlot);
    void Unattach(Lane& ioLane);
    void RemoveLane(Lane& ioLane, FailureReason inReason);
    void Consume(Lane& ioLane, wire::Sequence inConsumed, wire::TimePoint inNow);
    void SetFloor(Lane& ioLane, wire::Sequence inFloor);
    void FreeBroadcasts();
    wire::Sequence Written(const Lane& inLane) const;
    wire::Sequence FirstOwed(const Lane& inLane) const;
    wire::Sequence NextBroadcast(wire::Sequence inAfter) const;
    std::size_t InFlight(const Lane& inLane) const;
    std::size_t OwedBytes(const Lane& inLane) const;
    bool HasWindow(const Lane& inLane, std::size_t inLength) const;

    // Bounds and failures.
    bool FindRoom(const Lane* inReceiver, std::size_t inLength, bool inMayWait, wire::TimePoint inNow,
                  wire::LimitName& outLimit);
    bool HasArrears(const Lane* inReceiver, std::size_t inLength, wire::TimePoint inNow);
    void NoteFullLog(wire::TimePoint inNow);
    void ForgetFullLog() noexcept;
    bool LogPinned() const noexcept { return mLog.HeldBytes() > mLimits.log / 2; }
    /// Since when inLane has stood still with its arrears or the log full; nothing if it doesn't.
    std::optional<wire::TimePoint> StandsStillSince(const Lane& inLane) const;
    std::optional<wire::TimePoint> CutTime(const Lane& inLane) const;
    void Cut(Lane& ioLane);
    void Revive(Lane& ioLane);
    /// Fails what inLane owes up to inThrough and makes it owe that no longer.
    void FailOwed(Lane& ioLane, FailureReason inReason, wire::Sequence inThrough, bool inBroadcastsToo);
    /// Fails the broadcasts up to inThrough that no lane owes.
    void FailUnclaimed(FailureReason inReason, wire::Sequence inThrough);
    void Fail(FailureKind inKind, FailureReason inReason, const wire::EndPointInfo* inReceiver,
              std::string_view inType);
    void FailForCutLanes(std::string_view inType);
    void NoteProgress() noexcept;

    // The way out.
    void PumpStream(wire::OutputQueue& outQueue, wire::TimePoint inNow);
    bool AdmitToStream(wire::OutputQueue& outQueue, std::size_t inLength, wire::TimePoint inNow);
    bool MovedLately(const Lane& inLane, wire::TimePoint inNow) const;
    void ForgetWritten();
    void TurnBehind(wire::OutputQueue& outQueue, Lane& ioLane);
    void WriteDetach(wire::OutputQueue& outQueue, Lane& ioLane);
    void CatchUp(wire::OutputQueue& outQueue, Lane& ioLane);
    void WriteAlone(wire::OutputQueue& outQueue, Lane& ioLane, const SegmentLog::Entry& inEntry);
    std::uint8_t HurryFlag() const noexcept;

    const wire::Limits& mLimits;
    wire::BufferPool& mPool;
    SegmentLog mLog;
    std::vector<std::unique_ptr<Lane>> mLanes;  // by LaneIndex; null where free
    std::vector<LaneIndex> mFreeLanes;
    boost::unordered_flat_map<wire::MemberId, LaneIndex> mByMember;
    boost::unordered_flat_map<wire::Slot, LaneIndex> mBySlot;
    wire::Sequence mNextLive = 1;
    wire::Sequence mRouted = 0;
    wire::Sequence mBroadcastsFreed = 0;  // no broadcast up to here is kept
    std::uint64_t mStreamedBytes = 0;     // of the broadcasts below mNextLive
    bool mJoined = false;
    bool mHurry = false;
    std::size_t mStreamBudget = 0;   // broadcasts may take this much without asking each lane's window
    std::size_t mArrearsBudget = 0;  // likewise for each lane's arrears
    std::size_t mCutLanes = 0;
    std::optional<wire::TimePoint> mBlockedSince;  // a broadcast waits for a lane's window
    std::optional<wire::TimePoint> mWaitsUntil;    // somebody was told to wait, and nothing has moved since
    bool mRefusing = false;                        // that wait is over
    bool mLogWasFull = false;
    std::size_t mFirstWindow;
    // Where the stream was at two moments at least Limits::broadcastWait apart.
    struct Mark {
        wire::TimePoint time{};
        wire::Sequence nextLive = 1;
    };
    Mark mOldMark;
    Mark mNewMark;
    std::uint64_t mProgress = 0;
    std::vector<SendFailure> mFailures;
};

}  // namespace orvane::plexa::message5
