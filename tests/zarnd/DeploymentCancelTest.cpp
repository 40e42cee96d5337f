// Requests that are taken back, and made again while the work is being stopped.
#include <gmock/gmock.h>

#include "support/DeploymentFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::IsEmpty;

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
    RequestPlan({"CARA-1", 3, 33}, plan);
    EXPECT_THAT(mWorking, ElementsAre("A", "B"));
    // What was too late to be stopped is not what they have asked for.
    Done("A", Completed{});
    EXPECT_THAT(Told(), ElementsAre("AA 0", "BA 0", "CA 0", "AA completed"));
    EXPECT_THAT(mWorking, ElementsAre("B"));
    Done("B");
    EXPECT_EQ(mSpecs["A"].mVersion, "2");
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("BA 100", "CA 100", "BA completed", "CA completed"));
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
    Done("B");
    Done("A");
    EXPECT_TRUE(mDeployment.IsIdle());
    // The same when both are being stopped.
    for (const char* const module : {"A", "B"}) {
        Request(kAnna, {module});
        Cancel(kAnna, module);
    }
    Request(kBert, {"A", "B<A"});
    Request(kAnna, {"B", "A<B"});
    for (const char* const module : {"A", "B"}) Done(module, CancelledByAsker{});
    Done("B");
    Done("A");
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

}  // namespace zarnd_test
