/// One connection's life: from the first reference to the process's dispatcher to the last, and what lingers
/// behind it.
///
/// Two threads belong to it. The delivery thread waits for the broker's bytes itself and calls the listeners.
/// The second thread connects, writes what the others leave to it, keeps the times, reads while a listener
/// runs for long, and takes leave in the end. Both keep the session alive; nobody joins them, because the
/// last reference may go on the delivery thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "CallRegistry.h"
#include "ClientCore.h"
#include "Connector.h"
#include "Diagnostics.h"
#include "Inbox.h"
#include "PlexaMessage5/Dispatcher.h"
#include "Settings.h"
#include "Socket.h"
#include "wire/FrameReader.h"

namespace orvane::plexa::message5 {

struct SessionSetup {
    std::string appId;
    std::string runtimeDirectory;
    /// The broker's program, if it is known.
    std::optional<std::string> brokerProgram;
    wire::Interest interest;
    Settings settings;
};

/// Any thread. Calls of listeners and callbacks hold none of its locks.
class Session : public std::enable_shared_from_this<Session> {
  public:
    /// Starts both threads; doesn't connect before there is a reason to. Throws std::system_error.
    static std::shared_ptr<Session> Start(SessionSetup inSetup);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() = default;

    api5::PlexaMessageErrorCode Send(const api5::SuiteMessage& inMessage);
    api5::PlexaMessageErrorCode AddListener(api5::IPlexaMessageListener* inListener);
    api5::PlexaMessageErrorCode RemoveListener(api5::IPlexaMessageListener* inListener);
    api5::PlexaMessageErrorCode EnableListener(api5::IPlexaMessageListener* inListener);
    api5::PlexaMessageErrorCode DisableListener(api5::IPlexaMessageListener* inListener);
    api5::PlexaMessageErrorCode Register(api5::EndPointRefreshCallback inCallback, void* inContext);
    api5::PlexaMessageErrorCode Unregister(api5::EndPointRefreshCallback inCallback, void* inContext);
    api5::EndPoint Self() const;
    bool IsReady() const;
    /// All that receive, this process included, by member. Null before the first time it is known.
    std::shared_ptr<const std::vector<api5::EndPoint>> EndPoints() const;
    void SetInterest(wire::Interest inInterest);

    /// Ends deliveries, waits until what was sent is handed over, 5 s at most, and leaves. On the delivery
    /// thread it only begins with that. Once.
    void Leave();

    // Around a fork, for a process that goes on with two copies. In the copy the session is dead: its threads
    // aren't there, and the connection belongs to the other one.
    void BeforeFork() { mMutex.lock(); }
    void AfterForkInParent() { mMutex.unlock(); }
    /// inElder: one that was dead before; kept, because destroying it would wait for its threads.
    void AfterForkInChild(std::shared_ptr<Session> inElder) noexcept;

  private:
    using Lock = std::unique_lock<std::mutex>;

    struct RefreshCallback {
        api5::EndPointRefreshCallback function;
        void* context;
        friend bool operator==(const RefreshCallback&, const RefreshCallback&) = default;
    };

    explicit Session(SessionSetup inSetup);

    // Sending (SessionSending.cpp). All with the lock held.
    bool ResolveReceiver(const api5::EndPoint& inDestination, std::optional<wire::MemberId>& outReceiver);
    api5::PlexaMessageErrorCode SendLocally(Lock& ioLock, const api5::SuiteMessage& inMessage);
    bool AwaitLocalRoom(Lock& ioLock, std::size_t inBytes, wire::LimitName& outLimit);
    api5::PlexaMessageErrorCode SendToMembers(Lock& ioLock, std::optional<wire::MemberId> inReceiver,
                                              const api5::SuiteMessage& inMessage);
    bool AwaitRoom(Lock& ioLock, std::optional<wire::MemberId> inReceiver, std::string_view inType,
                   std::size_t inPayloadLength, Admission& outAdmission);
    void FailForUnknown(const api5::SuiteMessage& inMessage) noexcept;
    void WriteSoon(Lock& ioLock, wire::TimePoint inNow);
    bool IsQuiet(wire::TimePoint inNow);
    bool OnDeliveryThread() const { return std::this_thread::get_id() == mDeliveryThread; }
    void Fail(SendFailure inFailure) noexcept;

    /// One round of a thread's work. What can't be done for want of memory or descriptors stays to be done in
    /// a later round; the host doesn't suffer for it.
    template <typename Round>
    void Survive(Lock& ioLock, const Round& inRound);

    // The delivery thread (SessionDelivery.cpp).
    void RunDelivery();
    bool Deliver(Lock& ioLock);
    void DeliverRefresh(Lock& ioLock);
    void TraceFailures(Lock& ioLock);
    /// Traces a line without the lock.
    static void Tell(Lock& ioLock, std::string_view inLine);
    void DeliverFailures(Lock& ioLock);
    void DeliverLocal(Lock& ioLock);
    void DeliverInbound(Lock& ioLock);
    bool CallListeners(const api5::PlexaMessage& inMessage);
    void AwaitInput(Lock& ioLock);
    void BeginCalls();
    bool HasWork() const;
    void WakeDelivery();

