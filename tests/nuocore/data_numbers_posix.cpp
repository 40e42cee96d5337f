// Numbers in forms that not every system's C library reads.
#include <gtest/gtest.h>

#include <cmath>

#include "nuocore/Numbers.h"

namespace {

using nuocore::string::ToDouble;

TEST(Numbers, MayBeHexadecimalOrNone) {
    EXPECT_EQ(ToDouble("0x1p3"), 8.0);
    EXPECT_TRUE(std::isnan(ToDouble("nan")));
}

}  // namespace
