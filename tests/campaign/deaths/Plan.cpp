#include "Plan.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace campaign::deaths {

namespace {

constexpr std::array<KindInfo, kKinds> kInfos = {{
    {"unborn", "just started", false},
    {"anytime", "anywhere on its way", false},
    {"connected", "connected, said nothing", true},
    {"greeting", "in its greeting", true},
    {"joining", "asked to join, reads nothing", true},
    {"half-frame", "inside a message", true},
    {"sending", "sending much", true},
    {"receiving", "receiving slowly, or stopped", true},
    {"forked", "leaves a copy with the socket", true},
    {"forked-inside", "likewise, inside a message", true},
    {"exec", "became another program", true},
    {"replaced", "became another program that joined", true},
}};

constexpr std::uint64_t kLongestUnborn = 5'000;
constexpr std::uint64_t kLongestAnytime = 60'000;
constexpr std::uint64_t kLongestReady = 30'000;

std::uint64_t LongestDelay(Kind inKind) {
    if (inKind == Kind::kUnborn) return kLongestUnborn;
    return (inKind == Kind::kAnytime ? kLongestAnytime : kLongestReady) * kPace;
}

}  // namespace

const KindInfo& InfoOf(Kind inKind) { return kInfos.at(static_cast<std::size_t>(inKind)); }

Kind KindOf(std::string_view inName) {
    const auto found = std::find_if(kInfos.begin(), kInfos.end(),
                                    [&](const KindInfo& inInfo) { return inInfo.mName == inName; });
    if (found == kInfos.end()) throw std::invalid_argument("no victim dies \"" + std::string(inName) + "\"");
    return static_cast<Kind>(found - kInfos.begin());
}

std::vector<Plan> MakePlans(Random& ioRandom, std::size_t inCount) {
    std::vector<Plan> plans(inCount);
    for (std::size_t i = 0; i != inCount; ++i) {
        Plan& plan = plans[i];
        plan.mKind = static_cast<Kind>(i % kKinds);
        plan.mSeed = ioRandom.Below(std::uint64_t{1} << 32U);
        plan.mDelay = std::chrono::microseconds(ioRandom.Below(LongestDelay(plan.mKind)));
        plan.mStopped = plan.mKind == Kind::kReceiving && ioRandom.OneIn(2);
    }
    std::shuffle(plans.begin(), plans.end(), ioRandom.Engine());
    return plans;
}

}  // namespace campaign::deaths
