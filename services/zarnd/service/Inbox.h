/// What other threads hand to the service's own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace orvane::plexa::zarnd {

/// A bounded queue from any thread to one taker. A full one holds the giver up: behind the delivery thread it
/// is the senders that wait then, as for every slow receiver, and no memory grows.
template <typename T>
class Inbox {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Inbox(std::size_t inMaxItems = 1024) : mMaxItems(inMaxItems) {}

    /// Adds an item, after a wait while the inbox is full. A closed one gives it back.
    std::optional<T> Put(T inItem) {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mIsClosed || mItems.size() < mMaxItems; });
        if (mIsClosed) return inItem;
        mItems.push_back(std::move(inItem));
        mChanged.notify_all();
        return std::nullopt;
    }

    /// The oldest item, after a wait for one; nothing when none comes in time, or any more.
    std::optional<T> Take(std::optional<Time> inUntil = {}) {
        std::unique_lock lock(mMutex);
        const auto isSettled = [this] { return mIsClosed || !mItems.empty(); };
        if (inUntil) {
            mChanged.wait_until(lock, *inUntil, isSettled);
        } else {
            mChanged.wait(lock, isSettled);
        }
        if (mItems.empty()) return std::nullopt;
        std::optional<T> item(std::move(mItems.front()));
        mItems.pop_front();
        mChanged.notify_all();
        return item;
    }

    /// Takes up nothing from now on, and lets givers that wait go on. What is in it stays to be taken.
    void Close() {
        const std::lock_guard lock(mMutex);
        mIsClosed = true;
        mChanged.notify_all();
    }

  private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<T> mItems;
    bool mIsClosed = false;
    std::size_t mMaxItems;
};

}  // namespace orvane::plexa::zarnd
