// What becomes of posted work when the process ends, where its threads live on until then.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

#include "nuocore/Async.h"
#include "runtime_support.h"

namespace {

using namespace nuocore::async;
using DefaultExecutorEndDeathTest = runtime_test::FreshProcessDeathTest;

TEST_F(DefaultExecutorEndDeathTest, FinishesPostedWorkAtProcessExit) {
    EXPECT_EXIT(
        {
            static std::atomic<int> sRuns{0};
            for (int i = 0; i < 200; ++i) {
                GetDefaultExecutor()->Post([] {
                    std::this_thread::yield();
                    if (++sRuns == 200) {
                        (void)std::fputs("all work ran\n", stderr);
                    }
                });
            }
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "all work ran");
}

/// Posts, one after the other, until work runs inside `Post`, which only the end of the process brings about.
void PostUntilTheEnd() {
    std::thread::id ranOn;
    while (ranOn != std::this_thread::get_id()) {
        std::promise<std::thread::id> ran;
        auto result = ran.get_future();
        GetDefaultExecutor()->Post([&ran] { ran.set_value(std::this_thread::get_id()); });
        ranOn = result.get();
    }
    (void)std::fputs("late work ran\n", stderr);
}

TEST_F(DefaultExecutorEndDeathTest, RunsWorkPostedAfterItsEndInsidePost) {
    EXPECT_EXIT(
        {
            GetDefaultExecutor()->Post(PostUntilTheEnd);
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "late work ran");
}

}  // namespace
