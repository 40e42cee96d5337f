// The second thread.
#include <algorithm>
#include <array>
#include <utility>

#include <poll.h>

#include "SessionRounds.h"

namespace orvane::plexa::message5 {

using wire::Duration;
using wire::TimePoint;
using Clock = std::chrono::steady_clock;
using State = ClientCore::State;

namespace {

/// How often to look while there is traffic; a listener that runs longer is read for.
constexpr Duration kLook = std::chrono::milliseconds(2);
/// While one listener runs for long and nothing else happens, looks become rarer.
constexpr Duration kLongestLook = std::chrono::milliseconds(64);
/// A broker that refuses this client is not asked at every pause.
constexpr Duration kRefusedPause = std::chrono::seconds(5);
/// How long leaving waits for what is only a courtesy: the notice to others.
constexpr Duration kCourtesy = std::chrono::seconds(1);

}  // namespace

void Session::RunLink() {
    Lock lock(mMutex);
    if (!mComplaints.empty()) {
        Survive(lock, [&] { Tell(lock, mComplaints); });
    }
    while (!mEnded) {
        Survive(lock, [&] { LinkRound(lock, Clock::now()); });
    }
}

void Session::LinkRound(Lock& ioLock, TimePoint inNow) {
    if (mBroken) {
        Disconnect(ioLock, inNow);
    }
    if (mAfterShortage && *mAfterShortage <= inNow) {
        mAfterShortage.reset();
    }
    if (MayConnect(inNow)) {
        Connect(ioLock, inNow);
    }
    ConsumeDelivered(inNow);
    if (ReadsHere(inNow)) {
        ReadHere(inNow);
    }
    mCore.Tick(inNow);
    Flush(ioLock, true);
    Settle();
    if (mLeaving && TakeLeave(ioLock, inNow)) {
        End(ioLock);
    } else {
        Park(ioLock, inNow);
    }
}

bool Session::MayConnect(TimePoint inNow) const {
    return mWanted && !mSocket && inNow >= mConnector.Next() && inNow >= mNotBefore;
}

void Session::Connect(Lock& ioLock, TimePoint inNow) {
    // Only this thread makes connections and uses the connector.
    ioLock.unlock();
    wire::FileDescriptor socket = mConnector.Attempt(inNow);
    if (mConnector.Trouble() != mTrouble) {
        mTrouble = mConnector.Trouble();
        if (!mTrouble.empty()) {
            TraceConnection(mTrouble);
        }
    }
    ioLock.lock();
    if (!socket) {
        return;
    }
    mCore.OnConnected(inNow);
    mSocket = std::move(socket);
    mFlushRequested = true;
    WakeDelivery();
}

void Session::Disconnect(Lock& ioLock, TimePoint inNow) {
    mWritten.wait(ioLock, [this] { return !mWriting; });
    if (mCore.GetState() == State::kRefused) {
        mNotBefore = inNow + kRefusedPause;
    } else if (mCore.GetState() == State::kJoined) {
        mConnector.Succeeded();
    }
    const bool joined = mCore.GetState() == State::kJoined;
    mCore.OnConnectionLost(inNow);
    mReader.Reset();
    mSocket.Close();
    mBroken = false;
    mWriteBroken = false;
    mAwaitsWritable = false;
    mAfterShortage.reset();
    std::string loss = std::exchange(mLoss, {});
    ioLock.unlock();
    mConnectionTrace.Lost(std::move(loss), joined, inNow);
    ioLock.lock();
}

bool Session::ReadsHere(TimePoint inNow) const {
    return mSocket && !mBroken && !mAfterShortage && !mDeliveryReads &&
           (mDeliveryEnded || inNow - mCallsSince >= kLook);
}

void Session::ReadHere(TimePoint inNow) {
    std::size_t bytes = 0;
    const Transfer transfer = Read(mSocket.Get(), mReader.Space(), bytes);
    if (transfer == Transfer::kShortage) {
        PauseTransfers();
    }
    Feed(transfer, bytes, inNow);
}

std::optional<TimePoint> Session::NextDeadline() const {
    return CanWrite() ? wire::Earlier(mCore.NextTick(), mCore.NextFlush()) : mCore.NextTick();
}

TimePoint Session::NextLook(TimePoint inNow) {
    TimePoint next = NextDeadline().value_or(TimePoint::max());
    if (mWanted && !mSocket) {
        next = std::min(next, std::max(mConnector.Next(), mNotBefore));
    }
    if (mAfterShortage) {
        next = std::min(next, *mAfterShortage);
    }
    if (mLeaving || ListIsOld()) {
        next = std::min(next, inNow + kLook);
    }
    const bool busy = std::exchange(mSeenTraffic, mTraffic) != mTraffic;
    if (busy || (!mDeliveryEnded && !mDeliveryParked)) {
        mLookPause = busy ? kLook : std::clamp(mLookPause * 2, kLook, kLongestLook);
        next = std::min(next, inNow + mLookPause);
    }
    return next;
}

void Session::Park(Lock& ioLock, TimePoint inNow) {
    // While somebody else writes, that thread hands on what is left.
    if (mBroken || (mFlushRequested && !mWriting && CanWrite())) {
        return;
    }
    const TimePoint until = NextLook(inNow);
    const short events =
        static_cast<short>((mAwaitsWritable ? POLLOUT : 0) | (ReadsHere(inNow) ? POLLIN : 0));
    std::array<pollfd, 2> waits = {pollfd{mLinkWaker.Descriptor(), POLLIN, 0},
                                   pollfd{events != 0 ? mSocket.Get() : -1, events, 0}};
    timespec timeout{};
    if (until != TimePoint::max()) {
        const auto left = std::max(until - Clock::now(), Duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        timeout.tv_sec = seconds.count();
        timeout.tv_nsec = std::chrono::nanoseconds(left - seconds).count();
    }
    mLinkParked = true;
    mLinkUntil = until;
    ioLock.unlock();
    ::ppoll(waits.data(), waits.size(), until == TimePoint::max() ? nullptr : &timeout, nullptr);
    ioLock.lock();
    mLinkParked = false;
    if (mLinkSignalled) {
        mLinkSignalled = false;
        mLinkWaker.Clear();
    }
    if ((waits[1].revents & ~POLLIN) != 0) {
        mAwaitsWritable = false;
    }
}

/// Whoever leaves waits no longer than the time for lingering: the end of it is for the last bytes and for
/// the threads themselves.
bool Session::TakeLeave(Lock& ioLock, TimePoint inNow) {
    const TimePoint deadline = mLeaveBegan + mLimits.linger / 10 * 9;
    if (!mDeliveryEnded) {
        // A listener that is still running keeps its message from being called undelivered.
        return inNow >= deadline;
    }
    if (!mCore.Receiver().Withdrawn()) {
        mCore.StopReceiving();
        mCore.Sender().HurryReports();
        mFlushRequested = true;
        return false;
    }
    const State state = mCore.GetState();
    if (!mLeaveSent) {
        const bool owing = !mCore.Sender().NothingOwed() && inNow < deadline;
        const bool courteous = state != State::kJoined && (state == State::kJoining || mCore.Member() != 0) &&
                               inNow < mLeaveBegan + kCourtesy;
        if (owing || courteous) {
            return false;
        }
        mCore.Leave();
        mLeaveSent = true;
        mCloseBy = std::min(inNow + kCourtesy, mLeaveBegan + mLimits.linger / 20 * 19);
        Flush(ioLock, true);
    }
    return mCore.Output().Empty() || !mSocket || mBroken || mWriteBroken || inNow >= mCloseBy;
}

void Session::End(Lock& ioLock) {
    if (!mLeaveSent) {
        mCore.Sender().Abandon(FailureReason::kLeaving);
    }
    for (LocalMessage& message : mLocal) {
        Fail({FailureKind::kNotDelivered,
              FailureReason::kLeaving,
              wire::LimitName::kNone,
              {mAppId, mCore.Instance(), static_cast<std::uint32_t>(mProcessId)},
              std::move(message.type)});
    }
    mLocal.clear();
    Settle();
    mWritten.wait(ioLock, [this] { return !mWriting; });
    mCore.OnConnectionLost(Clock::now());
    if (mSocket && mDeliveryReads) {
        ShutDown(mSocket.Get());  // its number must not become another file's while it is waited for
    } else {
        mSocket.Close();
    }
    mWanted = false;
    TraceLastFailures(ioLock);
    mEnded = true;
    mEndReached.notify_all();
}

/// Listeners hear of no more.
void Session::TraceLastFailures(Lock& ioLock) {
    const TimePoint now = Clock::now();
    while (!mFailures.empty()) {
        const bool traced = mFailuresTraced != 0;
        const auto line = traced ? std::nullopt : mFailureTrace.Line(mFailures.front(), now);
        mFailuresTraced -= traced ? 1 : 0;
        mFailures.pop_front();
        if (line) {
            Tell(ioLock, *line);
        }
    }
    if (const auto line = mFailureTrace.LastLine()) {
        Tell(ioLock, *line);
    }
}

void Session::WakeLink() {
    if (mLinkParked && !mLinkSignalled) {
        mLinkSignalled = true;
        mLinkWaker.Wake();
    }
}

}  // namespace orvane::plexa::message5
