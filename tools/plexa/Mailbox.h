/// What the delivery thread hands to the main thread.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "Failure.h"

namespace orvane::plexa::tool {

/// A bounded queue from any thread to one taker. A full one holds the giver up: behind the delivery thread
/// it is the broker and the senders that wait, as for every slow receiver, and no memory grows.
template <typename T>
class Mailbox {
  public:
    /// Throws `Failure` when the system gives no descriptor.
    explicit Mailbox(std::size_t inMaxItems = 256)
        : mMaxItems(inMaxItems), mFilled(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
        if (mFilled < 0) {
            throw Failure(kExitFailure, "cannot start: the system gives no more file descriptors");
        }
    }
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;
    ~Mailbox() { ::close(mFilled); }

    /// Adds an item, after a wait while the mailbox is full. A closed mailbox drops it.
    void Put(T inItem) {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mIsClosed || mItems.size() < mMaxItems; });
        if (mIsClosed) return;
        mItems.push_back(std::move(inItem));
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t ignored = ::write(mFilled, &one, sizeof one);
    }

    /// Readable while there is something to take.
    [[nodiscard]] int Descriptor() const noexcept { return mFilled; }

    /// Takes the oldest item, if there is one.
    std::optional<T> Take() {
        const std::lock_guard lock(mMutex);
        if (mItems.empty()) return std::nullopt;
        std::uint64_t one = 0;
        [[maybe_unused]] const ssize_t ignored = ::read(mFilled, &one, sizeof one);
        std::optional<T> item(std::move(mItems.front()));
        mItems.pop_front();
        mChanged.notify_one();
        return item;
    }

    /// Drops what comes from now on, and lets a giver that waits go on.
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
    int mFilled;
};

}  // namespace orvane::plexa::tool
