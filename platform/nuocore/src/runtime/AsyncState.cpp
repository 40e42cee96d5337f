#include "nuocore/AsyncState.h"

#include <algorithm>

#include "nuocore/AsyncFuture.h"
#include "nuocore/Exception.h"

namespace nuocore::async::detail {

namespace {

// Longer waits are cut to this, so that the deadline can't overflow.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24 * 365);

std::exception_ptr MakeError(const char* inMessage, int inCode) noexcept {
    try {
        return std::make_exception_ptr(config::nuo_exception(StringValue(inMessage), inCode));
    } catch (...) {
        return std::current_exception();
    }
}

}  // namespace

Continuation::~Continuation() = default;

SharedState::SharedState(boost::shared_ptr<AsyncExecutor> inExecutor, std::shared_ptr<SharedState> inParent)
    : mExecutor(inExecutor ? std::move(inExecutor) : GetDefaultExecutor()), mParent(std::move(inParent)) {}

SharedState::~SharedState() = default;

bool SharedState::Claim() noexcept {
    const std::lock_guard lock(mLock);
    if (mPhase != Phase::kPending) {
        return false;
    }
    mPhase = Phase::kClaimed;
    return true;
}

void SharedState::Publish(std::exception_ptr inError) noexcept {
    // Continuations may drop whatever else holds this state, and the parent may be the last holder of more.
    const std::shared_ptr<SharedState> self = shared_from_this();
    const std::shared_ptr<SharedState> parent = std::move(mParent);
    std::vector<std::unique_ptr<Continuation>> continuations;
    {
        const std::lock_guard lock(mLock);
        mPhase = Phase::kReady;
        mError = std::move(inError);
        continuations.swap(mContinuations);
        mBecameReady.notify_all();
    }
    for (std::unique_ptr<Continuation>& continuation : continuations) {
        continuation->Run(self);
        continuation.reset();
    }
}

bool SharedState::Fail(std::exception_ptr inError) noexcept {
    if (!Claim()) {
        return false;
    }
    Publish(inError ? std::move(inError) : MakeError("", eUnknown));
    return true;
}

void SharedState::Attach(std::unique_ptr<Continuation> inContinuation) {
    {
        const std::lock_guard lock(mLock);
        if (mPhase != Phase::kReady) {
            mContinuations.push_back(std::move(inContinuation));
            return;
        }
    }
    inContinuation->Run(shared_from_this());
}

bool SharedState::IsReady() const noexcept {
    const std::lock_guard lock(mLock);
    return mPhase == Phase::kReady;
}

void SharedState::Wait() const {
    std::unique_lock lock(mLock);
    mBecameReady.wait(lock, [this] { return mPhase == Phase::kReady; });
}

bool SharedState::WaitFor(std::chrono::milliseconds inTimeout) const {
    std::unique_lock lock(mLock);
    return mBecameReady.wait_for(lock, std::min(inTimeout, kLongestWait),
                                 [this] { return mPhase == Phase::kReady; });
}

std::exception_ptr SharedState::GetError() const noexcept {
    const std::lock_guard lock(mLock);
    return mError;
}

PromiseSide::~PromiseSide() {
    if (const std::shared_ptr<SharedState> state = mState.lock()) {
        if (state->Claim()) {
            state->Publish(MakeError("Future: Broken Promise", kBrokenPromise));
        }
    }
}

void ThrowNoState() { throw config::nuo_exception(StringValue("Future: No State"), eUnknown); }

}  // namespace nuocore::async::detail
