// The connection's traffic, whichever thread moves it.
#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "Session.h"

namespace orvane::plexa::message5 {

using wire::TimePoint;
using wire::WireError;
using Clock = std::chrono::steady_clock;

namespace {

constexpr wire::Duration kFirstShortagePause = std::chrono::milliseconds(1);
constexpr wire::Duration kLongestShortagePause = std::chrono::milliseconds(64);

}  // namespace

/// False when there is no memory for it. Then half a frame may be in the output, so that nothing may be
/// written any more.
bool Session::UpdateOutput() {
    try {
        mCore.Flush(Clock::now());
        return true;
    } catch (const std::bad_alloc&) {
        BreakOff();
        return false;
    }
}

void Session::PauseTransfers() noexcept {
    mShortagePause = std::clamp(mShortagePause * 2, kFirstShortagePause, kLongestShortagePause);
    mAfterShortage = Clock::now() + mShortagePause;
    WakeLink();
}

void Session::BreakOff() noexcept {
    mWriteBroken = true;
    ShutDown(mSocket.Get());
}

void Session::Flush(Lock& ioLock, bool inAll) {
    if (!CanWrite()) {
        return;
    }
    if (mWriting) {
        mFlushRequested = true;
        return;
    }
    mWriting = true;
    do {
        mFlushRequested = false;
        if (!UpdateOutput()) {
            break;
        }
        std::array<iovec, 64> pieces{};
        const std::size_t count = mCore.Output().Gather(pieces);
        if (count == 0) {
            break;
        }
        const int socket = mSocket.Get();
        std::size_t bytes = 0;
        ioLock.unlock();
        const Transfer result = Write(socket, std::span(pieces).first(count), bytes);
        ioLock.lock();
        mCore.Output().Consume(bytes);
        mAwaitsWritable = result == Transfer::kWouldBlock;
        mWriteBroken = result == Transfer::kClosed;
        if (result == Transfer::kShortage) {
            PauseTransfers();
        } else {
            mShortagePause = {};
        }
    } while (inAll && CanWrite() && (mFlushRequested || !mCore.Output().Empty()));
    mWriting = false;
    mWritten.notify_all();
    if (mFlushRequested || !mCore.Output().Empty()) {
        mFlushRequested = true;
        WakeLink();
    }
}

void Session::Feed(Transfer inTransfer, std::size_t inBytes, TimePoint inNow) {
    if (inTransfer == Transfer::kWouldBlock || inTransfer == Transfer::kShortage) {
        return;
    }
    WireError error = WireError::kNone;
    if (inTransfer == Transfer::kDone) {
        mDirectWrites = 0;
        mReader.Commit(inBytes);
        wire::Frame frame;
        try {
            while (error == WireError::kNone && mReader.Next(frame)) {
                error = mCore.OnFrame(frame, inNow);
            }
        } catch (const std::bad_alloc&) {
            // A frame half taken: what was lost with it comes again on the next connection.
            error = WireError::kMemoryPressure;
        }
        error = error == WireError::kNone ? mReader.Error() : error;
        if (error == WireError::kNone) {
            mReader.Rest();
            return;
        }
    }
    mBroken = true;
    WakeLink();  // before the text below, for which there may be no memory
    if (error == WireError::kRefused) {
        mLoss = "the broker refused the connection: " + mCore.RefusalText();
    } else {
        mLoss =
            error == WireError::kNone ? "the broker closed the connection" : std::string(wire::Text(error));
    }
}

void Session::ConsumeDelivered(TimePoint inNow) {
    const std::size_t done = mBatchDone.load(std::memory_order_acquire);
    for (; mBatchConsumed != done; ++mBatchConsumed) {
        Delivery& delivery = mBatch[mBatchConsumed];
        mCore.Receiver().Consumed(delivery, inNow);
        delivery.buffer.reset();
    }
}

void Session::Settle() noexcept {
    if (mCore.Sender().HasFailures()) {
        for (SendFailure& failure : mCore.Sender().TakeFailures()) {
            Fail(std::move(failure));
        }
    }
    if (ListIsOld()) {
        try {
            RebuildEndPoints();
        } catch (const std::bad_alloc&) {
            WakeLink();  // it tries again before long
        }
    }
    const std::uint64_t progress = mCore.Sender().Progress();
    if (progress != mSeenProgress) {
        mSeenProgress = progress;
        if (mWaitingSenders != 0) {
            mProgressed.notify_all();
        }
    }
    if (HasWork()) {
        WakeDelivery();
    }
    if (mLinkParked) {
        const auto deadline = NextDeadline();
        if (deadline && *deadline < mLinkUntil) {
            WakeLink();
        }
    }
}

bool Session::ListIsOld() const {
    return mCore.GetState() == ClientCore::State::kJoined &&
           (mCore.Peers().Version() != mListedVersion || mCore.Member() != mListedMember);
}

void Session::RebuildEndPoints() {
    mSelf = {mAppId.c_str(), mCore.Instance(), mProcessId};
    auto list = std::make_shared<std::vector<api5::EndPoint>>();
    const wire::MemberId own = mCore.Member();
    bool listed = false;
    for (const Roster::Listed& other : mCore.Peers().Receivers()) {
        if (!listed && other.member > own) {
            list->push_back(mSelf);
            listed = true;
        }
        list->emplace_back(other.endPoint.appId.c_str(), other.endPoint.instance,
                           static_cast<std::int32_t>(other.endPoint.processId));
    }
    if (!listed) {
        list->push_back(mSelf);
    }
    mEndPoints = std::move(list);
    mListedVersion = mCore.Peers().Version();
    mListedMember = own;
    mReady = true;
    mRefreshDue = true;
    mCallbacks.ActivateAll();
}

}  // namespace orvane::plexa::message5
