// What becomes of posted work when the process ends, whose other threads the system ends before that.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>

#include "nuocore/Async.h"
#include "runtime_support.h"

namespace {

using namespace nuocore::async;
using DefaultExecutorEndDeathTest = runtime_test::FreshProcessDeathTest;

TEST_F(DefaultExecutorEndDeathTest, LeavesPostedWorkUndone) {
    EXPECT_EXIT(
        {
            std::promise<void> begun;
            auto isBegun = begun.get_future();
            GetDefaultExecutor()->Post([&begun] {
                begun.set_value();
                for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
            });
            isBegun.get();
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
}

}  // namespace
