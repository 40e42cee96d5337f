// The promise under every order of events of each set-up, and what is lost without the rules it rests on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <numeric>

#include "ModelOptions.h"
#include "Search.h"
#include "Setups.h"
#include "wire/Rules.h"

namespace orvane::plexa::test {
namespace {

using wire::Rule;

std::string Story(const Outcome& inOutcome) {
    return std::accumulate(
        inOutcome.story.begin(), inOutcome.story.end(), inOutcome.broken,
        [](std::string inText, const std::string& inLine) { return std::move(inText) + "\n    " + inLine; });
}

std::string NameOf(const testing::TestParamInfo<const Setup*>& inInfo) {
    std::string name = inInfo.param->name;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char inChar) { return std::isalnum(inChar) == 0; }, '_');
    return name;
}

std::vector<const Setup*> SetupsInUse() {
    std::vector<const Setup*> setups;
    for (const Setup& setup : SearchLong() ? LongSetups() : ShortSetups()) {
        setups.push_back(&setup);
    }
    return setups;
}

class EveryOrder : public testing::TestWithParam<const Setup*> {};

TEST_P(EveryOrder, KeepsThePromise) {
    const Outcome outcome = Search(*GetParam(), MostSeconds());
    EXPECT_TRUE(outcome.broken.empty()) << Story(outcome);
    EXPECT_GT(outcome.ends, 0U) << "no run came to its end";
    if (!outcome.finished) {
        GTEST_SKIP() << "not finished; nothing was found in " << outcome.states << " states";
    }
}

INSTANTIATE_TEST_SUITE_P(Model, EveryOrder, testing::ValuesIn(SetupsInUse()), NameOf);

struct Trap {
    const char* name;
    Rule rule;
    const char* setup;
    const char* broken;
};

class WithoutARule : public testing::TestWithParam<Trap> {
  protected:
    ~WithoutARule() override { wire::sBrokenRule = Rule::kNone; }
};

TEST_P(WithoutARule, TheSearchFindsTheLoss) {
    const auto& setup = FindSetup(GetParam().setup);
    wire::sBrokenRule = GetParam().rule;
    const Outcome without = Search(setup, MostSeconds(), GetParam().broken);
    EXPECT_NE(without.broken.find(GetParam().broken), std::string::npos);
    std::printf("%s\n", Story(without).c_str());
    wire::sBrokenRule = Rule::kNone;
    const Outcome with = Search(setup, MostSeconds());
    EXPECT_TRUE(with.broken.empty()) << Story(with);
    EXPECT_TRUE(with.finished);
}

constexpr const char* kLost = "never reached";
constexpr const char* kTwice = "arrived twice";

void PrintTo(const Trap& inTrap, std::ostream* outStream) { *outStream << inTrap.name; }

std::string NameOfTrap(const testing::TestParamInfo<Trap>& inInfo) { return inInfo.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Model, WithoutARule,
    testing::Values(
        Trap{"OnlyConsumedCounts", Rule::kOnlyConsumedCounts, "killed twice", kLost},
        Trap{"PositionsOutliveConnections", Rule::kPositionsOutliveConnections, "killed twice", kTwice},
        Trap{"ReturnedLanesWait", Rule::kReturnedLanesWait, "three messages, killed", kLost},
        Trap{"BroadcastsAreKeptUntilRouted", Rule::kBroadcastsAreKeptUntilRouted, "receiver joins, killed",
             kLost},
        Trap{"MembersAreRemembered", Rule::kMembersAreRemembered, "sender joins, killed", kLost},
        Trap{"AwayIsNotGone", Rule::kAwayIsNotGone, "killed twice", "reported though both live"},
        Trap{"SlotsAreNeverReused", Rule::kSlotsAreNeverReused, "two receivers change places",
             "reached somebody else"},
        Trap{"SlotsEndWithTheConnection", Rule::kSlotsEndWithTheConnection, "two senders change places",
             kLost},
        Trap{"PositionsOutliveExpiry", Rule::kPositionsOutliveExpiry, "expired, connections lost twice",
             kTwice},
        Trap{"StrangersMayHaveGotAll", Rule::kStrangersMayHaveGotAll,
             "sender is impatient, receiver joins, killed", "called not delivered"},
        Trap{"OwedOutlivesJoining", Rule::kOwedOutlivesJoining, "sender joins, connection lost", kLost}),
    NameOfTrap);

}  // namespace
}  // namespace orvane::plexa::test
