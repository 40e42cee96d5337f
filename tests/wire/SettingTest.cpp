// Values of settings as users write them.
#include <gtest/gtest.h>

#include "wire/Setting.h"

namespace orvane::plexa::test {
namespace {

using wire::SettingRange;
using Kind = SettingRange::Kind;

constexpr SettingRange kSize{Kind::kSize, 64ULL << 10U, 1ULL << 30U};
constexpr SettingRange kTime{Kind::kTime, 100, 3'600'000};
constexpr SettingRange kCount{Kind::kCount, 1, 1500};

TEST(Setting, HasAUnitOfItsKindAndLiesInItsRange) {
    EXPECT_EQ(wire::ParseSetting("65536", kSize), 65536U);
    EXPECT_EQ(wire::ParseSetting("64K", kSize), 65536U);
    EXPECT_EQ(wire::ParseSetting("1G", kSize), 1ULL << 30U);
    EXPECT_EQ(wire::ParseSetting("100ms", kTime), 100U);
    EXPECT_EQ(wire::ParseSetting("3600s", kTime), 3'600'000U);
    EXPECT_EQ(wire::ParseSetting("1500", kCount), 1500U);
}

TEST(Setting, IsNoneOtherwise) {
    for (const char* wrong : {"", "65535", "2G", "1025M", "99999999999999999999", "18014398509481985K", "-1",
                              "1T", "M", "1 M", "1m", "4s"}) {
        EXPECT_EQ(wire::ParseSetting(wrong, kSize), std::nullopt) << wrong;
    }
    for (const char* wrong : {"5", "99ms", "3601s", "1h", "s", "64K"}) {
        EXPECT_EQ(wire::ParseSetting(wrong, kTime), std::nullopt) << wrong;
    }
    for (const char* wrong : {"0", "1501", "1K", "+5", "5 "}) {
        EXPECT_EQ(wire::ParseSetting(wrong, kCount), std::nullopt) << wrong;
    }
}

TEST(Setting, TellsWhatItMayBe) {
    EXPECT_EQ(wire::Expected(kSize), "a size from 64K to 1G");
    EXPECT_EQ(wire::Expected(kTime), "a time from 100ms to 3600s");
    EXPECT_EQ(wire::Expected(kCount), "a number from 1 to 1500");
}

}  // namespace
}  // namespace orvane::plexa::test
