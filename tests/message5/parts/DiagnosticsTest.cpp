// What is traced of failures.
#include <gtest/gtest.h>

#include "Diagnostics.h"
#include "TraceLines.h"

using namespace orvane::plexa;
using message5::FailureKind;
using message5::FailureReason;
using message5::LineLimit;
using message5::SendFailure;

TEST(FailureLines, TellWhatWasSentToWhomAndWhyItFailed) {
    SendFailure failure{
        FailureKind::kNotDelivered, FailureReason::kLeft, wire::LimitName::kNone, {"B-1", 1, 2}, "t"};
    EXPECT_EQ(FailureLine(failure, 0), "Not delivered: \"t\" to B-1: it has left");
    EXPECT_EQ(FailureLine(failure, 7), "Not delivered: \"t\" to B-1: it has left (7 more before this one)");
}

TEST(FailureLines, EscapeAndCutWhatOthersChose) {
    SendFailure failure{
        FailureKind::kNotConfirmed, FailureReason::kEnded, wire::LimitName::kNone, {"B\r\n", 1, 2}, ""};
    failure.type = std::string(10000, 'x');
    const std::string line = FailureLine(failure, 0);
    EXPECT_LT(line.size(), 500U);
    EXPECT_NE(line.find("x...\""), std::string::npos);
    EXPECT_NE(line.find("B\\x0d\\x0a"), std::string::npos);
    EXPECT_EQ(line.find('\n'), std::string::npos);
}

TEST(LineLimits, LetANumberOfLinesASecondThroughAndCountTheRest) {
    LineLimit limit;
    const wire::TimePoint begin{std::chrono::hours(1)};
    std::uint64_t heldBack = 99;
    int allowed = 0;
    for (int i = 0; i != 100; ++i) allowed += limit.Allow(begin, heldBack) ? 1 : 0;
    EXPECT_EQ(allowed, 20);
    EXPECT_EQ(heldBack, 0U);
    EXPECT_FALSE(limit.Allow(begin + std::chrono::milliseconds(999), heldBack));
    EXPECT_TRUE(limit.Allow(begin + std::chrono::seconds(1), heldBack));
    EXPECT_EQ(heldBack, 81U);
    EXPECT_TRUE(limit.Allow(begin + std::chrono::seconds(1), heldBack));
    EXPECT_EQ(heldBack, 0U);
}

TEST(FailureTraces, TellHowManyLinesWereLeftOut) {
    nuocore::debug::SetTraceRules("PlexaMessage5=1");
    message5::FailureTrace trace;
    const wire::TimePoint now{std::chrono::hours(1)};
    EXPECT_EQ(trace.LastLine(), std::nullopt);
    for (int i = 0; i != 20; ++i) EXPECT_TRUE(trace.Line({}, now));
    for (int i = 0; i != 7; ++i) EXPECT_FALSE(trace.Line({}, now));
    EXPECT_EQ(trace.LastLine(), "7 more messages failed before this");
    EXPECT_EQ(trace.LastLine(), std::nullopt);
    nuocore::debug::SetTraceRules("");
    EXPECT_FALSE(trace.Line({}, now + std::chrono::seconds(2))) << "nobody wants them";
}

TEST(ConnectionTraces, TellWhatKeepsAClientFromJoiningOnceAndEachLossAfterwards) {
    TraceLines lines("PlexaMessage5=5");
    message5::ConnectionTrace trace;
    wire::TimePoint now{std::chrono::hours(1)};
    for (int i = 0; i != 5; ++i) trace.Lost("too many", false, now += std::chrono::seconds(1));
    EXPECT_EQ(lines.Lines().size(), 1U);
    trace.Lost("another reason", false, now);
    trace.Lost("too many", false, now);
    EXPECT_EQ(lines.Lines().size(), 3U);
    trace.Lost("closed", true, now);
    trace.Lost("closed", true, now);
    trace.Lost("too many", false, now);
    EXPECT_EQ(lines.Lines().size(), 6U);
    for (int i = 0; i != 100; ++i) trace.Lost("closed", true, now);
    EXPECT_EQ(lines.Lines().size(), 1U + 20U) << "in one second";
    trace.Lost("closed", true, now + std::chrono::seconds(1));
    EXPECT_EQ(lines.Lines().back(), "5 PlexaMessage5 connection lost: closed (85 more before)\r\n");
}
