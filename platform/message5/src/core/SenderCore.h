/// The sending half of a client, without I/O and without a clock: it keeps every message until each receiver
/// has consumed it, and decides what is written next. ClientCore puts it together with the receiving half;
/// drivers use ClientCore and reach the operations marked "driver" here through ClientCore::Sender().
///
/// Single-threaded: the driver's lock is held around every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "SegmentLog.h"
#include "SequenceRanges.h"
#include "wire/Limits.h"
#include "wire/Messages.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::message5 {

/// What is known about a message that cannot be promised any more.
enum class FailureKind : std::uint8_t {
    /// The receiver did not get it and will not.
    kNotDelivered,
    /// The receiver may have handled it or may still do so; it is not sent again.
    kNotConfirmed,
};

/// Why a message failed.
enum class FailureReason : std::uint8_t {
    /// The receiver's process ended.
    kEnded,
    /// The receiver took leave.
    kLeft,
    /// The receiver's process joined anew.
    kReplaced,
    /// The receiver stayed away too long.
    kExpired,
    /// The receiver made no progress while its sender's memory was full.
    kCutOff,
    /// This process stayed away from the broker too long and had to join anew.
    kSelfExpired,
    /// This process takes leave and cannot wait any longer.
    kLeaving,
    /// A bound was reached; `limit` names it.
    kLimit,
    /// No end point has that number.
    kUnknownReceiver,
};

/// One failed message for one receiver.
struct SendFailure {
    FailureKind kind = FailureKind::kNotDelivered;
    FailureReason reason = FailureReason::kEnded;
    wire::LimitName limit = wire::LimitName::kNone;
    /// The receiver; empty for a refused broadcast.
    wire::EndPointInfo receiver;
    std::string type;
};

/// "Not delivered" or "Delivery not confirmed".
std::string_view ErrorText(FailureKind inKind) noexcept;
/// One line for a user: who, why, and the limit's name.
std::string FaultText(const SendFailure& inFailure);

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
    /// false on the delivery thread, which gets the reserve instead of kWait. Remembers since when the core
    /// is full.
    Admission Admit(std::optional<wire::MemberId> inReceiver, std::size_t inTypeLength,
                    std::size_t inPayloadLength, bool inMayWait, wire::TimePoint inNow);
    /// Takes a message that Admit has accepted, with nothing in between. For receivers that are cut off it
    /// becomes failures at once. Nothing is written before Pump. Throws std::bad_alloc and then has done
    /// nothing.
    wire::Sequence Send(std::optional<wire::MemberId> inReceiver, std::string_view inType,
                        std::span<const std::byte> inPayload);
    /// Appends what may be written now to outQueue: the live stream, what lanes owe, lane switches.
    void Pump(wire::OutputQueue& outQueue, wire::TimePoint inNow);
    /// Does what is due: cuts receivers off. Call when NextDeadline has come, at latest.
    void Tick(wire::TimePoint inNow);
    /// When Tick and Pump have to be called again though nothing else happens.
    std::optional<wire::TimePoint> NextDeadline() const;
    /// Failures since the last call, in order of sending per receiver.
    std::vector<SendFailure> TakeFailures();
    bool HasFailures() const noexcept { return !mFailures.empty(); }
    /// Changes whenever memory became free or a waiting sender may have got another answer.
    std::uint64_t Progress() const noexcept { return mProgress; }
    /// No receiver owes a confirmation and everything is with the broker; lingering may end.
    bool NothingOwed() const noexcept;
    /// Something waits that Pump has not been able to write.
    bool Blocked() const noexcept { return mNextLive != mLog.NextSequence(); }
    /// Gives everything up: each owed message to one receiver becomes a failure with inReason.
    void Abandon(FailureReason inReason);
    /// Asks the broker to report soon, with every message from now on (lingering).
    void HurryReports() noexcept { mHurry = true; }
    /// Bytes held for messages.
    std::size_t LogBytes() const noexcept { return mLog.HeldBytes(); }

    // --- events from the connection (ClientCore)
    // -------------------------------------------------------------------

    wire::Sequence NextLive() const noexcept { return mNextLive; }
    /// For JOIN: the lowest sequence that may still come.
    wire::Sequence CarriedFrom() const;
    /// The connection is gone, written bytes with it.
    void OnConnectionLost();
    /// The broker forgot this member: what was ever written fails, the rest is carried over to the new
    /// membership.
    void OnExpired();
    void OnPeer(const wire::PeerNotice& inPeer, wire::TimePoint inNow);
    /// The snapshot is complete.
    void OnJoined(wire::TimePoint inNow);
    /// inFrom: the receiver's slot. A position beyond what was sent is an error.
    wire::WireError OnPosition(wire::Slot inFrom, const wire::Position& inPosition, wire::TimePoint inNow);
    wire::WireError OnReport(wire::Sequence inRouted, std::span<const wire::ReportEntry> inEntries,
                             wire::TimePoint inNow);

  private:
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

    Lane* FindMember(wire::MemberId inMember) const;
    Lane* FindSlot(wire::Slot inSlot) const;
    Lane& AddLane(const wire::PeerNotice& inPeer);
    void BringUp(Lane& ioLane, const wire::PeerNotice& inPeer, wire::TimePoint inNow);
    void Unattach(Lane& ioLane);
    void RemoveLane(Lane& ioLane, FailureReason inReason);
    void Cut(Lane& ioLane);
    void Revive(Lane& ioLane, wire::TimePoint inNow);
    void AdvanceFloor(Lane& ioLane, wire::Sequence inConsumed, wire::TimePoint inNow);
    void FailOwed(Lane& ioLane, FailureReason inReason, bool inBroadcastsToo, bool inCertain);
    void FreeUnicasts(Lane& ioLane, wire::Sequence inThrough);
    void FreeBroadcasts();
    void NoteProgress();

    void PumpStream(wire::OutputQueue& outQueue, wire::TimePoint inNow);
    bool AdmitBroadcastToStream(wire::OutputQueue& outQueue, std::size_t inLength, wire::TimePoint inNow);
    void CatchUp(wire::OutputQueue& outQueue, Lane& ioLane);
    void TurnBehind(wire::OutputQueue& outQueue, Lane& ioLane);
    std::size_t InFlight(const Lane& inLane) const;
    std::size_t OwedBytes(const Lane& inLane) const;
    bool HasWindow(const Lane& inLane, std::size_t inLength) const;
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
    bool mJoined = false;
    bool mHurry = false;
    std::size_t mStreamBudget = 0;   // at most what a broadcast may take without asking each lane's window
    std::size_t mArrearsBudget = 0;  // likewise for arrears
    std::optional<wire::TimePoint> mBlockedSince;  // a broadcast waits for a lane's window
    std::optional<wire::TimePoint> mFullSince;     // somebody was told to wait, without progress since
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
