#include "deployment/Deployment.h"

#include <gmock/gmock.h>

#include <random>

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Asker kAnna{"ANNA-1", 1, 11};
const Asker kBert{"BERT-1", 2, 22};
const ProgressMeter::Time kBegin{1h};

std::string TextOf(const Course& inCourse) {
    if (const auto* const progress = std::get_if<Progress>(&inCourse))
        return std::to_string(progress->mPercent);
    if (const auto* const error = std::get_if<Error>(&inCourse)) {
        return "error " + std::to_string(static_cast<int>(error->mCode)) + " " + error->mMetadata;
    }
    return std::holds_alternative<Completed>(inCourse) ? "completed" : "cancelled";
}

/// A module of the plans below: "A<B,C" needs B and C, which stand before it.
PlannedModule Planned(const std::string& inText, std::uint64_t inWeight) {
    PlannedModule planned;
    planned.mSpec.mId = inText.substr(0, 1);
    for (std::size_t place = 2; place < inText.size(); place += 2)
        planned.mSpec.mNeeds.push_back({inText[place]});
    planned.mWeight = inWeight;
    return planned;
}

class Deploying : public testing::Test, protected IDeploymentActions {
  protected:
    void StartWork(const ModuleKey& inKey, const ModuleSpec& /*inModule*/) override {
        EXPECT_TRUE(mWorking.insert(inKey.mModule).second) << inKey.mModule << " is worked on twice at once";
        EXPECT_LE(mWorking.size(), Deployment::kMaxWorking);
        ++mStarted[inKey.mModule];
    }
    void StopWork(const ModuleKey& inKey) override { mStopped.insert(inKey.mModule); }
    void Tell(const Asker& inAsker, const DeploymentEvent& inEvent) override {
        mTold.push_back(inAsker.mAppId.substr(0, 1) + inEvent.mKey.mModule + " " + TextOf(inEvent.mCourse));
        mVersion = inEvent.mVersion;
    }

    void Request(const Asker& inAsker, const std::vector<std::string>& inPlan,
                 const std::string& inVersion = "20.0") {
        Plan plan;
        for (const std::string& text : inPlan) plan.push_back(Planned(text, 100));
        mDeployment.OnRequest({inAsker, {"QRTX", plan.back().mSpec.mId}, inVersion}, plan, mNow);
    }
    bool Cancel(const Asker& inAsker, const std::string& inModule) {
        return mDeployment.OnCancel(inAsker, {"QRTX", inModule});
    }
    void Share(const std::string& inModule, double inShare) {
        mNow += 1s;
        mDeployment.OnShare({"QRTX", inModule}, inShare, mNow);
    }
    void Done(const std::string inModule, const Outcome& inOutcome = Completed{}) {
        EXPECT_EQ(mWorking.erase(inModule), 1U) << inModule;
        mStopped.erase(inModule);
        mDeployment.OnDone({"QRTX", inModule}, inOutcome, mNow);
    }
    /// What has been told since the last call.
    std::vector<std::string> Told() { return std::exchange(mTold, {}); }

    Deployment mDeployment{*this};
    std::set<std::string> mWorking;
    std::set<std::string> mStopped;
    std::map<std::string, int> mStarted;
    std::vector<std::string> mTold;
    std::string mVersion;
    ProgressMeter::Time mNow = kBegin;
};

}  // namespace

