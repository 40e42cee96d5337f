// Numbers in texts.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "nuocore/Numbers.h"
#include "support/System.h"

namespace {

using nuocore::string::ToDouble;

TEST(Numbers, AreReadFromTheBeginningOfAText) {
    EXPECT_EQ(ToDouble("55"), 55.0);
    EXPECT_EQ(ToDouble(" \t\n-5.25 percent"), -5.25);
    EXPECT_EQ(ToDouble("+1e2"), 100.0);
    EXPECT_EQ(ToDouble("1,5"), 1.0);
    EXPECT_EQ(ToDouble(nuocore::UTF8String("12\0"
                                           "34",
                                           5)),
              12.0);
}

TEST(Numbers, AreZeroInATextWithout) {
    for (const char* const text : {"", " ", "abc", "-", ".", "%55"}) {
        EXPECT_EQ(ToDouble(text), 0.0) << text;
    }
}

TEST(Numbers, BeyondTheRangeAreInfiniteOrZero) {
    EXPECT_EQ(ToDouble("1e999"), HUGE_VAL);
    EXPECT_EQ(ToDouble("-1e999"), -HUGE_VAL);
    EXPECT_EQ(ToDouble("1e-999"), 0.0);
}

// A host sets the locale of its user for the whole process.
TEST(Numbers, HaveADecimalPointInEveryLocale) {
    support::UseGermanLocale();
    ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);
    EXPECT_EQ(ToDouble("1.5"), 1.5);
    EXPECT_EQ(ToDouble("1,5"), 1.0);
    std::setlocale(LC_ALL, "C");  // NOLINT
}

}  // namespace
