#include "client/ClientFixture.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using testing::ElementsAre;
using testing::IsEmpty;

using Subscriptions = ClientFixture;

TEST_F(Subscriptions, AreMadeUnderTheRegistryLockAndSendNothing) {
    const auto client = MakeClient("a");
    mDouble.ClearCalls();
    const LockWatch locks;
    SubscribeToMessage(client, ImmutableString("T"));
    UnsubscribeFromMessage(client, ImmutableString("T"));
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::SubscribeToMessage|60000",
                                                  "nuoplexasupport::UnsubscribeFromMessage|60000"));
    EXPECT_THAT(mDouble.Calls(), IsEmpty());
}

TEST_F(Subscriptions, ATwiceSubscribedClientIsCalledTwiceAndRemovedAtOnce) {
    const auto client = MakeClient("a");
    SubscribeToMessage(client, ImmutableString("T"));
    SubscribeToMessage(client, ImmutableString("T"));
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T 'words' from PEER-1", "a: raw T 'words' from PEER-1"));
    UnsubscribeFromMessage(client, ImmutableString("T"));
    EXPECT_TRUE(sMessageSubscriptionClientsMap.empty());
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Subscriptions, UnsubscribingRemovesOnlyThisClientsEntriesOfThisType) {
    const auto a = MakeClient("a");
    const auto b = MakeClient("b");
    SubscribeToMessage(a, ImmutableString("T"));
    SubscribeToMessage(b, ImmutableString("T"));
    SubscribeToMessage(a, ImmutableString("U"));
    UnsubscribeFromMessage(a, ImmutableString("T"));
    Arrive("T", "1");
    Arrive("U", "2");
    EXPECT_THAT(TakeCalls(), ElementsAre("b: raw T '1' from PEER-1", "a: raw U '2' from PEER-1"));
}

TEST_F(Subscriptions, UnsubscribingPurgesWhatHasExpiredUnderTheTypeOnly) {
    const auto a = MakeClient("a");
    auto gone = MakeClient("gone");
    SubscribeToMessage(gone, ImmutableString("T"));
    SubscribeToMessage(gone, ImmutableString("U"));
    SubscribeToMessage(a, ImmutableString("T"));
    gone.reset();
    UnsubscribeFromMessage({}, ImmutableString("T"));
    EXPECT_EQ(sMessageSubscriptionClientsMap.count(ImmutableString("T")), 1U);
    EXPECT_EQ(sMessageSubscriptionClientsMap.count(ImmutableString("U")), 1U);
}

TEST_F(Subscriptions, AreServedInTheOrderOfSubscribing) {
    const auto a = MakeClient("a");
    const auto b = MakeClient("b");
    const auto c = MakeClient("c");
    for (const auto& client : {b, c, a}) {
        SubscribeToMessage(client, ImmutableString("T"));
    }
    Arrive("T", "1");
    EXPECT_THAT(TakeCalls(), ElementsAre("b: raw T '1' from PEER-1", "c: raw T '1' from PEER-1",
                                         "a: raw T '1' from PEER-1"));
}

TEST_F(Subscriptions, SurviveShutdown) {
    auto client = MakeClient("a");
    Startup();
    SubscribeToMessage(client, ImmutableString("T"));
    Shutdown();
    Arrive("T", "1");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T '1' from PEER-1"));
}

}  // namespace
}  // namespace nuoplexasupport
