// Futures and promises: results, and who holds what.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "nuocore/Async.h"
#include "runtime_support.h"

namespace {

using namespace nuocore::async;
using nuocore::config::nuo_exception;

template <typename T>
PromiseAndFuture<T> MakeInline() {
    return MakePromise<T>(GetInlineExecutor());
}

int CodeOf(const std::exception_ptr& inError) {
    try {
        std::rethrow_exception(inError);
    } catch (const nuo_exception& error) {
        return error.GetCode();
    } catch (...) {
        return 0;
    }
}

std::string MessageOf(const std::exception_ptr& inError) {
    try {
        std::rethrow_exception(inError);
    } catch (const nuo_exception& error) {
        return std::string(std::string_view(error.GetMessageText()));
    } catch (const std::exception& error) {
        return error.what();
    }
}

TEST(Future, GivesTheValueOfItsPromise) {
    auto [promise, future] = MakeInline<std::string>();
    EXPECT_FALSE(future.IsReady());
    EXPECT_TRUE(promise.SetValue("text"));
    EXPECT_TRUE(future.IsReady());
    EXPECT_EQ(future.Get(), "text");
    EXPECT_EQ(future.GetException(), nullptr);
}

TEST(Future, OfVoidIsCompletedWithoutAValue) {
    auto [promise, future] = MakeInline<void>();
    EXPECT_TRUE(promise.SetValue());
    EXPECT_TRUE(future.IsReady());
    EXPECT_NO_THROW(future.Get());
}

TEST(Future, ThrowsTheExceptionOfItsPromiseEachTime) {
    auto [promise, future] = MakeInline<int>();
    EXPECT_TRUE(promise.SetException(std::make_exception_ptr(std::out_of_range("far"))));
    EXPECT_THROW(future.Get(), std::out_of_range);
    EXPECT_THROW(future.Get(), std::out_of_range);
    EXPECT_NE(future.GetException(), nullptr);
}

TEST(Future, TakesOnlyTheFirstResult) {
    auto [promise, future] = MakeInline<int>();
    const Promise<int> copy = promise;
    EXPECT_TRUE(promise.SetValue(1));
    EXPECT_FALSE(copy.SetValue(2));
    EXPECT_FALSE(copy.SetException(std::make_exception_ptr(std::runtime_error("late"))));
    EXPECT_EQ(future.Get(), 1);
}

TEST(Future, TakesANullExceptionAsUnknown) {
    auto [promise, future] = MakeInline<void>();
    EXPECT_TRUE(promise.SetException(nullptr));
    EXPECT_EQ(CodeOf(future.GetException()), nuocore::eUnknown);
}

struct ThrowsWhenMade {
    explicit ThrowsWhenMade(int /*inValue*/) { throw std::length_error("no room"); }
};

TEST(Future, FailsWhenMakingItsValueThrows) {
    auto [promise, future] = MakeInline<ThrowsWhenMade>();
    EXPECT_TRUE(promise.SetValue(1));
    EXPECT_THROW(future.Get(), std::length_error);
}

TEST(Future, CarriesValuesThatOnlyMove) {
    auto [promise, future] = MakeInline<std::unique_ptr<int>>();
    promise.SetValue(std::make_unique<int>(7));
    EXPECT_EQ(*future.Get(), 7);
}

TEST(Future, GivesACopyWhenItIsATemporary) {
    EXPECT_EQ(Future<std::string>::MakeReady(GetInlineExecutor(), "kept").Get(), "kept");
}

TEST(Future, CanBeMadeReadyOrFailed) {
    EXPECT_TRUE(Future<void>::MakeReady(GetInlineExecutor()).IsReady());
    const auto failed =
        Future<void>::MakeFailed(GetInlineExecutor(), std::make_exception_ptr(nuo_exception("", 5)));
    EXPECT_TRUE(failed.IsReady());
    EXPECT_EQ(CodeOf(failed.GetException()), 5);
}

TEST(Future, WithoutAStateThrowsWhenAsked) {
    const Future<int> none;
    EXPECT_FALSE(none.IsValid());
    EXPECT_THROW((void)none.IsReady(), nuo_exception);
    EXPECT_THROW((void)none.Get(), nuo_exception);
    EXPECT_THROW((void)none.Then([](const Future<int>&) {}), nuo_exception);
    EXPECT_FALSE(Promise<int>().SetValue(1));
}

TEST(Future, StandsOnTheExecutorItWasMadeOn) {
    EXPECT_EQ(MakeInline<int>().mFuture.GetExecutor(), GetInlineExecutor());
    EXPECT_EQ(MakePromise<int>(nullptr).mFuture.GetExecutor(), GetDefaultExecutor());
}

TEST(Future, WaitsForAnotherThread) {
    auto [promise, future] = MakeInline<int>();
    EXPECT_FALSE(future.WaitFor(std::chrono::milliseconds(0)));
    std::thread setter([setting = promise] { setting.SetValue(3); });
    EXPECT_TRUE(future.WaitFor(std::chrono::milliseconds::max()));
    future.Wait();
    EXPECT_EQ(future.Get(), 3);
    setter.join();
}

TEST(Future, BreaksWhenTheLastCopyOfItsPromiseGoes) {
    auto [promise, future] = MakeInline<int>();
    auto copy = std::make_unique<Promise<int>>(promise);
    promise = Promise<int>();
    EXPECT_FALSE(future.IsReady());
    copy.reset();
    ASSERT_TRUE(future.IsReady());
    EXPECT_EQ(CodeOf(future.GetException()), static_cast<int>(0xF3610001U));
    EXPECT_EQ(MessageOf(future.GetException()), "Future: Broken Promise");
}

TEST(Future, IsNotBrokenByAPromiseThatWasSet) {
    auto [promise, future] = MakeInline<int>();
    promise.SetValue(1);
    promise = Promise<int>();
    EXPECT_EQ(future.Get(), 1);
}

TEST(Promise, DoesNothingWhenNobodyHoldsTheState) {
    auto [promise, future] = MakeInline<void>();
    auto captured = std::make_shared<int>(0);
    bool ran = false;
    (void)future.Then([captured, &ran](const Future<void>&) { ran = true; });
    EXPECT_EQ(captured.use_count(), 2);
    future = Future<void>();
    EXPECT_EQ(captured.use_count(), 1) << "the state went and took its continuation along";
    EXPECT_FALSE(promise.SetValue());
    EXPECT_FALSE(ran);
}

TEST(DerivedFuture, HoldsItsParentUntilItIsComplete) {
    auto [promise, future] = MakeInline<void>();
    auto captured = std::make_shared<int>(0);
    auto derived = future.Then([captured](const Future<void>&) { return 1; });
    future = Future<void>();
    EXPECT_EQ(captured.use_count(), 2) << "the derived future keeps the continuation";
    EXPECT_TRUE(promise.SetValue());
    EXPECT_EQ(derived.Get(), 1);
    EXPECT_EQ(captured.use_count(), 1) << "released after it ran";
}

TEST(DerivedFuture, LeavesItsContinuationAttachedWhenDropped) {
    auto [promise, future] = MakeInline<void>();
    int runs = 0;
    (void)future.Then([&runs](const Future<void>&) { ++runs; });
    EXPECT_TRUE(promise.SetValue());
    EXPECT_EQ(runs, 1);
}

TEST(DerivedFuture, GetsWhatTheContinuationReturnsOrThrows) {
    auto [promise, future] = MakeInline<int>();
    auto doubled = future.Then([](const Future<int>& inDone) { return inDone.Get() * 2; });
    auto failed = future.Then([](const Future<int>&) -> int { throw std::domain_error("no"); });
    auto text = doubled.Then([](const Future<int>& inDone) { return std::to_string(inDone.Get()); });
    promise.SetValue(21);
    EXPECT_EQ(text.Get(), "42");
    EXPECT_THROW(failed.Get(), std::domain_error);
}

TEST(DerivedFuture, PassesAnExceptionOnThatTheContinuationDoesNotCatch) {
    auto [promise, future] = MakeInline<int>();
    auto derived = future.Then([](const Future<int>& inDone) { (void)inDone.Get(); });
    promise = Promise<int>();
    EXPECT_EQ(CodeOf(derived.GetException()), kBrokenPromise);
}

TEST(DerivedFuture, MayBeAtTheEndOfALongChain) {
    constexpr int kLength = 2000;
    auto [promise, future] = MakeInline<int>();
    Future<int> last = future;
    for (int i = 0; i < kLength; ++i) {
        last = last.Then([](const Future<int>& inDone) { return inDone.Get() + 1; });
    }
    promise.SetValue(0);
    EXPECT_EQ(last.Get(), kLength);
}

}  // namespace
