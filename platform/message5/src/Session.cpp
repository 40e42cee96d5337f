// Start, registrations, questions, leaving.
#include "Session.h"

#include <csignal>
#include <random>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace orvane::plexa::message5 {

using api5::PlexaMessageErrorCode;
using Change = CallRegistry<api5::IPlexaMessageListener*>::Change;

namespace {

constexpr std::size_t kSegmentBytes = std::size_t{64} << 10U;
constexpr std::size_t kReadBytes = std::size_t{256} << 10U;
constexpr std::size_t kSegmentsKept = 16;
constexpr std::size_t kReadBuffersKept = 4;

wire::Nonce MakeNonce() {
    std::random_device source;
    const auto number = [&source] {
        const std::uint64_t high = source();
        return high << 32U | source();
    };
    return {number(), number()};
}

/// No handler of the host runs on this library's threads.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t mBefore{};
};

PlexaMessageErrorCode Answer(Change inChange) {
    switch (inChange) {
        case Change::kUnknown:
            return api5::kPlexaMessageErrorCode_InvalidParameter;
        case Change::kNone:
            return api5::kPlexaMessageErrorCode_AlreadyDone;
        case Change::kDone:
            break;
    }
    return api5::kPlexaMessageErrorCode_None;
}

PlexaMessageErrorCode Added(bool inAdded) {
    return inAdded ? api5::kPlexaMessageErrorCode_None : api5::kPlexaMessageErrorCode_AlreadyDone;
}

PlexaMessageErrorCode Removed(bool inRemoved) {
    return inRemoved ? api5::kPlexaMessageErrorCode_None : api5::kPlexaMessageErrorCode_InvalidParameter;
}

}  // namespace

Session::Session(SessionSetup inSetup)
    : mLimits(inSetup.settings.limits),
      mLogPool(kSegmentBytes, kSegmentsKept),
      mReadPool(kReadBytes, kReadBuffersKept),
      mAppId(inSetup.appId),
      mProcessId(::getpid()),
      mComplaints(std::move(inSetup.settings.complaints)),
      mCore(mLimits, mLogPool, {std::move(inSetup.appId), true, std::move(inSetup.interest), MakeNonce()}),
      mReader(mReadPool, mLimits, wire::Direction::kToClient),
      mConnector(std::move(inSetup.runtimeDirectory), std::move(inSetup.brokerProgram)) {}

std::shared_ptr<Session> Session::Start(SessionSetup inSetup) {
    std::shared_ptr<Session> session(new Session(std::move(inSetup)));
    const SignalsBlocked blocked;
    const std::scoped_lock lock(session->mMutex);
    std::thread delivery([session] {
        ::pthread_setname_np(::pthread_self(), "plexa-delivery");
        session->RunDelivery();
    });
    session->mDeliveryThread = delivery.get_id();
    delivery.detach();
    try {
        std::thread([session] {
            ::pthread_setname_np(::pthread_self(), "plexa-link");
            session->RunLink();
        }).detach();
    } catch (...) {
        session->mStopped = true;  // the first thread hasn't begun yet
        throw;
    }
    return session;
}

PlexaMessageErrorCode Session::AddListener(api5::IPlexaMessageListener* inListener) {
    if (inListener == nullptr) {
        return api5::kPlexaMessageErrorCode_InvalidParameter;
    }
    return Added(mListeners.Add(inListener, false));
}

PlexaMessageErrorCode Session::RemoveListener(api5::IPlexaMessageListener* inListener) {
    return Removed(mListeners.Remove(inListener));
}

PlexaMessageErrorCode Session::EnableListener(api5::IPlexaMessageListener* inListener) {
    const Change change = mListeners.SetActive(inListener, true);
    if (change == Change::kDone) {
        const std::scoped_lock lock(mMutex);
        mListening = true;
        mWanted = true;
        WakeLink();
        WakeDelivery();
    }
    return Answer(change);
}

PlexaMessageErrorCode Session::DisableListener(api5::IPlexaMessageListener* inListener) {
    return Answer(mListeners.SetActive(inListener, false));
}

PlexaMessageErrorCode Session::Register(api5::EndPointRefreshCallback inCallback, void* inContext) {
    if (inCallback == nullptr) {
        return api5::kPlexaMessageErrorCode_InvalidParameter;
    }
    // Under the lock, so that a refresh is told either by the delivery thread or here.
    const std::scoped_lock lock(mMutex);
    const bool added = mCallbacks.Add({inCallback, inContext}, mReady);
    if (added && mReady) {
        mRefreshDue = true;
        WakeDelivery();
    }
    return Added(added);
}

PlexaMessageErrorCode Session::Unregister(api5::EndPointRefreshCallback inCallback, void* inContext) {
    return Removed(mCallbacks.Remove({inCallback, inContext}));
}

api5::EndPoint Session::Self() const {
    const std::scoped_lock lock(mMutex);
    return mSelf;
}

bool Session::IsReady() const {
    const std::scoped_lock lock(mMutex);
    return mReady;
}

std::shared_ptr<const std::vector<api5::EndPoint>> Session::EndPoints() const {
    const std::scoped_lock lock(mMutex);
    return mEndPoints;
}

void Session::AfterForkInChild(std::shared_ptr<Session> inElder) noexcept {
    // A call that forked goes on in the copy as well, and returns into its delivery loop: that finds nothing.
    mElder = std::move(inElder);
    mStopped = true;
    mLeaving = true;
    mSocket.Close();
    // The wakers are shared with the other process, whose threads must not be woken.
    mDeliveryParked = false;
    mLinkParked = false;
    mMutex.unlock();
}

void Session::SetInterest(wire::Interest inInterest) {
    const std::scoped_lock lock(mMutex);
    mCore.SetInterest(std::move(inInterest));
    mFlushRequested = true;
    WakeLink();
}

void Session::Leave() {
    Lock lock(mMutex);
    mLeaving = true;
    mStopped = true;
    mLeaveBegan = std::chrono::steady_clock::now();
    WakeDelivery();
    WakeLink();
    mProgressed.notify_all();
    if (!OnDeliveryThread()) {
        mEndReached.wait_until(lock, mLeaveBegan + mLimits.linger, [this] { return mEnded; });
    }
}

}  // namespace orvane::plexa::message5
