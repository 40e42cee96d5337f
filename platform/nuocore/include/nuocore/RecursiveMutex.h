/// The core library's lock.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "nuocore/ThreadAnnotations.h"
#include "nuocore/export.h"

namespace nuocore::thread {

/// A recursive mutex whose acquisitions are named and timed, so that a lock held for too long names its
/// holder. It may be taken from static initialisation on until after static destruction, by whoever still
/// has it alive. Any thread.
class NUOCORE_API NUOCORE_CAPABILITY("mutex") RecursiveMutex {
  public:
    /// `inName` shows in diagnostics; null for a mutex without a name. It must outlive the mutex.
    explicit RecursiveMutex(const char* inName = nullptr) noexcept;
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;
    ~RecursiveMutex();

    /// Takes the lock, again if this thread has it. `inAcquirer` is the qualified name of the acquiring
    /// function, a text that lives as long as the program. When `inTimeoutMilliseconds` pass without success,
    /// one assertion ("Lock NAME wanted by WAITER is held by HOLDER for more than N ms") names the waiting
    /// and the holding function, and the call waits on; it never gives up and never throws. A null name
    /// stands for "(unnamed)".
    void Lock(const char* inAcquirer, std::uint32_t inTimeoutMilliseconds) noexcept NUOCORE_ACQUIRE();
    /// Gives the lock back once. Only the holder may call it: from any other thread it raises an assertion
    /// and does nothing.
    void Unlock() noexcept NUOCORE_RELEASE();

    [[nodiscard]] const char* GetName() const noexcept { return mName; }

  private:
    void LockContended(const char* inAcquirer, std::uint32_t inTimeoutMilliseconds) noexcept;
    bool TakeOrMarkContended() noexcept;

    const char* const mName;
    std::atomic<std::uint32_t> mWord{0};
    std::atomic<std::thread::id> mOwner{};
    std::uint32_t mDepth = 0;
    std::atomic<const char*> mHolder{nullptr};  // read by waiters for diagnostics
    std::mutex mStateLock;
    std::condition_variable mReleased;
    std::uint32_t mWaiters = 0;  // under mStateLock
};

/// Called for each acquisition before it may wait, for diagnostics and tests; it must not take a
/// `RecursiveMutex`.
using LockObserver = void (*)(const RecursiveMutex& inMutex, const char* inAcquirer,
                              std::uint32_t inTimeoutMilliseconds);
/// Installs an observer for the whole process and returns the one before it; null for none.
NUOCORE_API LockObserver SetLockObserver(LockObserver inObserver) noexcept;

/// Holds a `RecursiveMutex` for a scope.
class NUOCORE_SCOPED_CAPABILITY ScopedLock {
  public:
    ScopedLock(RecursiveMutex& inMutex, const char* inAcquirer, std::uint32_t inTimeoutMilliseconds) noexcept
        NUOCORE_ACQUIRE(inMutex)
        : mMutex(inMutex) {
        mMutex.Lock(inAcquirer, inTimeoutMilliseconds);
    }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;
    ~ScopedLock() NUOCORE_RELEASE() { mMutex.Unlock(); }

  private:
    RecursiveMutex& mMutex;
};

}  // namespace nuocore::thread
