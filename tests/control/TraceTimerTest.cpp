// The lines that tell how long a look-up took.
#include "control/TraceTimer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <locale>
#include <string>
#include <thread>
#include <vector>

#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaControlDouble.h"
#include "nuoplexasupport/Applications.h"
#include "support/Patterns.h"

namespace nuoplexasupport {
namespace {

using support::MatchesPattern;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRules = "nuoplexasupport.GetAppPath=6";
constexpr const char* kBegin = "6|nuoplexasupport.GetAppPath|Begin - GetAppPath\r\n";
constexpr const char* kEnd =
    "6\\|nuoplexasupport.GetAppPath\\|End - GetAppPath \\[[0-9.e+-]+ milliseconds elapsed\\]\r\n";

double Milliseconds(const std::string& inLine) { return std::stod(inLine.substr(inLine.find('[') + 1)); }

// What comes into the trace and what is asked of the control library, in one order.
class OrderWatch {
  public:
    OrderWatch() {
        nuocore::debug::SetTraceRules(kRules);
        nuocore::debug::SetTraceSink([this](int, std::string_view, std::string_view inText) {
            mOrder.emplace_back(inText.substr(0, inText.find(" -")));
        });
        doubles::ControlDouble::Get().mOnCall = [this](const std::string& inCall) {
            mOrder.push_back(inCall.substr(0, inCall.find(' ')));
        };
    }
    OrderWatch(const OrderWatch&) = delete;
    OrderWatch& operator=(const OrderWatch&) = delete;
    ~OrderWatch() {
        nuocore::debug::SetTraceSink({});
        doubles::ControlDouble::Get().mOnCall = {};
    }
    std::vector<std::string> mOrder;
};

TEST(TraceTimer, TimesTheLookUpAlone) {
    OrderWatch watch;
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.mOrder, ElementsAre("GetInstance", "GetInstance", "Begin", "GetAppPath", "End",
                                          "ReleaseAppPath", "ReleaseInstance"));
}

TEST(TraceTimer, WritesTwoLines) {
    const doubles::TraceWatch watch(kRules);
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.Lines(), ElementsAre(kBegin, MatchesPattern(kEnd)));
}

TEST(TraceTimer, WritesNothingAtALowerLevel) {
    const doubles::TraceWatch watch("nuoplexasupport.GetAppPath=5");
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.Lines(), IsEmpty());
}

TEST(TraceTimer, IsEnabledByPatternsToo) {
    const doubles::TraceWatch watch("*=6");
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.Lines(), ElementsAre(kBegin, MatchesPattern(kEnd)));
}

TEST(TraceTimer, WritesNothingWithoutAController) {
    doubles::ControlDouble::Get().mGivesController = false;
    const doubles::TraceWatch watch(kRules);
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.Lines(), IsEmpty());
}

TEST(TraceTimer, WritesForALookUpThatFails) {
    doubles::ControlDouble::Get().mAnswer = false;
    const doubles::TraceWatch watch(kRules);
    (void)GetInstalledAppPath("A-1");
    EXPECT_EQ(watch.Lines().size(), 2U);
}

TEST(TraceTimer, WhatIsDisabledMeanwhileWritesNoEnd) {
    const doubles::TraceWatch watch(kRules);
    doubles::ControlDouble::Get().mOnCall = [](const std::string& inCall) {
        if (inCall.starts_with("GetAppPath")) nuocore::debug::SetTraceRules("");
    };
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.Lines(), ElementsAre(kBegin));
}

TEST(TraceTimer, WhatIsEnabledMeanwhileWritesNoEndEither) {
    const doubles::TraceWatch watch("");
    doubles::ControlDouble::Get().mOnCall = [](const std::string& inCall) {
        if (inCall.starts_with("GetAppPath")) nuocore::debug::SetTraceRules(kRules);
    };
    (void)GetInstalledAppPath("A-1");
    EXPECT_THAT(watch.Lines(), IsEmpty());
}

TEST(TraceTimer, SeesEachChangeOfTheRules) {
    const doubles::TraceWatch watch(kRules);
    (void)GetInstalledAppPath("A-1");
    nuocore::debug::SetTraceRules("");
    (void)GetInstalledAppPath("A-1");
    EXPECT_EQ(watch.Lines().size(), 2U);
    nuocore::debug::SetTraceRules(kRules);
    (void)GetInstalledAppPath("A-1");
    EXPECT_EQ(watch.Lines().size(), 4U);
}

TEST(TraceTimer, WritesItsEndOnlyAndWithoutAWordBeforeItWhenQuiet) {
    static constinit TraceTimerPlace sPlace("timer.test", 4);
    const doubles::TraceWatch watch("timer.test=4");
    { const TraceTimer timer(sPlace, "Work", true); }
    EXPECT_THAT(
        watch.Lines(),
        ElementsAre(MatchesPattern("4\\|timer.test\\|Work \\[[0-9.e+-]+ milliseconds elapsed\\]\r\n")));
}

TEST(TraceTimer, CountsTheMillisecondsOfTheWork) {
    static constinit TraceTimerPlace sPlace("timer.test", 4);
    const doubles::TraceWatch watch("timer.test=4");
    {
        const TraceTimer timer(sPlace, "Work", true);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    ASSERT_EQ(watch.Lines().size(), 1U);
    EXPECT_GE(Milliseconds(watch.Lines()[0]), 30.0);
    EXPECT_LT(Milliseconds(watch.Lines()[0]), 30000.0);
}

TEST(TraceTimer, DoesNotCountWhatItsOwnFirstLineTakes) {
    constexpr int kSeconds = 3;
    std::string end;
    nuocore::debug::SetTraceRules("timer.test=4");
    nuocore::debug::SetTraceSink([&](int, std::string_view, std::string_view inText) {
        if (inText.starts_with("Begin")) {
            std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
        } else {
            end = inText;
        }
    });
    static constinit TraceTimerPlace sPlace("timer.test", 4);
    { const TraceTimer timer(sPlace, "Work", false); }
    nuocore::debug::SetTraceSink({});
    EXPECT_LT(Milliseconds(end), kSeconds * 1000.0);
}

class GermanNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(TraceTimer, WritesItsNumberTheSameWayInEveryLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale(), new GermanNumbers));
    static constinit TraceTimerPlace sPlace("timer.test", 4);
    const doubles::TraceWatch watch("timer.test=4");
    {
        const TraceTimer timer(sPlace, "Work", true);
        std::this_thread::sleep_for(std::chrono::milliseconds(12));
    }
    std::locale::global(before);
    ASSERT_EQ(watch.Lines().size(), 1U);
    const std::string line = watch.Lines()[0];
    EXPECT_EQ(line.find(','), std::string::npos) << line;
    EXPECT_GE(Milliseconds(line), 12.0) << line;
}

TEST(TraceTimer, WritesSixDigitsAtMost) {
    static constinit TraceTimerPlace sPlace("timer.test", 4);
    const doubles::TraceWatch watch("timer.test=4");
    for (int i = 0; i != 20; ++i) {
        const TraceTimer timer(sPlace, "Work", true);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (const std::string& line : watch.Lines()) {
        const std::string number =
            line.substr(line.find('[') + 1, line.find(" milliseconds") - line.find('[') - 1);
        const auto digits = std::count_if(number.begin(), number.end(),
                                          [](char inChar) { return inChar >= '0' && inChar <= '9'; });
        EXPECT_LE(digits, 6) << line;
    }
}

}  // namespace
}  // namespace nuoplexasupport
