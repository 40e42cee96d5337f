// Whatever happens in whatever order: each request has one end.
#include <gmock/gmock.h>

#include <random>

#include "support/DeploymentFixture.h"

namespace zarnd_test {

using testing::IsEmpty;

namespace {

/// Follows what each asker is told of each module: once ended, silent until asked again; what is told rises.
class RandomDeploying : public Deploying {
  protected:
    void Tell(const Asker& inAsker, const DeploymentEvent& inEvent) override {
        const std::string who = inAsker.mAppId + inEvent.mKey.mModule;
        EXPECT_TRUE(mOwed.contains(who)) << who << " hears " << TextOf(inEvent.mCourse) << ", owed nothing";
        if (const auto* const progress = std::get_if<Progress>(&inEvent.mCourse)) {
            EXPECT_GT(progress->mPercent, mOwed[who]) << who;
            EXPECT_LE(progress->mPercent, 100);
            EXPECT_TRUE(mPending.contains(who)) << who << " hears of progress after its cancellation";
            mOwed[who] = progress->mPercent;
            return;
        }
        if (std::holds_alternative<CancelledByAsker>(inEvent.mCourse)) {
            EXPECT_FALSE(mPending.contains(who)) << who << " is cancelled, and has not asked for it";
        }
        if (std::holds_alternative<Completed>(inEvent.mCourse) && mPending.contains(who)) {
            EXPECT_EQ(mOwed[who], 100) << who << " is not told the last step";
        }
        mOwed.erase(who);
        mPending.erase(who);
    }

    std::map<std::string, int> mOwed;  // an end; and the percentage told last
    std::set<std::string> mPending;    // asked for and not cancelled
};

}  // namespace

TEST_F(RandomDeploying, OwesEachRequestExactlyOneEnd) {
    const std::vector<std::vector<std::string>> plans = {
        {"D"}, {"D", "B<D"},        {"D", "C<D"},        {"D", "B<D", "C<D", "A<B,C"},
        {"E"}, {"D", "E", "F<D,E"}, {"D", "B<D", "H<B"}, {"D", "B<D", "H<B", "G<H"}};
    std::mt19937 random(11);
    const auto pick = [&](std::size_t inCount) { return static_cast<std::size_t>(random()) % inCount; };
    for (int round = 0; round != 20'000; ++round) {
        const Asker asker{"ASKER-" + std::to_string(pick(3)), 1, 1};
        const auto& plan = plans[pick(plans.size())];
        const std::string module = plan.back().substr(0, 1);
        const std::string who = asker.mAppId + module;
        const std::size_t what = pick(10);
        mNow += std::chrono::milliseconds(pick(60));
        mDeployment.OnTime(mNow);
        if (what < 3) {
            mOwed.try_emplace(who, -1);
            mPending.insert(who);
            if (pick(20) != 0) {
                Plan drawn;
                for (const std::string& text : plan) drawn.push_back(Planned(text, 100));
                // The catalogue changes: also what a module needs.
                for (PlannedModule& planned : drawn) {
                    if (pick(4) == 0) planned.mSpec.mVersion = std::to_string(pick(3));
                    if (pick(8) == 0) planned.mSpec.mNeeds.clear();
                }
                RequestPlan(asker, drawn);
            } else if (mDeployment.IsAwaited(asker, {"QRTX", module})) {
                Refuse(asker, module);
                EXPECT_TRUE(mPending.contains(who));
            } else {
                Refuse(asker, module);
                EXPECT_FALSE(mOwed.contains(who));
            }
        } else if (what < 5) {
            const bool wasPending = mPending.erase(who) != 0;
            EXPECT_EQ(Cancel(asker, module), wasPending);
        } else if (!mWorking.empty()) {
            const std::string done =
                *std::next(mWorking.begin(), static_cast<std::ptrdiff_t>(pick(mWorking.size())));
            if (what < 7) {
                Share(done, static_cast<double>(pick(1000)) / 999);
            } else if (mStopped.contains(done)) {
                const std::size_t end = pick(4);
                Done(done, end == 0   ? Outcome(Completed{})
                           : end == 1 ? Outcome(Error{ErrorCode::kDiskFull, ""})
                                      : Outcome(CancelledByAsker{}));
            } else {
                Done(done, pick(4) == 0 ? Outcome(Error{ErrorCode::kDiskFull, ""}) : Outcome(Completed{}));
            }
        }
    }
    while (!mWorking.empty()) Done(*mWorking.begin());
    EXPECT_TRUE(mDeployment.IsIdle());
    EXPECT_THAT(mOwed, IsEmpty());
    EXPECT_EQ(mDeployment.NextTime(), std::nullopt);
}

}  // namespace zarnd_test
