// Continuations: when and where they run, and what they may do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/smart_ptr/make_shared.hpp>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "nuocore/Async.h"

namespace {

using namespace nuocore::async;

/// Keeps posted work until it is told to run or drop it.
class HandExecutor final : public AsyncExecutor {
  public:
    void Post(std::function<void()> inWork) override {
        if (mRefuses) {
            throw std::bad_alloc();
        }
        mWork.push_back(std::move(inWork));
    }
    void RunAll() {
        for (auto work = std::exchange(mWork, {}); auto& one : work) {
            one();
        }
    }

    bool mRefuses = false;
    std::vector<std::function<void()>> mWork;
};

template <typename T>
PromiseAndFuture<T> MakeInline() {
    return MakePromise<T>(GetInlineExecutor());
}

TEST(Continuation, RunsBeforeTheCompletingCallReturnsOnItsThread) {
    auto [promise, future] = MakePromise<void>(GetDefaultExecutor());
    std::thread::id ranOn;
    (void)future.Then([&ranOn](const Future<void>& inDone) {
        EXPECT_TRUE(inDone.IsReady());
        ranOn = std::this_thread::get_id();
    });
    promise.SetValue();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(Continuation, RunsAtOnceWhenTheFutureIsComplete) {
    const auto future = Future<int>::MakeReady(GetDefaultExecutor(), 4);
    int seen = 0;
    auto derived = future.Then([&seen](const Future<int>& inDone) { seen = inDone.Get(); });
    EXPECT_EQ(seen, 4);
    EXPECT_TRUE(derived.IsReady());
}

TEST(Continuation, RunsInTheOrderOfAttaching) {
    auto [promise, future] = MakeInline<void>();
    std::vector<int> order;
    for (int i = 0; i < 3; ++i) {
        (void)future.Then([&order, i](const Future<void>&) { order.push_back(i); });
    }
    promise.SetValue();
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2));
}

TEST(Continuation, IsReleasedBeforeTheNextOneRuns) {
    auto [promise, future] = MakeInline<void>();
    auto captured = std::make_shared<int>(0);
    (void)future.Then([captured](const Future<void>&) {});
    long holders = 0;
    (void)future.Then([&](const Future<void>&) { holders = captured.use_count(); });
    promise.SetValue();
    EXPECT_EQ(holders, 1);
}

TEST(Continuation, MayAttachContinuations) {
    auto [promise, future] = MakeInline<void>();
    int runs = 0;
    (void)future.Then(
        [&runs](const Future<void>& inDone) { (void)inDone.Then([&runs](const Future<void>&) { ++runs; }); });
    promise.SetValue();
    EXPECT_EQ(runs, 1);
}

TEST(Continuation, MaySetOtherPromisesAndItsOwnAgain) {
    auto [promise, future] = MakeInline<void>();
    auto [other, otherFuture] = MakeInline<int>();
    bool again = true;
    (void)future.Then([&again, own = promise, setting = other](const Future<void>&) {
        again = own.SetValue();
        setting.SetValue(9);
    });
    promise.SetValue();
    EXPECT_FALSE(again);
    EXPECT_EQ(otherFuture.Get(), 9);
}

TEST(Continuation, MayDropTheLastFutureAndThePromise) {
    auto pair = std::make_unique<PromiseAndFuture<void>>(MakeInline<void>());
    bool ran = false;
    (void)pair->mFuture.Then([&pair, &ran](const Future<void>&) {
        pair.reset();
        ran = true;
    });
    const Promise<void> promise = pair->mPromise;
    EXPECT_TRUE(promise.SetValue());
    EXPECT_TRUE(ran);
    EXPECT_EQ(pair, nullptr);
}

/// Uses a future while it is destroyed; hangs when the state's lock is held then.
class AsksWhenDestroyed {
  public:
    AsksWhenDestroyed(Future<void>& inFuture, bool& outAsked) : mFuture(&inFuture), mAsked(&outAsked) {}
    AsksWhenDestroyed(const AsksWhenDestroyed&) = delete;
    AsksWhenDestroyed& operator=(const AsksWhenDestroyed&) = delete;
    ~AsksWhenDestroyed() {
        *mAsked = mFuture->IsReady();
        (void)mFuture->Then([](const Future<void>&) {});
    }

  private:
    Future<void>* mFuture;
    bool* mAsked;
};