    // What both threads do with the connection (SessionTraffic.cpp). All with the lock held.
    bool CanWrite() const {
        return mSocket && !mBroken && !mWriteBroken && !mAwaitsWritable && !mAfterShortage;
    }
    /// The system had no memory for a transfer: none is tried for a while, a longer one each time.
    void PauseTransfers() noexcept;
    /// Brings the output up to date and writes it. Unlocks meanwhile. inAll: writes also what others append
    /// while it does; otherwise that is left to the second thread.
    void Flush(Lock& ioLock, bool inAll);
    bool UpdateOutput();
    /// The connection is of no use any more: whoever reads it meets its end.
    void BreakOff() noexcept;
    void Feed(Transfer inTransfer, std::size_t inBytes, wire::TimePoint inNow);
    /// Counts the deliveries of the current batch whose listeners have returned.
    void ConsumeDelivered(wire::TimePoint inNow);
    /// After anything that may have changed the core: failures, end points, waiting senders, times.
    void Settle() noexcept;
    bool ListIsOld() const;
    void RebuildEndPoints();

    // The second thread (SessionLink.cpp).
    void RunLink();
    void LinkRound(Lock& ioLock, wire::TimePoint inNow);
    bool MayConnect(wire::TimePoint inNow) const;
    void Connect(Lock& ioLock, wire::TimePoint inNow);
    void Disconnect(Lock& ioLock, wire::TimePoint inNow);
    bool ReadsHere(wire::TimePoint inNow) const;
    void ReadHere(wire::TimePoint inNow);
    void Park(Lock& ioLock, wire::TimePoint inNow);
    /// When the core has something to do that it can do: what is to be written then is looked at as soon as
    /// anything can be written again.
    std::optional<wire::TimePoint> NextDeadline() const;
    wire::TimePoint NextLook(wire::TimePoint inNow);
    /// True when nothing is left to do.
    bool TakeLeave(Lock& ioLock, wire::TimePoint inNow);
    void End(Lock& ioLock);
    void TraceLastFailures(Lock& ioLock);
    void WakeLink();

    const wire::Limits mLimits;
    wire::BufferPool mLogPool;
    wire::BufferPool mReadPool;
    const std::string mAppId;
    const std::int32_t mProcessId;
    const std::string mComplaints;  // about the settings

    CallRegistry<api5::IPlexaMessageListener*> mListeners;
    CallRegistry<RefreshCallback> mCallbacks;
    Waker mDeliveryWaker;
    Waker mLinkWaker;
    std::thread::id mDeliveryThread;    // written before anybody can ask
    std::atomic<bool> mStopped{false};  // no more calls; set with the lock held

    mutable std::mutex mMutex;  // guards everything below, unless it says otherwise
    ClientCore mCore;

    // The connection. One writes at a time, without the lock; one reads at a time, the delivery thread
    // without the lock.
    wire::FileDescriptor mSocket;
    wire::FrameReader mReader;
    bool mWanted = false;  // there is a reason to connect
    bool mBroken = false;  // nothing more can be read: the second thread clears up
    bool mWriteBroken = false;
    bool mAwaitsWritable = false;                   // the socket is full
    std::optional<wire::TimePoint> mAfterShortage;  // when the second thread lets transfers go on
    wire::Duration mShortagePause{};
    bool mWriting = false;
    bool mFlushRequested = false;
    std::condition_variable mWritten;
    std::string mLoss;  // why the connection broke
    int mDirectWrites = 0;
    wire::TimePoint mDirectWritesSince{};
    Connector mConnector;              // second thread only
    std::string mTrouble;              // likewise: what was traced last
    ConnectionTrace mConnectionTrace;  // likewise
    wire::TimePoint mNotBefore{};

    // Deliveries.
    bool mListening = false;  // a listener was enabled once
    bool mReady = false;
    bool mRefreshDue = false;
    std::deque<SendFailure> mFailures;  // not yet delivered
    std::size_t mFailuresTraced = 0;    // of these, from the front
    std::size_t mFailureBytes = 0;
    std::uint64_t mFailuresDropped = 0;
    std::deque<LocalMessage> mLocal;
    std::size_t mLocalBytes = 0;
    std::optional<wire::TimePoint> mLocalFullSince;  // and nothing has been delivered since
    std::shared_ptr<const std::vector<api5::EndPoint>> mEndPoints;
    api5::EndPoint mSelf;
    std::uint64_t mListedVersion = 0;
    wire::MemberId mListedMember = 0;
    std::vector<Delivery> mBatch;            // the delivery thread's beyond mBatchDone
    std::atomic<std::size_t> mBatchDone{0};  // whose listeners have returned
    std::size_t mBatchConsumed = 0;
    Inbox mInbox;                // delivery thread only
    FailureTrace mFailureTrace;  // with the lock
    bool mDeliveryReads = false;
    bool mDeliveryParked = false;
    bool mDeliverySignalled = false;
    bool mDeliveryEnded = false;
    wire::TimePoint mCallsSince{};  // when the delivery thread last turned away from reading
    std::uint64_t mTraffic = 0;     // counts batches

    // Senders that wait.
    std::condition_variable mProgressed;
    int mWaitingSenders = 0;
    std::uint64_t mSeenProgress = 0;
    // The last destination and who it was.
    api5::EndPoint mLastDestination;
    std::optional<wire::MemberId> mLastReceiver;
    std::uint64_t mLastVersion = 0;

    // The second thread.
    bool mLinkParked = false;
    bool mLinkSignalled = false;
    wire::TimePoint mLinkUntil{};
    std::uint64_t mSeenTraffic = 0;
    wire::Duration mLookPause{};

    // Leaving.
    bool mLeaving = false;
    bool mLeaveSent = false;
    bool mEnded = false;
    wire::TimePoint mLeaveBegan{};
    wire::TimePoint mCloseBy{};
    std::condition_variable mEndReached;

    std::shared_ptr<Session> mElder;
};

}  // namespace orvane::plexa::message5
