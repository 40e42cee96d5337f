// Assertions: handlers and their failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "nuocore/Assertion.h"
#include "runtime_support.h"

namespace {

using namespace nuocore::debug;
using runtime_test::AssertionRecorder;
using runtime_test::LogRecorder;

const AssertionRecord kRecord{"File", 12, "ns::Function", "a == b", "message"};

TEST(Assertion, GoesToTheHandlerAsItWasRaised) {
    const AssertionRecorder assertions;
    RaiseAssertion(kRecord);
    const auto records = assertions.Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_STREQ(records[0].mFile, "File");
    EXPECT_EQ(records[0].mLine, 12U);
    EXPECT_STREQ(records[0].mFunction, "ns::Function");
    EXPECT_STREQ(records[0].mExpression, "a == b");
    EXPECT_EQ(records[0].mMessage, "message");
}

TEST(Assertion, HandlerIsReturnedWhenReplacedAndTheDefaultOneAsEmpty) {
    int calls = 0;
    EXPECT_FALSE(SetAssertionHandler([&calls](const AssertionRecord&) {
        ++calls;
        return false;
    }));
    const AssertionHandler before = SetAssertionHandler({});
    ASSERT_TRUE(before);
    before(kRecord);
    EXPECT_EQ(calls, 1);
}

TEST(Assertion, IsLoggedByTheDefaultHandler) {
    const LogRecorder log;
    RaiseAssertion(kRecord);
    ASSERT_EQ(log.Records().size(), 1U);
    const auto& record = log.Records()[0];
    EXPECT_EQ(record.mCategory, "Assertion");
    EXPECT_EQ(record.mFile, "File");
    EXPECT_EQ(record.mFunction, "ns::Function");
    EXPECT_EQ(record.mMessage, "message");
    ASSERT_EQ(record.mFields.size(), 2U);
    EXPECT_EQ(record.mFields[0].first, "expression");
    EXPECT_EQ(boost::any_cast<nuocore::UTF8String>(record.mFields[0].second), "a == b");
    EXPECT_EQ(record.mFields[1].first, "line");
    EXPECT_EQ(boost::any_cast<std::uint64_t>(record.mFields[1].second), 12U);
}

TEST(Assertion, MayHaveNullTexts) {
    const LogRecorder log;
    RaiseAssertion({nullptr, 0, nullptr, nullptr, {}});
    EXPECT_EQ(log.Records().size(), 1U);
}

TEST(Assertion, SurvivesAHandlerThatThrows) {
    const AssertionHandler before =
        SetAssertionHandler([](const AssertionRecord&) -> bool { throw std::runtime_error("handler"); });
    EXPECT_NO_THROW(RaiseAssertion(kRecord));
    SetAssertionHandler(before);
}

TEST(Assertion, RaisedByAHandlerIsLoggedAndOneRaisedByThatIsDropped) {
    int handled = 0;
    const AssertionHandler before = SetAssertionHandler([&handled](const AssertionRecord& inRecord) {
        ++handled;
        RaiseAssertion(inRecord);
        return false;
    });
    int logged = 0;
    const auto sink = nuocore::log::SetLogSink([&logged](const nuocore::log::LogRecord&) {
        ++logged;
        RaiseAssertion(kRecord);
    });
    RaiseAssertion(kRecord);
    RaiseAssertion(kRecord);
    nuocore::log::SetLogSink(sink);
    SetAssertionHandler(before);
    EXPECT_EQ(handled, 2);
    EXPECT_EQ(logged, 2);
}

TEST(BreakPolicy, BreaksIntoAnAttachedDebuggerUnlessTheHostForbidsIt) {
    EXPECT_EQ(GetBreakPolicy(), BreakPolicy::kDebuggerAttached);
    SetBreakPolicy(BreakPolicy::kNever);
    EXPECT_EQ(GetBreakPolicy(), BreakPolicy::kNever);
    SetBreakPolicy(BreakPolicy::kDebuggerAttached);
}

TEST(BreakPolicy, DoesNotStopWithoutADebugger) {
    const AssertionHandler before = SetAssertionHandler([](const AssertionRecord&) { return true; });
    EXPECT_FALSE(IsDebuggerAttached());
    RaiseAssertion(kRecord);
    SetAssertionHandler(before);
}

// Uses up what the other tests need, so it runs in a process of its own.
void RaiseAFlood() {
    constexpr std::uint64_t kFlood = 10000;
    const LogRecorder log;
    for (std::uint64_t i = 0; i < kFlood; ++i) {
        RaiseAssertion(kRecord);
    }
    const std::size_t written = log.Records().size();
    EXPECT_GE(written, 100U);
    EXPECT_LT(written, kFlood / 2);
    // The next one that is written says how many were left out before it, so that none goes missing.
    std::uint64_t raised = kFlood;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (log.Records().size() == written && std::chrono::steady_clock::now() < deadline) {
        RaiseAssertion(kRecord);
        ++raised;
    }
    std::uint64_t leftOut = 0;
    for (const auto& record : log.Records()) {
        for (const auto& [name, value] : record.mFields) {
            if (name == "leftOutBefore") {
                leftOut += boost::any_cast<std::uint64_t>(value);
            }
        }
    }
    EXPECT_EQ(log.Records().size() + leftOut, raised);
    std::exit(testing::Test::HasFailure() ? 1 : 0);  // NOLINT(concurrency-mt-unsafe)
}

TEST(AssertionFlood, IsLeftOutOfTheLogAndCounted) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(RaiseAFlood(), testing::ExitedWithCode(0), "");
}

}  // namespace
