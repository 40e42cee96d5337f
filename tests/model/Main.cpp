#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "ModelOptions.h"

namespace orvane::plexa::test {
namespace {

bool sLong = false;
/// The small set-ups have an end; how long that takes is the machine's affair.
std::chrono::seconds sMost = std::chrono::hours(1);

}  // namespace

bool SearchLong() { return sLong; }
std::chrono::seconds MostSeconds() { return sMost; }

/// --long[=seconds for each set-up]
void TakeOption(std::string_view inOption) {
    constexpr std::string_view kLong = "--long";
    if (!inOption.starts_with(kLong)) {
        return;
    }
    sLong = true;
    const int seconds = inOption.size() > kLong.size() ? std::atoi(inOption.data() + kLong.size() + 1) : 0;
    sMost = std::chrono::seconds(seconds > 0 ? seconds : 60);
}

}  // namespace orvane::plexa::test

int main(int inCount, char** inArguments) {
    for (int i = 1; i < inCount; ++i) {
        orvane::plexa::test::TakeOption(inArguments[i]);
    }
    testing::InitGoogleTest(&inCount, inArguments);
    return RUN_ALL_TESTS();
}
