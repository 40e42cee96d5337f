/// A whole client without I/O and without a clock: handshake, membership, the sending and the receiving half
/// on one connection. The driver owns socket, threads and clock:
///
///     connected:    core.OnConnected(now)
///     bytes came:   for each frame of a wire::FrameReader (Direction::kToClient): error =
///     core.OnFrame(frame, now);
///                   on an error, or an error of the reader: close, core.OnConnectionLost(now), connect again
///     end of input: core.OnConnectionLost(now), connect again
///     to write:     core.Flush(now); write core.Output() with Gather and Consume
///     timer:        at core.NextTick(): core.Tick(now), then as "to write";
///                   at core.NextFlush(): as "to write", unless nothing can be written now
///     always after: core.TakeFailures of the sender, core.Receiver().Next, core.Peers().Version()
///
/// Single-threaded: the driver's lock is held around every call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ReceiverCore.h"
#include "Roster.h"
#include "SenderCore.h"
#include "wire/Limits.h"
#include "wire/Messages.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::message5 {

struct ClientSettings {
    std::string appId;
    /// False: only sends; it gets no messages and is in nobody's list.
    bool receives = true;
    wire::Interest interest;
    /// Random; proves the membership when the connection is made again.
    wire::Nonce nonce{};
};

class ClientCore {
  public:
    enum class State : std::uint8_t {
        /// No connection.
        kDisconnected,
        /// Hello is out.
        kGreeting,
        /// Join is out, the snapshot is coming.
        kJoining,
        /// A member.
        kJoined,
        /// Leave is out; nothing more is done with this connection but writing what Output holds.
        kLeft,
        /// Refused for good; RefusalText says why.
        kRefused,
    };

    /// inLimits and inPool must outlive the core; inPool's standard size is the size of a log segment (64
    /// KiB).
    ClientCore(const wire::Limits& inLimits, wire::BufferPool& inPool, ClientSettings inSettings);

    void OnConnected(wire::TimePoint inNow);
    void OnConnectionLost(wire::TimePoint inNow);
    /// One checked frame. On an error the driver closes the connection and calls OnConnectionLost. Then, in
    /// the state kRefused, connecting again is of no use; otherwise it is, at once or after a pause.
    wire::WireError OnFrame(const wire::Frame& inFrame, wire::TimePoint inNow);

    /// Brings Output up to date: messages, and acknowledgements that are due or can ride along.
    void Flush(wire::TimePoint inNow);
    void Tick(wire::TimePoint inNow);
    /// When Tick has something to do though nothing else happens; after a Tick always later than that.
    std::optional<wire::TimePoint> NextTick() const { return mSender.NextTick(); }
    /// When Flush has something to do though nothing else happens. Only Flush puts it off: no reason to look
    /// again while nothing can be written.
    std::optional<wire::TimePoint> NextFlush() const;
    /// The bytes to write. Emptied by OnConnectionLost.
    wire::OutputQueue& Output() noexcept { return mOutput; }

    /// Broadcasts of which types are wanted from now on.
    void SetInterest(wire::Interest inInterest);

    /// Withdraws as a receiver: what is queued is dropped, nothing more is taken. The last acknowledgement
    /// and the notice are written once no delivery is in hand any more (with Flush), also on a later
    /// connection.
    void StopReceiving();
    /// Leaves altogether. Call after lingering (Sender().NothingOwed(), at most Limits::linger); what is
    /// still owed fails.
    void Leave();

    State GetState() const noexcept { return mState; }
    /// This member, 0 before the first Joined.
    wire::MemberId Member() const noexcept { return mMember; }
    /// The own end point; the instance is 0 before the first Joined, the process id is the driver's to fill
    /// in.
    std::uint32_t Instance() const noexcept { return mInstance; }
    const std::string& RefusalText() const noexcept { return mRefusalText; }

    SenderCore& Sender() noexcept { return mSender; }
    const SenderCore& Sender() const noexcept { return mSender; }
    ReceiverCore& Receiver() noexcept { return mReceiver; }
    const ReceiverCore& Receiver() const noexcept { return mReceiver; }
    const Roster& Peers() const noexcept { return mRoster; }
    const wire::Limits& GetLimits() const noexcept { return mLimits; }

  private:
    friend class StateInspector;  // tests

    void WriteWithdrawal();
    wire::WireError OnWelcome(const wire::Frame& inFrame);
    wire::WireError OnRefuse(const wire::Frame& inFrame);
    wire::WireError OnPeer(const wire::Frame& inFrame, wire::TimePoint inNow);
    wire::WireError OnJoined(const wire::Frame& inFrame);
    wire::WireError OnMemberFrame(const wire::Frame& inFrame, wire::TimePoint inNow);

    const wire::Limits& mLimits;
    wire::BufferPool& mPool;
    ClientSettings mSettings;
    State mState = State::kDisconnected;
    wire::MemberId mMember = 0;
    wire::Slot mSlot = wire::kNoSlot;
    std::uint32_t mInstance = 0;
    bool mWithdrawalTold = false;  // on this connection
    std::string mRefusalText;
    wire::OutputQueue mOutput;
    SenderCore mSender;
    ReceiverCore mReceiver;
    Roster mRoster;
};

}  // namespace orvane::plexa::message5
