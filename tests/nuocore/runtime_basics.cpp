// Exceptions, time, call stacks and singleton terminations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "nuocore/Exception.h"
#include "nuocore/Singleton.h"
#include "nuocore/StackTrace.h"
#include "nuocore/Time.h"
#include "runtime_support.h"
#include "support/Patterns.h"
#include "support/System.h"

namespace {

using nuocore::config::nuo_exception;
using nuocore::debug::CaptureStackTrace;
using nuocore::singleton::AddTerminationForSingleton;
using nuocore::singleton::RunSingletonTerminations;
using runtime_test::AssertionRecorder;
using runtime_test::FreshProcessDeathTest;

TEST(NuoException, CarriesMessageAndCode) {
    const nuo_exception error("It failed", static_cast<int>(0xED440083U));
    EXPECT_STREQ(error.what(), "It failed (0xED440083)");
    EXPECT_EQ(error.GetMessageText(), "It failed");
    EXPECT_EQ(error.GetCode(), static_cast<int>(0xED440083U));
}

TEST(NuoException, WithoutAMessageShowsItsCodeOnly) {
    EXPECT_STREQ(nuo_exception("", nuocore::eUnknown).what(), "0xA00F0001");
    EXPECT_STREQ(nuo_exception("", 10).what(), "0x0000000A");
}

TEST(NuoException, IsCopiedWithAllItCarries) {
    const nuo_exception error("It failed", 1);
    nuo_exception copy("", 2);
    copy = error;
    EXPECT_STREQ(copy.what(), error.what());
    EXPECT_EQ(copy.GetCode(), 1);
    EXPECT_EQ(copy.GetMessageText(), "It failed");
    EXPECT_THROW(throw copy, std::runtime_error);  // NOLINT(misc-throw-by-value-catch-by-reference)
}

TEST(Time, StampsMeasureWhatTheSteadyClockMeasures) {
    const auto before = std::chrono::steady_clock::now();
    const std::uint64_t first = nuocore::time::GetCurrentTimeStamp();
    while (std::chrono::steady_clock::now() - before < std::chrono::milliseconds(5)) {
    }
    const std::uint64_t second = nuocore::time::GetCurrentTimeStamp();
    const auto most = std::chrono::steady_clock::now() - before;
    const auto nanos = nuocore::time::ConvertToNanos(second - first);
    EXPECT_GE(nanos, 4'000'000U);
    EXPECT_LE(nanos, static_cast<std::uint64_t>(std::chrono::nanoseconds(most).count()));
    EXPECT_EQ(nuocore::time::ConvertToNanos(0), 0U);
}

TEST(Time, IsFormattedAsUTCWithMicroseconds) {
    const auto before = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    const std::string text = nuocore::time::FormatCurrentTime();
    const auto after = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    ASSERT_THAT(text, support::MatchesPattern("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}"
                                              "\\.[0-9]{6}Z"));
    std::tm parts{};
    std::istringstream stream(text);
    stream >> std::get_time(&parts, "%Y-%m-%dT%H:%M:%S");
    const std::chrono::sys_days day(std::chrono::year(parts.tm_year + 1900) / (parts.tm_mon + 1) /
                                    parts.tm_mday);
    const auto parsed = std::chrono::system_clock::to_time_t(day + std::chrono::hours(parts.tm_hour) +
                                                             std::chrono::minutes(parts.tm_min) +
                                                             std::chrono::seconds(parts.tm_sec));
    EXPECT_GE(parsed, before);
    EXPECT_LE(parsed, after);
}

}  // namespace

// Named functions for the call stack; exported, so that the system knows their names.
#define STACK_FUNCTION __attribute__((noinline, visibility("default")))

STACK_FUNCTION std::vector<std::string> InnermostForStackTrace(std::size_t inSkip, std::size_t inMax);
STACK_FUNCTION std::vector<std::string> OuterForStackTrace(std::size_t inSkip, std::size_t inMax);

