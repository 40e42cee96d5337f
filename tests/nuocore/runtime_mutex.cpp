// The lock: exclusion, recursion, time-outs, and life from the first to the last moment of a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "nuocore/RecursiveMutex.h"
#include "runtime_support.h"

namespace {

using nuocore::thread::RecursiveMutex;
using nuocore::thread::ScopedLock;
using nuocore::thread::SetLockObserver;
using runtime_test::AssertionRecorder;
using runtime_test::FreshProcessDeathTest;

constexpr std::uint32_t kLong = 60000;

// The compile-time analysis of locks knows no recursion and refuses wrong use; these go past it.
void TakeAgain(RecursiveMutex& inMutex, const char* inAcquirer, std::uint32_t inMilliseconds)
    NUOCORE_THREAD_ANNOTATION(no_thread_safety_analysis) {
    inMutex.Lock(inAcquirer, inMilliseconds);
}
void GiveBack(RecursiveMutex& inMutex) NUOCORE_THREAD_ANNOTATION(no_thread_safety_analysis) {
    inMutex.Unlock();
}

// Taken while the program's static objects are made.
const bool sTakenEarly = [] {
    RecursiveMutex mutex("early");
    const ScopedLock lock(mutex, "StaticInitialisation", kLong);
    return true;
}();

std::atomic<bool> sLockAtTheVeryEnd{false};

// Runs after the program's static objects have been destroyed.
__attribute__((destructor)) void LockAtTheVeryEnd() {
    if (sLockAtTheVeryEnd) {
        static auto* const sMutex = new RecursiveMutex("late");
        std::thread other;
        {
            const ScopedLock lock(*sMutex, "First", kLong);
            other = std::thread([] { const ScopedLock second(*sMutex, "Second", 1); });
        }
        other.join();
        (void)std::fputs("locked late\n", stderr);
    }
}

TEST(RecursiveMutex, KeepsItsName) {
    EXPECT_STREQ(RecursiveMutex("name").GetName(), "name");
    EXPECT_EQ(RecursiveMutex().GetName(), nullptr);
}

TEST(RecursiveMutex, MayBeTakenDuringStaticInitialisation) { EXPECT_TRUE(sTakenEarly); }

TEST(RecursiveMutex, LetsOneThreadInAtATime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    RecursiveMutex mutex;
    int counter = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const ScopedLock lock(mutex, "Count", kLong);
                TakeAgain(mutex, "CountAgain", kLong);
                ++counter;
                GiveBack(mutex);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
}

TEST(RecursiveMutex, IsFreeOnlyAfterAsManyUnlocksAsLocks) {
    RecursiveMutex mutex;
    std::atomic<bool> entered{false};
    std::atomic<bool> waiting{false};
    mutex.Lock("Outer", kLong);
    TakeAgain(mutex, "Inner", kLong);
    std::thread other([&] {
        waiting = true;
        const ScopedLock lock(mutex, "Other", kLong);
        entered = true;
    });
    while (!waiting) {
        std::this_thread::yield();
    }
    GiveBack(mutex);
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
        EXPECT_FALSE(entered);
    }
    mutex.Unlock();
    other.join();
    EXPECT_TRUE(entered);
}

/// An assertion handler that keeps the messages and lets a test wait for one.
class AssertionWaiter {
  public:
    AssertionWaiter()
        : mBefore(nuocore::debug::SetAssertionHandler([this](const auto& inRecord) {
              const std::lock_guard lock(mLock);
              mMessages.push_back(inRecord.mMessage);
              mArrived.notify_all();
              return false;
          })) {}
    AssertionWaiter(const AssertionWaiter&) = delete;
    AssertionWaiter& operator=(const AssertionWaiter&) = delete;
    ~AssertionWaiter() { nuocore::debug::SetAssertionHandler(mBefore); }

    /// Waits for a message that contains `inText`.
    bool WaitFor(const std::string& inText) {
        const auto contains = [&inText](const std::string& inMessage) {
            return inMessage.find(inText) != std::string::npos;
        };
        std::unique_lock lock(mLock);
        return mArrived.wait_for(lock, runtime_test::kDeadline, [this, &contains] {
            return std::any_of(mMessages.begin(), mMessages.end(), contains);
        });
    }
    std::vector<std::string> Messages() {
        const std::lock_guard lock(mLock);
        return mMessages;
    }

