#include "nuocore/RecursiveMutex.h"

#include <chrono>
#include <string>

#include "nuocore/Assertion.h"

namespace nuocore::thread {

namespace {

// Values of RecursiveMutex::mWord. Contended is set only under the state lock and only while somebody waits
// there, so that an owner who finds the word merely held touches the mutex no more after giving it back:
// another thread may take it and destroy it at once.
constexpr std::uint32_t kFree = 0;
constexpr std::uint32_t kHeld = 1;
constexpr std::uint32_t kContended = 2;

std::atomic<LockObserver> sObserver{nullptr};

const char* NameOr(const char* inName, const char* inOtherwise) noexcept {
    return inName != nullptr ? inName : inOtherwise;
}

void RaiseTimeout(const char* inMutex, const char* inWaiter, const char* inHolder,
                  std::uint32_t inMilliseconds) noexcept {
    debug::AssertionRecord record{
        "RecursiveMutex", 0, "nuocore::thread::RecursiveMutex::Lock", "acquired in time", {}};
    try {
        record.mMessage = std::string("Lock ") + NameOr(inMutex, "(unnamed)") + " wanted by " +
                          NameOr(inWaiter, "(unnamed)") + " is held by " + NameOr(inHolder, "(unnamed)") +
                          " for more than " + std::to_string(inMilliseconds) + " ms";
    } catch (...) {  // no memory for the text: the record says what happened without it
        record.mMessage.clear();
    }
    debug::RaiseAssertion(record);
}

}  // namespace

RecursiveMutex::RecursiveMutex(const char* inName) noexcept : mName(inName) {}

RecursiveMutex::~RecursiveMutex() = default;

void RecursiveMutex::Lock(const char* inAcquirer, std::uint32_t inTimeoutMilliseconds) noexcept {
    if (const LockObserver observer = sObserver.load(std::memory_order_acquire)) {
        observer(*this, inAcquirer, inTimeoutMilliseconds);
    }
    const std::thread::id self = std::this_thread::get_id();
    // Only this thread ever stores its own id, so a relaxed look can't be wrong about it.
    if (mOwner.load(std::memory_order_relaxed) == self) {
        ++mDepth;
        return;
    }
    std::uint32_t expected = kFree;
    if (!mWord.compare_exchange_strong(expected, kHeld, std::memory_order_acquire,
                                       std::memory_order_relaxed)) {
        LockContended(inAcquirer, inTimeoutMilliseconds);
    }
    mOwner.store(self, std::memory_order_relaxed);
    mHolder.store(inAcquirer, std::memory_order_relaxed);
    mDepth = 1;
}

void RecursiveMutex::LockContended(const char* inAcquirer, std::uint32_t inTimeoutMilliseconds) noexcept {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(inTimeoutMilliseconds);
    std::unique_lock lock(mStateLock);
    ++mWaiters;
    bool reported = false;
    while (!TakeOrMarkContended()) {
        if (reported) {
            mReleased.wait(lock);
        } else if (mReleased.wait_until(lock, deadline) == std::cv_status::timeout &&
                   mWord.load(std::memory_order_relaxed) != kFree) {
            reported = true;
            const char* const holder = mHolder.load(std::memory_order_relaxed);
            // The handler may take a while, or this very mutex; this thread stays counted as a waiter.
            lock.unlock();
            RaiseTimeout(mName, inAcquirer, holder, inTimeoutMilliseconds);
            lock.lock();
        }
    }
    --mWaiters;
}

bool RecursiveMutex::TakeOrMarkContended() noexcept {
    const std::uint32_t taken = mWaiters > 1 ? kContended : kHeld;
    for (;;) {
        std::uint32_t seen = kFree;
        if (mWord.compare_exchange_strong(seen, taken, std::memory_order_acquire,
                                          std::memory_order_relaxed)) {
            return true;
        }
        if (seen == kContended ||
            mWord.compare_exchange_strong(seen, kContended, std::memory_order_relaxed)) {
            return false;
        }
    }
}

void RecursiveMutex::Unlock() noexcept {
    if (mOwner.load(std::memory_order_relaxed) != std::this_thread::get_id()) {
        debug::RaiseAssertion({"RecursiveMutex",
                               0,
                               "nuocore::thread::RecursiveMutex::Unlock",
                               "mOwner == std::this_thread::get_id()",
                               {}});
        return;
    }
    if (--mDepth > 0) {
        return;
    }
    mHolder.store(nullptr, std::memory_order_relaxed);
    mOwner.store(std::thread::id(), std::memory_order_relaxed);
    std::uint32_t expected = kHeld;
    if (mWord.compare_exchange_strong(expected, kFree, std::memory_order_release,
                                      std::memory_order_relaxed)) {
        return;
    }
    const std::lock_guard lock(mStateLock);
    mWord.store(kFree, std::memory_order_release);
    mReleased.notify_one();
}

LockObserver SetLockObserver(LockObserver inObserver) noexcept {
    return sObserver.exchange(inObserver, std::memory_order_acq_rel);
}

}  // namespace nuocore::thread