TEST(Continuation, HasItsCaptureDestroyedOutsideTheLock) {
    auto [promise, created] = MakeInline<void>();
    Future<void> future = created;
    bool asked = false;
    auto captured = std::make_shared<AsksWhenDestroyed>(future, asked);
    (void)future.Then([held = std::move(captured)](const Future<void>&) {});
    promise.SetValue();
    EXPECT_TRUE(asked);
}

TEST(Continuation, ThatThrowsDoesNotKeepTheNextFromRunning) {
    auto [promise, future] = MakeInline<void>();
    bool ran = false;
    (void)future.Then([](const Future<void>&) { throw std::runtime_error("first"); });
    (void)future.Then([&ran](const Future<void>&) { ran = true; });
    promise.SetValue();
    EXPECT_TRUE(ran);
}

TEST(Continuation, OfThenOnIsPostedToTheExecutor) {
    auto executor = boost::make_shared<HandExecutor>();
    auto [promise, future] = MakeInline<int>();
    auto derived = future.ThenOn(executor, [](const Future<int>& inDone) { return inDone.Get() + 1; });
    promise.SetValue(1);
    EXPECT_FALSE(derived.IsReady());
    ASSERT_EQ(executor->mWork.size(), 1U);
    executor->RunAll();
    EXPECT_EQ(derived.Get(), 2);
    EXPECT_EQ(derived.GetExecutor(), executor);
}

TEST(Continuation, OfThenOnIsReleasedAfterItRan) {
    auto executor = boost::make_shared<HandExecutor>();
    auto [promise, future] = MakeInline<void>();
    auto captured = std::make_shared<int>(0);
    auto derived = future.ThenOn(executor, [captured](const Future<void>&) {});
    promise.SetValue();
    executor->RunAll();
    EXPECT_TRUE(derived.IsReady());
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(Continuation, ThatTheExecutorRefusesFailsTheDerivedFuture) {
    auto executor = boost::make_shared<HandExecutor>();
    executor->mRefuses = true;
    auto [promise, future] = MakeInline<void>();
    auto derived = future.ThenOn(executor, [](const Future<void>&) {});
    EXPECT_TRUE(promise.SetValue());
    EXPECT_THROW(derived.Get(), std::bad_alloc);
}

TEST(Continuation, ThatTheExecutorDropsBreaksTheDerivedFuture) {
    auto executor = boost::make_shared<HandExecutor>();
    auto [promise, future] = MakeInline<void>();
    auto derived = future.ThenOn(executor, [](const Future<void>&) {});
    promise.SetValue();
    EXPECT_FALSE(derived.IsReady());
    executor->mWork.clear();
    EXPECT_THROW(derived.Get(), nuocore::config::nuo_exception);
}

TEST(Continuation, RunsExactlyOnceWhenAttachedWhileTheFutureIsBeingCompleted) {
    constexpr int kRounds = 300;
    constexpr int kAttachers = 3;
    for (int round = 0; round < kRounds; ++round) {
        auto [promise, future] = MakeInline<int>();
        std::atomic<int> runs{0};
        std::atomic<int> wins{0};
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        threads.reserve(kAttachers + 2);
        for (int i = 0; i < kAttachers; ++i) {
            threads.emplace_back([&go, &runs, copy = future] {
                while (!go) {
                    std::this_thread::yield();
                }
                (void)copy.Then([&runs](const Future<int>& inDone) { runs += inDone.Get(); });
            });
        }
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&go, &wins, copy = promise] {
                while (!go) {
                    std::this_thread::yield();
                }
                wins += copy.SetValue(1) ? 1 : 0;
            });
        }
        go = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(runs, kAttachers);
        ASSERT_EQ(wins, 1);
    }
}

TEST(Continuation, SurvivesAFutureThatIsDroppedWhileItIsBeingCompleted) {
    constexpr int kRounds = 300;
    for (int round = 0; round < kRounds; ++round) {
        auto pair = MakeInline<int>();
        auto captured = std::make_shared<int>(0);
        auto derived = std::make_optional(pair.mFuture.Then([captured](const Future<int>&) {}));
        std::thread setter([promise = std::move(pair.mPromise)] { promise.SetValue(1); });
        pair.mFuture = Future<int>();
        derived.reset();
        setter.join();
        ASSERT_EQ(captured.use_count(), 1);
    }
}

}  // namespace
