// The delivery thread.
#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include <poll.h>

#include "SessionRounds.h"
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

void Report(const char* inFunction, const char* inWhat) noexcept {
    try {
        nuocore::debug::RaiseAssertion({"SessionDelivery.cpp", 0, inFunction, "!\"exception\"", inWhat});
    } catch (const std::bad_alloc&) {
        // There is no memory to say so.
    }
}

/// Whatever a host's code throws stays here.
template <typename Call>
void CallHost(const char* inFunction, const Call& inCall) noexcept {
    try {
        inCall();
    } catch (const std::exception& error) {
        Report(inFunction, error.what());
    } catch (...) {
        Report(inFunction, "an exception of another kind");
    }
}

/// Makes what needs a little memory; if there is none, as soon as there is. A message must not be lost for
/// that.
template <typename Make>
decltype(auto) Patiently(const Make& inMake) {
    for (;;) {
        try {
            return inMake();
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(kShortage);
        }
    }
}

}  // namespace

void Session::RunDelivery() {
    Lock lock(mMutex);
    mListeners.SetCaller();
    mCallbacks.SetCaller();
    while (!mStopped) {
        Survive(lock, [&] {
            if (Deliver(lock)) {
                Flush(lock, false);
                Settle();
            } else {
                AwaitInput(lock);
            }
        });
    }
    mDeliveryEnded = true;
    WakeLink();
}

bool Session::HasWork() const {
    return mRefreshDue || mFailuresTraced != mFailures.size() || mFailuresDropped != 0 ||
           (mListening && (!mFailures.empty() || !mLocal.empty() || mCore.Receiver().HasInbound()));
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
    TraceFailures(ioLock);
    if (mListening && !mFailures.empty()) {
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

void Session::Tell(Lock& ioLock, std::string_view inLine) {
    ioLock.unlock();
    TraceTrouble(inLine);
    ioLock.lock();
}

void Session::TraceFailures(Lock& ioLock) {
    const TimePoint now = Clock::now();
    while (mFailuresTraced < mFailures.size()) {
        const auto line = mFailureTrace.Line(mFailures[mFailuresTraced], now);
        ++mFailuresTraced;
        if (line) {
            Tell(ioLock, *line);
        }
    }
    while (!mListening && mFailures.size() > kMostUnheard) {
        mFailureBytes -= mFailures.back().Bytes();
        mFailures.pop_back();
        mFailuresTraced = std::min(mFailuresTraced, mFailures.size());
    }
    if (const std::uint64_t dropped = std::exchange(mFailuresDropped, 0); dropped != 0) {
        Tell(ioLock, std::to_string(dropped) + " failed messages were not told of: too many at once");
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
    for (std::size_t left = std::min(kBatch, mFailuresTraced); left != 0 && !mStopped; --left) {
        const SendFailure failure = std::move(mFailures.front());
        mFailures.pop_front();
        --mFailuresTraced;
        mFailureBytes -= failure.Bytes();
        ioLock.unlock();
        CallListeners(*Patiently([&] { return mInbox.Make(failure, self); }));
        ioLock.lock();
    }
}

void Session::DeliverLocal(Lock& ioLock) {
    const api5::EndPoint self = mSelf;
    for (std::size_t left = std::min(kBatch, mLocal.size()); left != 0 && !mStopped; --left) {
        LocalMessage message = std::move(mLocal.front());
        mLocal.pop_front();
        ioLock.unlock();
        const auto make = [&]() -> const api5::SuiteMessage& { return mInbox.Make(message, self); };
        const bool called = CallListeners(Patiently(make));
        ioLock.lock();
        if (!called) {
            mLocal.push_front(std::move(message));
            return;
        }
        mLocalBytes -= wire::FrameBytes(message.type.size(), message.payload.size());
        mLocalFullSince.reset();
        if (mWaitingSenders != 0) {
            mProgressed.notify_all();
        }
    }
}

void Session::DeliverInbound(Lock& ioLock) {
    const std::size_t count = mCore.Receiver().Next(mBatch, kBatch);
    ioLock.unlock();
    std::size_t done = 0;
    const auto make = [&]() -> const api5::SuiteMessage& { return mInbox.Make(mBatch[done]); };
    while (done != count && CallListeners(Patiently(make))) {
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
    if (transfer == Transfer::kShortage) {
        std::this_thread::sleep_for(kShortage);
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
