// What is traced of failures.
#include <gtest/gtest.h>

#include "Diagnostics.h"

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
