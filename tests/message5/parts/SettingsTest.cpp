// Bounds that the environment sets.
#include <gtest/gtest.h>

#include <map>

#include "Settings.h"

using namespace orvane::plexa;
using namespace std::chrono_literals;

namespace {

message5::Settings Read(const std::map<std::string, std::string>& inEnvironment) {
    return message5::ReadSettings([&](const char* inName) {
        const auto found = inEnvironment.find(inName);
        return found == inEnvironment.end() ? std::nullopt : std::optional(found->second);
    });
}

std::size_t Log(const std::string& inText) { return Read({{"PLEXA_LIMIT_LOG", inText}}).limits.log; }
wire::Duration Stall(const std::string& inText) { return Read({{"PLEXA_LIMIT_STALL", inText}}).limits.stall; }

}  // namespace

TEST(Settings, AreTheDefaultsUnlessTheEnvironmentSaysOtherwise) {
    const auto settings = Read({{"PLEXA_LIMIT_LOG", ""}});
    const wire::Limits defaults;
    EXPECT_EQ(settings.limits.log, defaults.log);
    EXPECT_EQ(settings.limits.linger, defaults.linger);
    EXPECT_EQ(settings.complaints, "");
}

TEST(Settings, EachSetOneBound) {
    const auto settings = Read({{"PLEXA_LIMIT_LOG", "1M"},
                                {"PLEXA_LIMIT_LOG_RESERVE", "2M"},
                                {"PLEXA_LIMIT_ARREARS", "3M"},
                                {"PLEXA_LIMIT_STALL", "4s"},
                                {"PLEXA_LIMIT_LINGER", "500ms"}});
    EXPECT_EQ(settings.limits.log, std::size_t{1} << 20U);
    EXPECT_EQ(settings.limits.logReserve, std::size_t{2} << 20U);
    EXPECT_EQ(settings.limits.arrears, std::size_t{3} << 20U);
    EXPECT_EQ(settings.limits.stall, 4s);
    EXPECT_EQ(settings.limits.linger, 500ms);
    EXPECT_EQ(settings.complaints, "");
}

TEST(Settings, HaveUnitsAndRanges) {
    const wire::Limits defaults;
    EXPECT_EQ(Log("65536"), 65536U);
    EXPECT_EQ(Log("64K"), 65536U);
    EXPECT_EQ(Log("1G"), std::size_t{1} << 30U);
    EXPECT_EQ(Stall("100ms"), 100ms);
    EXPECT_EQ(Stall("3600s"), 3600s);
    for (const char* wrong : {"65535", "2G", "1025M", "99999999999999999999", "18014398509481985K", "-1",
                              "1T", "M", "1 M", "1m", "4s"}) {
        EXPECT_EQ(Log(wrong), defaults.log) << wrong;
    }
    for (const char* wrong : {"5", "99ms", "3601s", "1h", "s", "64K"}) {
        EXPECT_EQ(Stall(wrong), defaults.stall) << wrong;
    }
}

TEST(Settings, TellWhichValuesCannotBeUsed) {
    EXPECT_EQ(Read({{"PLEXA_LIMIT_LOG", "much"}, {"PLEXA_LIMIT_STALL", "5"}}).complaints,
              "PLEXA_LIMIT_LOG=\"much\" is not a size from 64K to 1G; the default holds. "
              "PLEXA_LIMIT_STALL=\"5\" is not a time from 100ms to 3600s; the default holds.");
}
