#include <gmock/gmock.h>

#include <limits>

#include "progress/ProgressMeter.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using namespace std::chrono_literals;

namespace {

const ProgressMeter::Time kBegin{1h};

}  // namespace

TEST(ProgressMeter, BeginsAtOnceAndNeverFalls) {
    ProgressMeter meter;
    EXPECT_EQ(meter.Told(), std::nullopt);
    EXPECT_EQ(meter.OnShare(0, kBegin), 0);
    EXPECT_EQ(meter.OnShare(0.5, kBegin + 1s), 50);
    EXPECT_EQ(meter.OnShare(0.2, kBegin + 2s), std::nullopt);
    EXPECT_EQ(meter.OnShare(-1, kBegin + 3s), std::nullopt);
    EXPECT_EQ(meter.OnShare(std::numeric_limits<double>::quiet_NaN(), kBegin + 4s), std::nullopt);
    EXPECT_EQ(meter.OnShare(0.51, kBegin + 5s), 51);
    EXPECT_EQ(meter.Told(), 51);
}

TEST(ProgressMeter, LeavesTheLastPercentToTheEnd) {
    ProgressMeter meter;
    EXPECT_EQ(meter.OnShare(1.0, kBegin), 99);
    EXPECT_EQ(meter.OnShare(7.0, kBegin + 1s), std::nullopt);
}

TEST(ProgressMeter, TellsNoMoreThanTwentyTimesASecondAndNothingTwice) {
    ProgressMeter meter;
    int told = 0;
    for (int millisecond = 0; millisecond < 1000; ++millisecond) {
        if (meter.OnShare(millisecond / 1000.0, kBegin + std::chrono::milliseconds(millisecond))) ++told;
    }
    EXPECT_EQ(told, 20);
    ProgressMeter slow;
    (void)slow.OnShare(0.5, kBegin);
    EXPECT_EQ(slow.OnShare(0.501, kBegin + 1s), std::nullopt);
}

TEST(ProgressMeter, TellsWhatItHeldBackWhenItIsTime) {
    ProgressMeter meter;
    (void)meter.OnShare(0, kBegin);
    EXPECT_EQ(meter.Due(), std::nullopt);
    EXPECT_EQ(meter.OnShare(0.3, kBegin + 10ms), std::nullopt);
    EXPECT_EQ(meter.Due(), kBegin + 50ms);
    EXPECT_EQ(meter.OnTime(kBegin + 49ms), std::nullopt);
    EXPECT_EQ(meter.OnTime(kBegin + 50ms), 30);
    EXPECT_EQ(meter.Due(), std::nullopt);
}

}  // namespace zarnd_test
