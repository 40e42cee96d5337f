#include "nuoscripting/Threads.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "Durations.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting {

namespace {

struct UIThread {
    boost::shared_ptr<nuocore::async::AsyncExecutor> mExecutor;
    std::function<bool()> mIsCurrent;
};

std::mutex sLock;
UIThread& Current() {
    static auto* const sCurrent =
        new UIThread;  // never destroyed: contexts may outlive this library's statics
    return *sCurrent;
}

UIThread Get() {
    const std::lock_guard lock(sLock);
    if (!Current().mExecutor) {
        throw ScriptError("there is no UI thread: the host has named none");
    }
    return Current();
}

// A call that its caller may stop waiting for.
class Call {
  public:
    explicit Call(std::function<void()> inFunction) : mFunction(std::move(inFunction)) {}

    void Run() {
        {
            const std::lock_guard lock(mLock);
            if (mState != State::kWaiting) {
                return;
            }
            mState = State::kRunning;
        }
        std::exception_ptr error;
        try {
            mFunction();
        } catch (...) {
            error = std::current_exception();
        }
        const std::lock_guard lock(mLock);
        mError = error;
        mState = State::kDone;
        mChanged.notify_all();
    }

    // Whether it came to its end; otherwise it will not be begun any more.
    bool Await(std::chrono::milliseconds inTimeout) {
        std::unique_lock lock(mLock);
        if (mChanged.wait_for(lock, detail::Bounded(inTimeout), [this] { return mState == State::kDone; })) {
            return true;
        }
        if (mState == State::kWaiting) {
            mState = State::kDone;
        }
        return false;
    }

    [[nodiscard]] std::exception_ptr GetError() const { return mError; }

  private:
    enum class State { kWaiting, kRunning, kDone };

    const std::function<void()> mFunction;
    std::mutex mLock;
    std::condition_variable mChanged;
    State mState = State::kWaiting;
    std::exception_ptr mError;
};

}  // namespace

void SetUIThread(boost::shared_ptr<nuocore::async::AsyncExecutor> inExecutor,
                 std::function<bool()> inIsCurrent) {
    UIThread next{std::move(inExecutor), std::move(inIsCurrent)};
    const std::lock_guard lock(sLock);
    std::swap(Current(), next);
}

void PostToUIThread(std::function<void()> inFunction) { Get().mExecutor->Post(std::move(inFunction)); }

void DirectVoidCallOnUIThread(std::function<void()> inFunction, std::chrono::milliseconds inTimeout) {
    const UIThread thread = Get();
    if (thread.mIsCurrent && thread.mIsCurrent()) {
        inFunction();
        return;
    }
    const auto call = std::make_shared<Call>(std::move(inFunction));
    thread.mExecutor->Post([call] { call->Run(); });
    if (!call->Await(inTimeout)) {
        throw ScriptError("the UI thread did not answer within " + std::to_string(inTimeout.count()) + " ms");
    }
    if (const std::exception_ptr error = call->GetError()) {
        std::rethrow_exception(error);
    }
}

}  // namespace nuoscripting