  private:
    std::mutex mLock;
    std::condition_variable mArrived;
    std::vector<std::string> mMessages;
    nuocore::debug::AssertionHandler mBefore;
};

TEST(RecursiveMutex, NamesEachWaiterAndTheHolderOnceWhenTheTimeIsOverAndWaitsOn) {
    AssertionWaiter assertions;
    RecursiveMutex mutex("registry");
    int entered = 0;
    mutex.Lock("Holder", kLong);
    std::thread first([&] {
        const ScopedLock lock(mutex, "First", 1);
        ++entered;
    });
    EXPECT_TRUE(assertions.WaitFor("First"));
    std::thread second([&] {
        const ScopedLock lock(mutex, "Second", 20);
        ++entered;
    });
    EXPECT_TRUE(assertions.WaitFor("Second"));
    EXPECT_EQ(entered, 0);
    mutex.Unlock();
    first.join();
    second.join();
    EXPECT_EQ(entered, 2);
    EXPECT_THAT(assertions.Messages(),
                testing::ElementsAre("Lock registry wanted by First is held by Holder for more than 1 ms",
                                     "Lock registry wanted by Second is held by Holder for more than 20 ms"));
}

TEST(RecursiveMutex, ReportsATimeOutWithoutNames) {
    AssertionWaiter assertions;
    RecursiveMutex mutex;
    mutex.Lock(nullptr, kLong);
    std::thread waiter([&] { const ScopedLock lock(mutex, nullptr, 0); });
    EXPECT_TRUE(assertions.WaitFor("(unnamed)"));
    mutex.Unlock();
    waiter.join();
    EXPECT_THAT(
        assertions.Messages(),
        testing::ElementsAre("Lock (unnamed) wanted by (unnamed) is held by (unnamed) for more than 0 ms"));
}

TEST(RecursiveMutex, WakesEveryWaiterInTurnWhenTimesRunOut) {
    const AssertionRecorder assertions;
    constexpr int kThreads = 8;
    constexpr int kRounds = 200;
    RecursiveMutex mutex("busy");
    int counter = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const ScopedLock lock(mutex, "Turn", 0);
                ++counter;
                std::this_thread::yield();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
}

TEST(RecursiveMutex, MayBeDestroyedByWhoeverTakesItNext) {
    constexpr int kRounds = 2000;
    for (int round = 0; round < kRounds; ++round) {
        auto mutex = std::make_unique<RecursiveMutex>();
        std::atomic<bool> held{false};
        std::thread other([&held, raw = mutex.get()] {
            raw->Lock("Giver", kLong);
            held = true;
            raw->Unlock();
        });
        while (!held) {
            std::this_thread::yield();
        }
        mutex->Lock("Taker", kLong);
        mutex->Unlock();
        mutex.reset();
        other.join();
    }
}

TEST(RecursiveMutex, AssertsWhenAThreadGivesBackWhatItDoesNotHold) {
    const AssertionRecorder assertions;
    RecursiveMutex mutex;
    GiveBack(mutex);
    mutex.Lock("Holder", kLong);
    std::thread([&] { GiveBack(mutex); }).join();
    EXPECT_EQ(assertions.Records().size(), 2U);
    mutex.Unlock();
    EXPECT_EQ(assertions.Records().size(), 2U) << "the holder still held it";
}

std::vector<std::string> sObserved;

void Observe(const RecursiveMutex& inMutex, const char* inAcquirer, std::uint32_t inMilliseconds) {
    sObserved.push_back(std::string(inMutex.GetName()) + " " + inAcquirer + " " +
                        std::to_string(inMilliseconds));
}

TEST(LockObserver, SeesEachAcquisition) {
    RecursiveMutex mutex("seen");
    sObserved.clear();
    EXPECT_EQ(SetLockObserver(Observe), nullptr);
    {
        const ScopedLock lock(mutex, "Outer", 60000);
        TakeAgain(mutex, "Inner", 1);
        GiveBack(mutex);
    }
    EXPECT_EQ(SetLockObserver(nullptr), Observe);
    { const ScopedLock lock(mutex, "Unseen", 1); }
    EXPECT_THAT(sObserved, testing::ElementsAre("seen Outer 60000", "seen Inner 1"));
}

using RecursiveMutexDeathTest = FreshProcessDeathTest;

TEST_F(RecursiveMutexDeathTest, MayBeTakenAfterStaticDestruction) {
    EXPECT_EXIT(
        {
            sLockAtTheVeryEnd = true;
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "locked late");
}

}  // namespace
