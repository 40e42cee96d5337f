// Executors: where work runs, and what becomes of it when it throws or the process ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <future>
#include <stdexcept>
#include <thread>

#include "nuocore/Async.h"
#include "runtime_support.h"

namespace {

using namespace nuocore::async;
using runtime_test::AssertionRecorder;
using runtime_test::FreshProcessDeathTest;
using runtime_test::kDeadline;

TEST(InlineExecutor, RunsWorkInsidePost) {
    bool ran = false;
    GetInlineExecutor()->Post([&ran] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST(DefaultExecutor, RunsWorkOnAnotherThread) {
    std::promise<std::thread::id> ranOn;
    auto result = ranOn.get_future();
    GetDefaultExecutor()->Post([&ranOn] { ranOn.set_value(std::this_thread::get_id()); });
    ASSERT_EQ(result.wait_for(kDeadline), std::future_status::ready);
    EXPECT_NE(result.get(), std::this_thread::get_id());
}

TEST(DefaultExecutor, IsOne) { EXPECT_EQ(GetDefaultExecutor(), GetDefaultExecutor()); }

TEST(Executor, RaisesAnAssertionForWorkThatThrows) {
    const AssertionRecorder assertions;
    GetInlineExecutor()->Post([] { throw std::runtime_error("sour"); });
    GetInlineExecutor()->Post([] { throw 1; });  // NOLINT(misc-throw-by-value-catch-by-reference)
    const auto records = assertions.Records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].mMessage, "Exception caught from posted work: sour");
    EXPECT_EQ(records[1].mMessage, "Exception caught from posted work: of an unknown type");
}

using DefaultExecutorDeathTest = FreshProcessDeathTest;

// Work that a thread does at that moment must not keep it from ending.
TEST_F(DefaultExecutorDeathTest, LetsTheProcessEndWhileWorkIsPosted) {
    EXPECT_EXIT(
        {
            for (int i = 0; i < 200; ++i) {
                GetDefaultExecutor()->Post([] { std::this_thread::yield(); });
            }
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(DefaultExecutorDeathTest, LetsItsOwnThreadEndTheProcess) {
    EXPECT_EXIT(
        {
            GetDefaultExecutor()->Post([] { std::exit(7); });  // NOLINT(concurrency-mt-unsafe)
            for (;;) {
                std::this_thread::yield();
            }
        },
        testing::ExitedWithCode(7), "");
}

}  // namespace
