#include "WorkQueue.h"

#include <iterator>
#include <utility>

#include "Durations.h"
#include "HostFailure.h"

namespace nuoscripting::detail {

WorkQueue::WorkQueue(std::function<void()> inOnWork) : mOnWork(std::move(inOnWork)) {}

bool WorkQueue::Push(std::function<void()> inWork) {
    {
        const std::lock_guard lock(mLock);
        if (mIsClosed) {
            return false;
        }
        mWork.push_back(std::move(inWork));
    }
    mChanged.notify_all();
    if (mOnWork) {
        Tell();
    }
    return true;
}

void WorkQueue::Tell() noexcept {
    const std::lock_guard telling(mTelling);
    {
        const std::lock_guard lock(mLock);
        if (mIsClosed) {
            return;
        }
    }
    try {
        mOnWork();
    } catch (...) {
        LogHostFailure("mOnPendingWork");
    }
}

std::deque<std::function<void()>> WorkQueue::Take() {
    const std::lock_guard lock(mLock);
    return std::exchange(mWork, {});
}

void WorkQueue::PutBack(std::deque<std::function<void()>> inWork) {
    if (inWork.empty()) {
        return;
    }
    {
        const std::lock_guard lock(mLock);
        mWork.insert(mWork.begin(), std::make_move_iterator(inWork.begin()),
                     std::make_move_iterator(inWork.end()));
    }
    if (mOnWork) {
        Tell();
    }
}

bool WorkQueue::WaitFor(std::chrono::milliseconds inLimit) {
    std::unique_lock lock(mLock);
    return mChanged.wait_for(lock, Bounded(inLimit), [this] { return !mWork.empty(); });
}

void WorkQueue::Close() {
    std::deque<std::function<void()>> dropped;  // goes after the lock: what it holds may call back
    {
        const std::lock_guard lock(mLock);
        mIsClosed = true;
        dropped.swap(mWork);
    }
    const std::lock_guard told(mTelling);
}

}  // namespace nuoscripting::detail