TEST_F(Deploying, TellsACourseFromBeginToEnd) {
    Request(kAnna, {"A"}, "20.1");
    EXPECT_THAT(Told(), ElementsAre("AA 0"));
    Share("A", 0.25);
    Share("A", 0.5);
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 25", "AA 50", "AA 100", "AA completed"));
    EXPECT_EQ(mVersion, "20.1");
    EXPECT_TRUE(mDeployment.IsIdle());
    Share("A", 0.7);
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(Deploying, InstallsOnceWhatTwoAskForAndBothHearOfIt) {
    Request(kAnna, {"A"});
    Share("A", 0.5);
    Request(kBert, {"A"});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA 50", "BA 50"));
    Share("A", 0.6);
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 60", "BA 60", "AA 100", "BA 100", "AA completed", "BA completed"));
    EXPECT_EQ(mStarted["A"], 1);
}

TEST_F(Deploying, TakesRequestsOfOneAskerForOneModuleAsOne) {
    Request(kAnna, {"A"});
    Request(kAnna, {"A"});
    Done("A", Error{ErrorCode::kDiskFull, "full"});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA error 341 full"));
}

TEST_F(Deploying, WorksOnWhatIsNeededFirst) {
    Request(kAnna, {"D", "B<D", "C<D", "A<B,C"});
    EXPECT_THAT(mWorking, ElementsAre("D"));
    Done("D");
    EXPECT_THAT(mWorking, ElementsAre("B", "C"));
    Done("C");
    EXPECT_THAT(mWorking, ElementsAre("B"));
    Done("B");
    EXPECT_THAT(mWorking, ElementsAre("A"));
    Done("A");
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, CountsWhatIsNeededInTheProgress) {
    Request(kAnna, {"B", "A<B"});
    Share("B", 0.5);
    Done("B");
    Share("A", 0.5);
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA 25", "AA 75"));
}

TEST_F(Deploying, TellsOthersWhyAModuleThatTheyNeedIsNotThere) {
    Request(kAnna, {"B", "A<B"});
    Request(kBert, {"B"});
    Done("B", Error{ErrorCode::kOtherDigest, "another digest"});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BB 0", "BB error 305 another digest",
                                    "AA error 305 the needed module B: another digest"));
    EXPECT_TRUE(mDeployment.IsIdle());
    Request(kAnna, {"B", "A<B"});
    Done("B", Error{ErrorCode::kConflictingProcesses, "editor,viewer"});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA error 131 editor,viewer"));
}

TEST_F(Deploying, LeavesNoNeededWorkBehindWhenItFails) {
    Request(kAnna, {"B", "C", "A<B,C"});
    Done("B", Error{ErrorCode::kDiskFull, "full"});
    EXPECT_THAT(mStopped, ElementsAre("C"));
    Done("C", CancelledByAsker{});
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, CancelsForRealAndSaysSoWhenItHasStopped) {
    Request(kAnna, {"A"});
    EXPECT_FALSE(Cancel(kBert, "A"));
    EXPECT_FALSE(Cancel(kAnna, "B"));
    EXPECT_TRUE(Cancel(kAnna, "A"));
    EXPECT_FALSE(Cancel(kAnna, "A"));
    EXPECT_THAT(mStopped, ElementsAre("A"));
    EXPECT_THAT(Told(), ElementsAre("AA 0"));
    Share("A", 0.9);
    Done("A", CancelledByAsker{});
    EXPECT_THAT(Told(), ElementsAre("AA cancelled"));
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, SaysCompletedWhenItIsTooLateToCancel) {
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA completed"));
}

TEST_F(Deploying, SaysCancelledToWhomCancelledEvenIfTheWorkFailedMeanwhile) {
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Done("A", Error{ErrorCode::kDiskFull, "full"});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA cancelled"));
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, GoesOnForOthersWhenOneCancels) {
    Request(kAnna, {"A"});
    Request(kBert, {"A"});
    Cancel(kAnna, "A");
    EXPECT_THAT(mStopped, IsEmpty());
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA 0", "AA cancelled", "BA 100", "BA completed"));
}

TEST_F(Deploying, StopsNeededWorkThatNobodyElseWants) {
    Request(kAnna, {"B", "A<B"});
    Cancel(kAnna, "A");
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA cancelled"));
    EXPECT_THAT(mStopped, ElementsAre("B"));
    Done("B", CancelledByAsker{});
    EXPECT_TRUE(mDeployment.IsIdle());
    Request(kAnna, {"B", "A<B"});
    Request(kBert, {"B"});
    Cancel(kAnna, "A");
    EXPECT_THAT(mStopped, IsEmpty());
}

TEST_F(Deploying, BeginsAnewForWhoAsksWhileItIsBeingStopped) {
    Request(kAnna, {"A"});
    Share("A", 0.9);
    Cancel(kAnna, "A");
    Request(kBert, {"A"});
    Done("A", CancelledByAsker{});
    Share("A", 0.1);
    Done("A");
    EXPECT_THAT(Told(),
                ElementsAre("AA 0", "AA 90", "BA 0", "AA cancelled", "BA 10", "BA 100", "BA completed"));
    EXPECT_EQ(mStarted["A"], 2);
}

TEST_F(Deploying, WorksOnThreeAtATimeInTheOrderOfTheRequests) {
    for (const char* const module : {"A", "B", "C", "D", "E"}) Request(kAnna, {module});
    EXPECT_THAT(mWorking, ElementsAre("A", "B", "C"));
    Done("B");
    EXPECT_THAT(mWorking, ElementsAre("A", "C", "D"));
    Cancel(kAnna, "E");
    Done("A");
    EXPECT_THAT(mWorking, ElementsAre("C", "D"));
}

