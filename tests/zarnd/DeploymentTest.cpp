#include <gmock/gmock.h>

#include "support/DeploymentFixture.h"

namespace zarnd_test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(Deploying, ShowsTheProgressOfWhatSeemedToBeThere) {
    Plan plan = {Planned("B", 0), Planned("A<B", 100)};
    plan.front().mSpec.mSize = 300;
    RequestPlan(kAnna, plan);
    Share("B", 0.4);
    Done("B");
    Share("A", 0.5);
    EXPECT_THAT(Told(), ElementsAre("AA 0", "AA 30", "AA 87"));
}

TEST_F(Deploying, TakesUpWhatTheCatalogueSaysOfAModuleThatStillWaits) {
    for (const char* const module : {"E", "F", "G"}) Request(kBert, {module});
    Request(kAnna, {"B", "A<B"});
    Plan plan = {Planned("C", 100), Planned("A<C", 300)};
    plan.back().mSpec.mVersion = "2";
    RequestPlan(kBert, plan);
    Told();
    for (const char* const module : {"E", "F", "G"}) Done(module);
    EXPECT_THAT(mWorking, ElementsAre("C")) << "B is needed no more";
    Told();
    Done("C");
    EXPECT_THAT(mWorking, ElementsAre("A"));
    EXPECT_EQ(mSpecs["A"].mVersion, "2");
    Share("A", 0.5);
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 62", "BA 62", "AA 100", "BA 100", "AA completed", "BA completed"));
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, LetsAModuleThatStillWaitsNeedNothingAnyMore) {
    Request(kAnna, {"B", "A<B"});
    Request(kBert, {"A"});
    EXPECT_THAT(mWorking, ElementsAre("A", "B"));
    EXPECT_THAT(mStopped, ElementsAre("B"));
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA 0", "AA 100", "BA 100", "AA completed", "BA completed"));
}

TEST_F(Deploying, TakesUpWhatAModuleNeedsThatWasReadyAndKeepsItsTurn) {
    for (const char* const module : {"E", "F", "G", "A", "B", "H"}) Request(kBert, {module});
    Request(kAnna, {"C", "A<C"});
    Plan plan = {Planned("B", 100)};
    plan.back().mSpec.mVersion = "2";
    RequestPlan(kAnna, plan);
    Done("E");
    EXPECT_THAT(mWorking, ElementsAre("B", "F", "G")) << "it was asked for before H";
    for (const char* const module : {"B", "F", "G"}) Done(module);
    EXPECT_THAT(mWorking, ElementsAre("C", "H"));
    Done("C");
    EXPECT_THAT(mWorking, ElementsAre("A", "H"));
}

TEST_F(Deploying, LetsWhoJoinsTheWorkHaveWhatThatBrings) {
    Request(kAnna, {"A"});
    Share("A", 0.5);
    Request(kBert, {"B", "A<B"});  // as the catalogue says by now
    EXPECT_THAT(mWorking, ElementsAre("A"));
    Done("A");
    EXPECT_THAT(Told(),
                ElementsAre("AA 0", "AA 50", "BA 50", "AA 100", "BA 100", "AA completed", "BA completed"));
    EXPECT_TRUE(mDeployment.IsIdle());
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

}  // namespace zarnd_test
