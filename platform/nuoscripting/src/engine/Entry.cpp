#include "Entry.h"

#include <utility>

#include "EngineExtras.h"

namespace nuoscripting::engine {

namespace {

thread_local EngineContext* sCurrent = nullptr;

}  // namespace

EngineContext& EngineContext::Current() noexcept { return *sCurrent; }

EngineContext::Entry::Entry(EngineContext& ioContext) : mContext(ioContext), mBefore(sCurrent) {
    if (mContext.mDepth > 0) {
        mContext.mLimits->ThrowIfStopped();
    } else {
        mContext.ReleaseLost();
        mContext.mRejection.reset();
        JSLock(mContext.mContext);
        mContext.mLimits->Begin();
    }
    ++mContext.mDepth;
    sCurrent = &mContext;
}

EngineContext::Entry::~Entry() {
    if (mContext.mDepth == 1) {
        if (!mHasRunMicrotasks) {
            RunMicrotasks();
        }
        mContext.mLimits->End();
        JSUnlock(mContext.mContext);
    }
    --mContext.mDepth;
    sCurrent = mBefore;
    if (mContext.mDepth == 0) {
        mContext.ReleaseLost();  // with calls of its own, which have limits of their own
    }
}

void EngineContext::Entry::Do(const std::function<void()>& inWork) {
    // Each script of the work has the engine look at its time anew.
    mContext.mLimits->LookAfterCall();
    mContext.mLimits->ThrowIfStopped();
    mHasRunMicrotasks = false;
    inWork();
    Finish();
}

void EngineContext::Entry::Finish() {
    if (mContext.mDepth > 1) {
        mContext.mLimits->ThrowIfStopped();
        return;
    }
    RunMicrotasks();
    mContext.mLimits->Check();
    if (mContext.mRejection) {
        throw ScriptException(*std::exchange(mContext.mRejection, std::nullopt));
    }
}

void EngineContext::Entry::RunMicrotasks() {
    mHasRunMicrotasks = true;
    mContext.RunMicrotasks();
}

}  // namespace nuoscripting::engine