std::vector<std::string> InnermostForStackTrace(std::size_t inSkip, std::size_t inMax) {
    auto names = CaptureStackTrace(inSkip, inMax);
    names.shrink_to_fit();  // keeps the call above from being the last thing, hence a jump
    return names;
}

std::vector<std::string> OuterForStackTrace(std::size_t inSkip, std::size_t inMax) {
    auto names = InnermostForStackTrace(inSkip, inMax);
    names.shrink_to_fit();
    return names;
}

namespace {

MATCHER_P2(IsCallFrom, inName, inFunction, std::string("is a call from ") + inName) {
    return support::IsCallFrom(arg, inName, inFunction);
}
#define IS_CALL_FROM(function) IsCallFrom(#function, reinterpret_cast<const void*>(&function))

TEST(StackTrace, NamesTheCallerFirst) {
    const auto names = OuterForStackTrace(0, 64);
    ASSERT_GE(names.size(), 3U);
    EXPECT_THAT(names[0], IS_CALL_FROM(InnermostForStackTrace));
    EXPECT_THAT(names[1], IS_CALL_FROM(OuterForStackTrace));
}

TEST(StackTrace, LeavesFramesOutAtTheTop) {
    const auto names = OuterForStackTrace(1, 64);
    ASSERT_FALSE(names.empty());
    EXPECT_THAT(names[0], IS_CALL_FROM(OuterForStackTrace));
    EXPECT_TRUE(OuterForStackTrace(static_cast<std::size_t>(-1), 64).empty());
    EXPECT_TRUE(OuterForStackTrace(100000, 64).empty());
}

TEST(StackTrace, IsNoLongerThanAskedFor) {
    EXPECT_EQ(OuterForStackTrace(0, 1).size(), 1U);
    EXPECT_TRUE(OuterForStackTrace(0, 0).empty());
    EXPECT_LT(OuterForStackTrace(0, static_cast<std::size_t>(-1)).size(), 1000U);
}

TEST(SingletonTerminations, RunOnceLastAddedFirst) {
    std::vector<int> order;
    AddTerminationForSingleton("first", [&order] { order.push_back(1); });
    AddTerminationForSingleton("second", [&order] { order.push_back(2); });
    RunSingletonTerminations();
    RunSingletonTerminations();
    EXPECT_THAT(order, testing::ElementsAre(2, 1));
}

TEST(SingletonTerminations, AddedMeanwhileRunToo) {
    std::vector<int> order;
    AddTerminationForSingleton("adds", [&order] {
        order.push_back(1);
        AddTerminationForSingleton("added", [&order] { order.push_back(2); });
    });
    RunSingletonTerminations();
    EXPECT_THAT(order, testing::ElementsAre(1, 2));
}

TEST(SingletonTerminations, ThatThrowAreReportedAndTheNextOneRuns) {
    const AssertionRecorder assertions;
    bool ran = false;
    AddTerminationForSingleton("next", [&ran] { ran = true; });
    AddTerminationForSingleton("thrower", [] { throw std::runtime_error("stuck"); });
    AddTerminationForSingleton(nullptr, [] { throw 1; });  // NOLINT(misc-throw-by-value-catch-by-reference)
    RunSingletonTerminations();
    EXPECT_TRUE(ran);
    const auto records = assertions.Records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].mMessage, "Exception caught from the termination of (unnamed): of an unknown type");
    EXPECT_EQ(records[1].mMessage, "Exception caught from the termination of thrower: stuck");
}

using SingletonTerminationsDeathTest = FreshProcessDeathTest;

TEST_F(SingletonTerminationsDeathTest, RunAtProcessExit) {
    EXPECT_EXIT(
        {
            AddTerminationForSingleton("late", [] { (void)std::fputs("terminated\n", stderr); });
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "^terminated\n$");
}

TEST_F(SingletonTerminationsDeathTest, KeepTheLibraryThatAddedThem) {
    EXPECT_EXIT(
        {
            support::LoadedLibrary(NUOCORE_TEST_LIBRARY).Find("AddsTermination")();
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "^still there\n$");
}

}  // namespace
