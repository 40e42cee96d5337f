// Tracing: the rules, their change count, switches and sinks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "nuocore/Trace.h"
#include "runtime_support.h"
#include "support/Patterns.h"

namespace {

using namespace nuocore::debug;
using runtime_test::EndByVerdict;
using runtime_test::FreshProcessDeathTest;
using runtime_test::LogRecorder;
using runtime_test::ReadFile;
using runtime_test::SetVariable;
using runtime_test::TemporaryFolder;

class TraceRulesTest : public testing::Test {
  protected:
    ~TraceRulesTest() override { SetTraceRules(""); }
};

TEST_F(TraceRulesTest, EnableNothingByDefault) {
    EXPECT_TRUE(SetTraceRules(""));
    EXPECT_FALSE(TraceEnabled("Any", 0));
    EXPECT_FALSE(TraceEnabled("", -5));
}

TEST_F(TraceRulesTest, EnableACategoryAtItsLevelAndAllLowerOnes) {
    EXPECT_TRUE(SetTraceRules("PlexaClientImpl=4"));
    EXPECT_TRUE(TraceEnabled("PlexaClientImpl", 4));
    EXPECT_TRUE(TraceEnabled("PlexaClientImpl", 0));
    EXPECT_FALSE(TraceEnabled("PlexaClientImpl", 5));
    EXPECT_FALSE(TraceEnabled("plexaclientimpl", 4));
    EXPECT_FALSE(TraceEnabled("PlexaClientImplX", 4));
}

TEST_F(TraceRulesTest, AreSeparatedByCommasOrSemicolonsWithBlanksAround) {
    EXPECT_TRUE(SetTraceRules(" A = 1 ;, B=-2,; "));
    EXPECT_TRUE(TraceEnabled("A", 1));
    EXPECT_TRUE(TraceEnabled("B", -2));
    EXPECT_FALSE(TraceEnabled("B", -1));
}

TEST_F(TraceRulesTest, LetTheLongestMatchCount) {
    EXPECT_TRUE(
        SetTraceRules("*=0,nuoplexasupport::*=5,nuoplexasupport::Plexa*=2,nuoplexasupport::PlexaX=off"));
    EXPECT_TRUE(TraceEnabled("Other", 0));
    EXPECT_FALSE(TraceEnabled("Other", 1));
    EXPECT_TRUE(TraceEnabled("nuoplexasupport::", 5));
    EXPECT_TRUE(TraceEnabled("nuoplexasupport::Y", 5));
    EXPECT_TRUE(TraceEnabled("nuoplexasupport::PlexaInterface", 2));
    EXPECT_FALSE(TraceEnabled("nuoplexasupport::PlexaInterface", 3));
    EXPECT_FALSE(TraceEnabled("nuoplexasupport::PlexaX", 0));
}

TEST_F(TraceRulesTest, LeaveAnExactRuleAloneWhenPatternsDoNotCount) {
    EXPECT_TRUE(SetTraceRules("*=9,Named=1"));
    EXPECT_TRUE(TraceEnabled("Other", 1));
    EXPECT_FALSE(TraceEnabled("Other", 1, false));
    EXPECT_TRUE(TraceEnabled("Named", 1, false));
    EXPECT_FALSE(TraceEnabled("Named", 2, true)) << "the pattern doesn't widen the rule of its own";
}

TEST_F(TraceRulesTest, DisableWithOff) {
    EXPECT_TRUE(SetTraceRules("*=3,Quiet=off"));
    EXPECT_FALSE(TraceEnabled("Quiet", -2147483647));
    EXPECT_TRUE(TraceEnabled("Loud", 3));
}

TEST_F(TraceRulesTest, LetTheLastOfTwoForOneCategoryCount) {
    EXPECT_TRUE(SetTraceRules("A=1,A=7"));
    EXPECT_TRUE(TraceEnabled("A", 7));
}

TEST_F(TraceRulesTest, ReplaceAllThatWereThere) {
    SetTraceRules("A=1");
    SetTraceRules("B=1");
    EXPECT_FALSE(TraceEnabled("A", 1));
    EXPECT_TRUE(TraceEnabled("B", 1));
}

TEST_F(TraceRulesTest, ThatCannotBeReadAreReportedAndLeftOut) {
    const LogRecorder log;
    EXPECT_FALSE(SetTraceRules("Good=1,NoLevel,=3,Word=high,Huge=99999999999,Trail=1x,A*B=1,Empty="));
    EXPECT_TRUE(TraceEnabled("Good", 1));
    EXPECT_FALSE(TraceEnabled("Trail", 1));
    EXPECT_FALSE(TraceEnabled("AxB", 1));
    std::vector<std::string> reported;
    for (const auto& record : log.Records()) {
        EXPECT_EQ(record.mCategory, "Trace");
        ASSERT_EQ(record.mFields.size(), 1U);
        reported.emplace_back(
            std::string_view(boost::any_cast<nuocore::UTF8String>(record.mFields[0].second)));
    }
    EXPECT_THAT(reported, testing::ElementsAre("NoLevel", "=3", "Word=high", "Huge=99999999999", "Trail=1x",
                                               "A*B=1", "Empty="));
}

TEST_F(TraceRulesTest, BeyondTheirBoundAreRefused) {
    const LogRecorder log;
    EXPECT_TRUE(SetTraceRules("A=1" + std::string((64U << 10U) - 3, ',')));
    EXPECT_TRUE(TraceEnabled("A", 1));
    EXPECT_FALSE(SetTraceRules("A=1" + std::string(64U << 10U, ',')));
    EXPECT_FALSE(TraceEnabled("A", 1));
    EXPECT_EQ(log.Records().size(), 1U);
}

TEST_F(TraceRulesTest, MoveTheChangeCount) {
    const std::uint32_t before = TraceChangeCount();
    EXPECT_NE(before, kNoTraceChangeCount);
    EXPECT_EQ(TraceChangeCount(), before);
    SetTraceRules("");
    EXPECT_NE(TraceChangeCount(), before);
}

TEST_F(TraceRulesTest, ReachASwitchAtItsNextUse) {
    TraceSwitch place("Switched", 3);
    EXPECT_FALSE(place.IsEnabled());
    SetTraceRules("Switched=3");
    EXPECT_TRUE(place.IsEnabled());
    EXPECT_TRUE(place.IsEnabled());
    SetTraceRules("Switched=2");
    EXPECT_FALSE(place.IsEnabled());
}

TEST_F(TraceRulesTest, ReachASwitchHoweverManyThreadsAskIt) {
    constexpr int kRounds = 500;
    constexpr int kThreads = 3;
    TraceSwitch place("Switched", 0);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                (void)place.IsEnabled();
            }
        });
    }
    for (int round = 0; round < kRounds; ++round) {
        const bool wanted = round % 2 == 0;
        SetTraceRules(wanted ? "Switched=0" : "Switched=off");
        EXPECT_EQ(place.IsEnabled(), wanted);
        std::this_thread::yield();
        EXPECT_EQ(place.IsEnabled(), wanted) << "an older answer must not come back";
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

using Line = std::tuple<int, std::string, std::string>;

TEST(TraceSink, TakesEachLineAsItIs) {
    std::vector<Line> lines;
    EXPECT_FALSE(SetTraceSink([&](int inLevel, std::string_view inCategory, std::string_view inText) {
        lines.emplace_back(inLevel, inCategory, inText);
    }));
    Trace(5, "Category", "text\x01\r\n");
    TraceSwitch("Switched", 2).Trace("more");
    EXPECT_TRUE(SetTraceSink({}));
    EXPECT_THAT(lines,
                testing::ElementsAre(Line{5, "Category", "text\x01\r\n"}, Line{2, "Switched", "more"}));
}

TEST(TraceSink, MayThrowAndIsCalledAgain) {
    int calls = 0;
    SetTraceSink([&calls](int, std::string_view, std::string_view) {
        ++calls;
        throw 1;  // NOLINT(misc-throw-by-value-catch-by-reference)
    });
    EXPECT_NO_THROW(Trace(0, "C", "one"));
    EXPECT_NO_THROW(Trace(0, "C", "two"));
    SetTraceSink({});
    EXPECT_EQ(calls, 2);
}

TEST(TraceSink, HasItsOwnTracingDroppedAndMayLogAndReplaceItself) {
    const LogRecorder log;
    int calls = 0;
    SetTraceSink([&calls](int, std::string_view, std::string_view) {
        ++calls;
        Trace(0, "C", "again");
        nuocore::log::Log({"C", "F", "F", "M", {}});
        SetTraceSink([](int, std::string_view, std::string_view) {});
        ++calls;
    });
    Trace(0, "C", "one");
    Trace(0, "C", "two");
    SetTraceSink({});
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(log.Records().size(), 1U);
}

TEST(TraceSink, IsCalledByOneThreadAtATime) {
    constexpr int kThreads = 4;
    int lines = 0;
    SetTraceSink([&lines](int, std::string_view, std::string_view) { ++lines; });
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([] {
            for (int line = 0; line < 1000; ++line) {
                Trace(0, "C", "text");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    SetTraceSink({});
    EXPECT_EQ(lines, kThreads * 1000);
}

using TraceDeathTest = FreshProcessDeathTest;

TEST_F(TraceDeathTest, TakesItsFirstRulesFromTheEnvironment) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_TRACE", "Env=2;broken");
            const LogRecorder log;
            EXPECT_TRUE(TraceEnabled("Env", 2));
            EXPECT_FALSE(TraceEnabled("Env", 3));
            EXPECT_EQ(log.Records().size(), 1U);
            SetTraceRules("");
            EXPECT_FALSE(TraceEnabled("Env", 2));
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(TraceDeathTest, PrefersRulesOfTheHostToTheEnvironment) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_TRACE", "Env=2");
            SetTraceRules("Host=1");
            EXPECT_FALSE(TraceEnabled("Env", 2));
            EXPECT_TRUE(TraceEnabled("Host", 1));
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(TraceDeathTest, GoesToTheStandardErrorStreamByDefault) {
    EXPECT_EXIT(
        {
            Trace(6, "Cat", "hello\r\n");
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "Z Cat 6: hello");
}

TEST_F(TraceDeathTest, GoesToTheFileNamedWithControlCharactersEscaped) {
    EXPECT_EXIT(
        {
            {
                const TemporaryFolder folder;
                SetVariable("NUOCORE_TRACE_FILE", folder.File("trace"));
                Trace(1, "Cat\n", "a\nb\tc\rd\x1B[0m\x7F\xC2\x9B\xC3\xA9\r\n");
                Trace(2, "Cat", "plain\n");
                Trace(3, "Cat", "no end");
                EXPECT_THAT(
                    ReadFile(folder.File("trace")),
                    support::MatchesPattern(
                        "[0-9T:.-]+Z Cat\\\\n 1: a\\\\nb\\\\tc\\\\rd\\\\x1B\\[0m\\\\x7F\\\\xC2\\\\x9B\xC3\xA9\r\n"
                        "[0-9T:.-]+Z Cat 2: plain\n"
                        "[0-9T:.-]+Z Cat 3: no end"));
            }
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
