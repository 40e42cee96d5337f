// Who asks for modules, leaves the bus, and comes back.
#include <gmock/gmock.h>

#include "support/DeploymentFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Deploying, TellsAProcessThatComesBackUnderAnotherEndPoint) {
    const Asker back{kAnna.mAppId, 7, kAnna.mProcessId};
    std::uint64_t start = 5;
    const StartOfProcess startOf = [&](std::int32_t) { return start; };
    RequestFrom(kAnna, "A", 5);
    RequestFrom(kBert, "A", 5);
    const Asker other{"OTHER-1", 7, kAnna.mProcessId};
    mDeployment.OnEndPoints({kBert, other}, startOf);
    mDeployment.OnEndPoints({kBert, kAnna, back}, startOf);
    EXPECT_TRUE(mDeployment.IsAwaited(kAnna, {"QRTX", "A"}));
    mDeployment.OnEndPoints({kBert, back}, startOf);
    EXPECT_TRUE(mDeployment.IsAwaited(back, {"QRTX", "A"}));
    EXPECT_FALSE(mDeployment.IsAwaited(kAnna, {"QRTX", "A"}));
    EXPECT_TRUE(mDeployment.IsAwaited(kBert, {"QRTX", "A"}));
    // Another process with the same id is nobody that asked.
    start = 6;
    mDeployment.OnEndPoints({kBert, {kAnna.mAppId, 8, kAnna.mProcessId}}, startOf);
    EXPECT_TRUE(mDeployment.IsAwaited(back, {"QRTX", "A"}));
    Done("A");
    EXPECT_TRUE(mDeployment.IsIdle());
}

TEST_F(Deploying, OwesAProcessThatComesBackAndAsksAgainOneEnd) {
    const Asker back{kAnna.mAppId, 7, kAnna.mProcessId};
    const StartOfProcess startOf = [](std::int32_t) { return 5U; };
    RequestFrom(kAnna, "A", 5);
    Share("A", 0.5);
    RequestFrom(back, "A", 5);
    RequestFrom(kAnna, "B", 5);
    Cancel(kAnna, "B");
    RequestFrom(back, "B", 5);
    Told();
    mDeployment.OnEndPoints({back}, startOf);
    Done("A");
    EXPECT_THAT(Told(), ElementsAre("AA 100", "AA completed"));
    Done("B", CancelledByAsker{});
    EXPECT_THAT(Told(), IsEmpty());
    Done("B");
    EXPECT_THAT(Told(), ElementsAre("AB 100", "AB completed"));
    for (std::size_t i = 0; i != Deployment::kMaxRequests; ++i) Request({"ANNA-1", i, 1}, {"A"});
    EXPECT_THAT(Told(), testing::Not(testing::Contains(testing::HasSubstr("error"))))
        << "they are counted twice";
}

TEST_F(Deploying, TellsAProcessThatComesBackNoLessThanBefore) {
    const Asker back{kAnna.mAppId, 7, kAnna.mProcessId};
    RequestFrom(kAnna, "A", 5);
    Share("A", 0.8);
    Cancel(kAnna, "A");
    RequestFrom(kAnna, "A", 5);
    RequestFrom(back, "A", 5);
    mDeployment.OnEndPoints({back}, [](std::int32_t) { return 5U; });
    Done("A", CancelledByAsker{});
    Told();
    Share("A", 0.5);
    Share("A", 0.9);
    EXPECT_THAT(Told(), ElementsAre("AA 90"));
}

TEST_F(Deploying, FollowsNobodyOfWhomItIsNotKnownWhenTheProcessStarted) {
    const StartOfProcess startOf = [](std::int32_t) { return 0U; };  // it has ended meanwhile
    RequestFrom(kAnna, "A", 0);
    mDeployment.OnEndPoints({{kAnna.mAppId, 7, kAnna.mProcessId}}, startOf);
    EXPECT_TRUE(mDeployment.IsAwaited(kAnna, {"QRTX", "A"}));
}

}  // namespace zarnd_test
