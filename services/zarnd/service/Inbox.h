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

/// Items of which only the number counts.
struct Weightless {
    template <typename T>
    std::size_t operator()(const T& /*inItem*/) const noexcept {
        return 0;
    }
};

/// A bounded queue from any thread to one taker: so many items, of so much weight together unless it is a
/// single one. A full one holds the giver up: behind the delivery thread it is the senders that wait then, as
/// for every slow receiver, and no memory grows.
template <typename T, typename Weigh = Weightless>
class Inbox {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Inbox(std::size_t inMaxItems = 1024, std::size_t inMaxWeight = 0)
        : mMaxItems(inMaxItems), mMaxWeight(inMaxWeight) {}

    /// Adds an item, after a wait while the inbox is full. A closed one gives it back.
    std::optional<T> Put(T inItem) {
        return PutAfter(std::move(inItem), [](const T&) { return false; });
    }

    /// The same for an item that may make the one just before it needless, which goes then. All others keep
    /// their order.
    template <typename IsNeedless>
    std::optional<T> PutAfter(T inItem, IsNeedless inIsNeedless) {
        const std::size_t weight = Weigh()(inItem);
        std::unique_lock lock(mMutex);
        if (!mIsClosed && !mItems.empty() && inIsNeedless(mItems.back())) {
            mWeight -= Weigh()(mItems.back());
            mItems.pop_back();
        }
        mChanged.wait(lock, [&] {
            return mIsClosed || mItems.empty() ||
                   (mItems.size() < mMaxItems && mWeight + weight <= mMaxWeight);
        });
        if (mIsClosed) return inItem;
        mWeight += weight;
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
        mWeight -= Weigh()(*item);
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
    std::size_t mWeight = 0;
    bool mIsClosed = false;
    std::size_t mMaxItems;
    std::size_t mMaxWeight;
};

}  // namespace orvane::plexa::zarnd
