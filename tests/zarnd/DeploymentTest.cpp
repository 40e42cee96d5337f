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
    void StartWork(const ModuleKey& inKey, const ModuleSpec& inModule) override {
        mSpecs[inKey.mModule] = inModule;
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
        RequestPlan(inAsker, plan, inVersion);
    }
    void RequestPlan(const Asker& inAsker, const Plan& inPlan, const std::string& inVersion = "20.0") {
        mDeployment.OnRequest({inAsker, {"QRTX", inPlan.back().mSpec.mId}, inVersion}, inPlan, mNow);
    }
    void Refuse(const Asker& inAsker, const std::string& inModule) {
        mDeployment.Refuse({inAsker, {"QRTX", inModule}, "20.0"}, {ErrorCode::kUnknownModule, "no such"});
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
    std::map<std::string, ModuleSpec> mSpecs;  // of the latest work
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

TEST_F(Deploying, OwesOneEndToWhoAsksAgainWhileItsWorkIsBeingStopped) {
    Request(kAnna, {"A"});
    Share("A", 0.9);
    Cancel(kAnna, "A");
    Request(kAnna, {"A"}, "20.1");
    Done("A", CancelledByAsker{});
    EXPECT_EQ(mStarted["A"], 2);
    // An end of the first request would be one for the second, and its progress goes on where it was.
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA 90"));
    Share("A", 0.5);
    Share("A", 0.95);
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 95", "AA 100", "AA completed"));
    EXPECT_EQ(mVersion, "20.1");
}

TEST_F(Deploying, TakesARequestBackForGoodThatWasMadeAgainAndTakenBackAgain) {
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Request(kAnna, {"A"});
    EXPECT_TRUE(Cancel(kAnna, "A"));
    Done("A", CancelledByAsker{});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA cancelled"));
    EXPECT_EQ(mStarted["A"], 1);
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, BeginsAnewWithWhatTheCatalogueSaysThen) {
    Plan plan = {Planned("A", 100)};
    plan.back().mSpec.mVersion = "1";
    RequestPlan(kAnna, plan);
    Cancel(kAnna, "A");
    plan = {Planned("B", 100), Planned("A<B", 100)};
    plan.back().mSpec.mVersion = "2";
    RequestPlan(kBert, plan);
    EXPECT_THAT(mWorking, ElementsAre("A", "B"));
    // What was too late to be stopped is not what Bert has asked for.
    Done("A", Completed{});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA 0", "AA completed"));
    EXPECT_THAT(mWorking, ElementsAre("B"));
    Done("B");
    EXPECT_EQ(mSpecs["A"].mVersion, "2");
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("BA 100", "BA completed"));
}

TEST_F(Deploying, ForgetsWhatIsNeededByWorkThatDoesNotBeginAnew) {
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Request(kBert, {"B", "A<B"});
    Cancel(kBert, "A");
    EXPECT_THAT(mStopped, ElementsAre("A", "B"));
    Done("B", CancelledByAsker{});
    Done("A", CancelledByAsker{});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA 0", "AA cancelled", "BA cancelled"));
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, LetsGoOfWhatWorkThatGoesOnDoesNotNeedAnyMore) {
    Request(kAnna, {"D", "B<D", "A<B"});
    Done("D");
    Done("B");
    Request(kBert, {"D", "B<D"});
    Done("D");
    EXPECT_TRUE(Cancel(kBert, "B"));
    // Asked for while B is being stopped, for which nobody waits: A, which goes on, has had it.
    Request({"CARL-1", 3, 30}, {"D", "B<D", "A<B", "C<A"});
    EXPECT_THAT(mWorking, ElementsAre("A", "B"));
    Done("B", CancelledByAsker{});
    EXPECT_THAT(mWorking, ElementsAre("A"));
    Done("A");
    EXPECT_THAT(mWorking, ElementsAre("C"));
    Done("C");
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, FailsWhoWaitsForStoppedWorkWhenWhatItNeedsFails) {
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Request(kBert, {"B", "A<B"});
    Done("B", Error{ErrorCode::kDiskFull, "full"});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA 0", "BA error 341 the needed module B: full"));
    Done("A", CancelledByAsker{});
    EXPECT_THAT(Told(), ElementsAre("AA cancelled"));
    EXPECT_EQ(mStarted["A"], 1);
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, LetsTwoModulesOfTwoCataloguesNotWaitForEachOther) {
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Request(kBert, {"A", "B<A"});
    Request(kAnna, {"B", "A<B"});  // by now it is the other way round
    Done("A", CancelledByAsker{});
    Done("A");
    Done("B");
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, EndsNoRequestBecauseAnotherOneOfTheSameAskerIsRefused) {
    Request(kAnna, {"A"});
    EXPECT_TRUE(mDeployment.IsAwaited(kAnna, {"QRTX", "A"}));
    Refuse(kAnna, "A");
    Refuse(kBert, "A");
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA error 203 no such", "AA 100", "AA completed"));
    // One that has been taken back ends with the refusal.
    Request(kAnna, {"A"});
    Cancel(kAnna, "A");
    Refuse(kAnna, "A");
    Done("A", CancelledByAsker{});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA error 203 no such"));
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, ShowsTheProgressOfWhatSeemedToBeThere) {
    Plan plan = {Planned("B", 0), Planned("A<B", 100)};
    plan.front().mSpec.mSize = 300;
    RequestPlan(kAnna, plan);
    Share("B", 0.4);
    Done("B");
    Share("A", 0.5);
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA 30", "AA 87"));
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
    Request({"ANNA-1", 0, 1}, {"A"});  // one of those that wait already
    EXPECT_THAT(Told(), IsEmpty());
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
    EXPECT_THAT(Told(), testing::UnorderedElementsAre("AA error 361 bye", "BB error 361 bye"));
    EXPECT_THAT(mStopped, ElementsAre("B"));
    Done("B", CancelledByAsker{});
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(Deploying, TellsEachModulesHeldBackProgressWhenItIsDue) {
    EXPECT_EQ(mDeployment.NextTime(), std::nullopt);
    Request(kAnna, {"A"});
    Request(kAnna, {"B"});
    EXPECT_EQ(mDeployment.NextTime(), std::nullopt);
    mDeployment.OnShare({"QRTX", "B"}, 0.2, mNow + 10ms);
    mDeployment.OnShare({"QRTX", "A"}, 0.1, mNow + 60ms);
    mDeployment.OnShare({"QRTX", "A"}, 0.2, mNow + 70ms);
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AB 0", "AA 10"));
    EXPECT_EQ(mDeployment.NextTime(), mNow + 50ms);
    mDeployment.OnTime(mNow + 49ms);
    EXPECT_THAT(Told(), IsEmpty());
    mDeployment.OnTime(mNow + 109ms);
    EXPECT_THAT(Told(), ElementsAre("AB 20"));
    EXPECT_EQ(mDeployment.NextTime(), mNow + 110ms);
    // Whom it was meant for has gone.
    Cancel(kAnna, "A");
    EXPECT_EQ(mDeployment.NextTime(), std::nullopt);
    mDeployment.OnTime(mNow + 1s);
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
                Request(asker, plan);
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
                Done(done, pick(4) == 0 ? Outcome(Completed{}) : Outcome(CancelledByAsker{}));
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
