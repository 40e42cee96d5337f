// The delivery thread.
#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <poll.h>

#include "Session.h"
#include "nuocore/Assertion.h"

namespace orvane::plexa::message5 {

using wire::TimePoint;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kBatch = 64;
/// So many failures wait for the first listener; it may never come.
constexpr std::size_t kMostUnheard = 1024;
/// How long calls may keep the delivery thread from reading before the second thread reads instead.
constexpr wire::Duration kPatience = std::chrono::milliseconds(2);

/// Whatever a host's code throws stays here.
template <typename Call>
void CallHost(const char* inFunction, const Call& inCall) noexcept {
    std::string what = "an exception of another kind";
    try {
        inCall();
        return;
    } catch (const std::exception& error) {
        what = error.what();
    } catch (...) {
    }
    nuocore::debug::RaiseAssertion({"SessionDelivery.cpp", 0, inFunction, "!\"exception\"", what});
}

}  // namespace

void Session::RunDelivery() {
    Lock lock(mMutex);
    mListeners.SetCaller();
    mCallbacks.SetCaller();
    while (!mStopped) {
        if (Deliver(lock)) {
            Flush(lock, false);
            Settle();
        } else {
            AwaitInput(lock);
        }
    }
    mDeliveryEnded = true;
    WakeLink();
}

bool Session::HasWork() const {
    return mRefreshDue || !mFailures.empty() ||
           (mListening && (!mToldFailures.empty() || !mLocal.empty() || mCore.Receiver().HasInbound()));
}

/// Tells of what there is, a batch of each. False when there was nothing.
bool Session::Deliver(Lock& ioLock) {
    if (!HasWork()) {
        return false;
    }
    BeginCalls();
    if (mRefreshDue) {
        DeliverRefresh(ioLock);
    }
    if (!mFailures.empty()) {
        TraceFailures(ioLock);
    }
    if (mListening && !mToldFailures.empty()) {
        DeliverFailures(ioLock);
    }
    if (mListening && !mLocal.empty()) {
        DeliverLocal(ioLock);
    }
    if (mListening && mCore.Receiver().HasInbound()) {
        DeliverInbound(ioLock);
    }
    return true;
}

void Session::BeginCalls() {
    mCallsSince = Clock::now();
    ++mTraffic;
    if (mLinkParked && mLinkUntil > mCallsSince + kPatience) {
        WakeLink();
    }
}

void Session::DeliverRefresh(Lock& ioLock) {
    mRefreshDue = false;
    ioLock.unlock();
    mCallbacks.CallActive(true, [this](const RefreshCallback& inCallback) {
        if (!mStopped) {
            CallHost("EndPointRefreshCallback", [&] { inCallback.function(inCallback.context); });
        }
    });
    ioLock.lock();
}

void Session::TraceFailures(Lock& ioLock) {
    std::deque<SendFailure> failures;
    failures.swap(mFailures);
    const std::uint64_t dropped = std::exchange(mFailuresDropped, 0);
    ioLock.unlock();
    const TimePoint now = Clock::now();
    for (const SendFailure& failure : failures) {
        mFailureTrace.Trace(failure, now);
    }
    if (dropped != 0) {
        TraceConnection(std::to_string(dropped) + " failed messages were not told of: too many at once");
    }
    ioLock.lock();
    std::move(failures.begin(), failures.end(), std::back_inserter(mToldFailures));
    if (!mListening && mToldFailures.size() > kMostUnheard) {
        mToldFailures.resize(kMostUnheard);
    }
}

/// False when nobody was called because calls have been stopped.
bool Session::CallListeners(const api5::PlexaMessage& inMessage) {
    bool called = false;
    mListeners.CallActive(false, [&](api5::IPlexaMessageListener* inListener) {
        if (!mStopped) {
            called = true;
            CallHost("IPlexaMessageListener::Receive", [&] { inListener->Receive(inMessage); });
        }
    });
    return called || !mStopped;
}

void Session::DeliverFailures(Lock& ioLock) {
    const api5::EndPoint self = mSelf;
    for (std::size_t left = std::min(kBatch, mToldFailures.size()); left != 0 && !mStopped; --left) {
        const SendFailure failure = std::move(mToldFailures.front());
        mToldFailures.pop_front();
        ioLock.unlock();
        CallListeners(*mInbox.Make(failure, self));
        ioLock.lock();
    }
}

void Session::DeliverLocal(Lock& ioLock) {
    const api5::EndPoint self = mSelf;
    for (std::size_t left = std::min(kBatch, mLocal.size()); left != 0 && !mStopped; --left) {
        const LocalMessage message = std::move(mLocal.front());
        mLocal.pop_front();
        ioLock.unlock();
        CallListeners(mInbox.Make(message, self));
        ioLock.lock();
        mLocalBytes -= wire::FrameBytes(message.type.size(), message.payload.size());
        if (mWaitingSenders != 0) {
            mProgressed.notify_all();
        }
    }
}

void Session::DeliverInbound(Lock& ioLock) {
    const std::size_t count = mCore.Receiver().Next(mBatch, kBatch);
    ioLock.unlock();
    std::size_t done = 0;
    while (done != count && CallListeners(mInbox.Make(mBatch[done]))) {
        ++done;
        mBatchDone.store(done, std::memory_order_release);
    }
    ioLock.lock();
    ConsumeDelivered(Clock::now());
    for (; done != count; ++done) {
        mCore.Receiver().Discard(mBatch[done]);
    }
    mBatch.clear();
    mBatchDone = 0;
    mBatchConsumed = 0;
}

void Session::AwaitInput(Lock& ioLock) {
    Flush(ioLock, false);
    Settle();
    if (HasWork() || mStopped) {
        return;
    }
    const bool reads = mSocket && !mBroken;
    const std::span<std::byte> space = reads ? mReader.Space() : std::span<std::byte>();
    std::array<pollfd, 2> waits = {pollfd{mDeliveryWaker.Descriptor(), POLLIN, 0},
                                   pollfd{reads ? mSocket.Get() : -1, POLLIN, 0}};
    mDeliveryReads = reads;
    mDeliveryParked = true;
    ioLock.unlock();
    std::size_t bytes = 0;
    Transfer transfer = Transfer::kWouldBlock;
    if (::poll(waits.data(), waits.size(), -1) > 0 && waits[1].revents != 0) {
        transfer = Read(waits[1].fd, space, bytes);
    }
    ioLock.lock();
    mDeliveryParked = false;
    mDeliveryReads = false;
    mCallsSince = Clock::now();
    if (mDeliverySignalled) {
        mDeliverySignalled = false;
        mDeliveryWaker.Clear();
    }
    Feed(transfer, bytes, mCallsSince);
    Settle();
}

void Session::WakeDelivery() {
    if (mDeliveryParked && !mDeliverySignalled) {
        mDeliverySignalled = true;
        mDeliveryWaker.Wake();
    }
}

}  // namespace orvane::plexa::message5
