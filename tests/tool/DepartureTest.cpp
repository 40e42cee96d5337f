#include <gtest/gtest.h>

#include "DesktopService.h"

namespace tool_test {

using orvane::plexa::tool::Departure;

TEST(Departure, HasComeWhenSomebodyIsMissedTwiceInARow) {
    bool isThere = true;
    Departure departure([&] { return isThere; });
    EXPECT_FALSE(departure.HasCome());
    isThere = false;
    EXPECT_FALSE(departure.HasCome());  // what was said last may be on its way
    isThere = true;
    EXPECT_FALSE(departure.HasCome());
    isThere = false;
    EXPECT_FALSE(departure.HasCome());
    EXPECT_TRUE(departure.HasCome());
}

}  // namespace tool_test