TEST_F(Deploying, RefusesMoreRequestsThanItCanRemember) {
    for (std::size_t i = 0; i != Deployment::kMaxRequests; ++i) Request({"ANNA-1", i, 1}, {"A"});
    Told();
    Request(kBert, {"A"});
    EXPECT_THAT(Told(), ElementsAre("BA error 205 too many modules are being asked for"));
    Done("A");
    Told();
    Request(kBert, {"A"});
    EXPECT_THAT(Told(), ElementsAre("BA 0"));
}

TEST_F(Deploying, EndsAllRequestsWhenItEnds) {
    Request(kAnna, {"B", "A<B"});
    Request(kBert, {"B"});
    Told();
    mDeployment.End({ErrorCode::kServiceEnding, "bye"});
    EXPECT_THAT(Told(), ElementsAre("AA error 361 bye", "BB error 361 bye"));
    EXPECT_THAT(mStopped, ElementsAre("B"));
    Done("B", CancelledByAsker{});
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(Deploying, KnowsWhatMustNotBeRemovedMeanwhile) {
    Request(kAnna, {"B", "A<B"});
    Done("B");
    EXPECT_TRUE(mDeployment.IsWorkedOn({"QRTX", "A"}));
    EXPECT_TRUE(mDeployment.IsWorkedOn({"QRTX", "B"}));
    EXPECT_FALSE(mDeployment.IsWorkedOn({"OTHER", "B"}));
    EXPECT_FALSE(mDeployment.IsWorkedOn({"QRTX", "C"}));
}

namespace {

/// Follows what each asker is told of each module: once ended, silent until asked again.
class RandomDeploying : public Deploying {
  protected:
    void Tell(const Asker& inAsker, const DeploymentEvent& inEvent) override {
        const std::string who = inAsker.mAppId + inEvent.mKey.mModule;
        if (const auto* const progress = std::get_if<Progress>(&inEvent.mCourse)) {
            EXPECT_GT(mOwed[who], 0) << who << " hears of progress and is owed nothing";
            EXPECT_LE(progress->mPercent, 100);
        } else {
            EXPECT_GT(mOwed[who]--, 0) << who << " hears of an end and is owed none";
        }
    }

    std::map<std::string, int> mOwed;  // ends
    std::set<std::string> mPending;    // asked for and not cancelled
};

}  // namespace

TEST_F(RandomDeploying, OwesEachRequestExactlyOneEnd) {
    const std::vector<std::vector<std::string>> plans = {
        {"D"}, {"D", "B<D"}, {"D", "C<D"}, {"D", "B<D", "C<D", "A<B,C"}, {"E"}, {"D", "E", "F<D,E"}};
    std::mt19937 random(11);
    const auto pick = [&](std::size_t inCount) { return static_cast<std::size_t>(random()) % inCount; };
    for (int round = 0; round != 20'000; ++round) {
        const Asker asker{"ASKER-" + std::to_string(pick(3)), 1, 1};
        const auto& plan = plans[pick(plans.size())];
        const std::string module = plan.back().substr(0, 1);
        const std::string who = asker.mAppId + module;
        const std::size_t what = pick(10);
        if (what < 3) {
            // One that was taken back while its work goes on is owed an end of its own.
            if (mOwed[who] == 0 || !mPending.contains(who)) ++mOwed[who];
            mPending.insert(who);
            Request(asker, plan);
        } else if (what < 5) {
            if (Cancel(asker, module)) mPending.erase(who);
        } else if (!mWorking.empty()) {
            const std::string done =
                *std::next(mWorking.begin(), static_cast<std::ptrdiff_t>(pick(mWorking.size())));
            if (what < 7) {
                Share(done, static_cast<double>(pick(1000)) / 999);
            } else if (mStopped.contains(done)) {
                Done(done, pick(4) == 0 ? Outcome(Completed{}) : Outcome(CancelledByAsker{}));
            } else {
                Done(done, pick(4) == 0 ? Outcome(Error{ErrorCode::kDiskFull, ""}) : Outcome(Completed{}));
            }
        }
        for (auto entry = mPending.begin(); entry != mPending.end();) {
            entry = mOwed[*entry] == 0 ? mPending.erase(entry) : std::next(entry);
        }
    }
    while (!mWorking.empty()) Done(*mWorking.begin());
    EXPECT_TRUE(mDeployment.IsIdle());
    for (const auto& [who, owed] : mOwed) EXPECT_EQ(owed, 0) << who;
}

}  // namespace zarnd_test
