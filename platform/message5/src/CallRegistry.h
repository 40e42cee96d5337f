/// Who is to be called on the delivery thread. Operations never wait for a call, except taking one back from
/// another thread while just that one is being called.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace orvane::plexa::message5 {

/// `Callee` is a small value with ==. Any thread; `CallActive` on one thread, named to SetCaller first.
template <typename Callee>
class CallRegistry {
  public:
    /// Calls to come are made by the thread that calls this.
    void SetCaller() {
        const std::scoped_lock lock(mMutex);
        mCaller = std::this_thread::get_id();
    }

    /// False when it is registered already.
    bool Add(const Callee& inCallee, bool inActive) {
        const std::scoped_lock lock(mMutex);
        if (Find(inCallee) != mEntries.end()) {
            return false;
        }
        mEntries.push_back({inCallee, ++mLastId, inActive});
        return true;
    }

    /// False when it isn't registered. Otherwise it is not being called any more, unless this is called
    /// inside the call.
    bool Remove(const Callee& inCallee) {
        std::unique_lock lock(mMutex);
        const auto found = Find(inCallee);
        if (found == mEntries.end()) {
            return false;
        }
        const std::uint64_t id = found->id;
        mEntries.erase(found);
        AwaitEnd(lock, id);
        return true;
    }

    enum class Change : std::uint8_t { kUnknown, kNone, kDone };
    /// Switching off waits as Remove does.
    Change SetActive(const Callee& inCallee, bool inActive) {
        std::unique_lock lock(mMutex);
        const auto found = Find(inCallee);
        if (found == mEntries.end()) {
            return Change::kUnknown;
        }
        const std::uint64_t id = found->id;
        const bool changed = found->active != inActive;
        found->active = inActive;
        if (!inActive) {
            AwaitEnd(lock, id);
        }
        return changed ? Change::kDone : Change::kNone;
    }

    void ActivateAll() {
        const std::scoped_lock lock(mMutex);
        for (Entry& entry : mEntries) {
            entry.active = true;
        }
    }

    /// Calls inCall with each active entry, oldest first; those that are taken back meanwhile are left out,
    /// and those that are added meanwhile, also again, wait for the next time. inOnce: an entry that is
    /// called is active no more. inCall must not throw.
    template <typename Call>
    void CallActive(bool inOnce, const Call& inCall) {
        std::unique_lock lock(mMutex);
        const std::uint64_t newest = mLastId;
        for (std::uint64_t last = 0;;) {
            const auto next = std::find_if(mEntries.begin(), mEntries.end(), [&](const Entry& e) {
                return e.id > last && e.id <= newest && e.active;
            });
            if (next == mEntries.end()) {
                return;
            }
            last = next->id;
            next->active = !inOnce;
            const Callee callee = next->callee;
            mRunning = last;
            ++mCalls;
            lock.unlock();
            inCall(callee);
            lock.lock();
            mRunning = 0;
            if (mWaiters != 0) {
                mEnded.notify_all();
            }
        }
    }

  private:
    struct Entry {
        Callee callee;
        std::uint64_t id;
        bool active;
    };

    auto Find(const Callee& inCallee) {
        return std::find_if(mEntries.begin(), mEntries.end(),
                            [&](const Entry& inEntry) { return inEntry.callee == inCallee; });
    }

    void AwaitEnd(std::unique_lock<std::mutex>& ioLock, std::uint64_t inId) {
        if (mRunning != inId || std::this_thread::get_id() == mCaller) {
            return;
        }
        // The same one may be called again before this thread runs, if it is switched on again.
        const std::uint64_t call = mCalls;
        ++mWaiters;
        mEnded.wait(ioLock, [&] { return mRunning != inId || mCalls != call; });
        --mWaiters;
    }

    std::mutex mMutex;
    std::condition_variable mEnded;
    std::vector<Entry> mEntries;  // by id
    std::uint64_t mLastId = 0;
    std::uint64_t mRunning = 0;  // id of the entry being called
    std::uint64_t mCalls = 0;
    int mWaiters = 0;
    std::thread::id mCaller;
};

}  // namespace orvane::plexa::message5
