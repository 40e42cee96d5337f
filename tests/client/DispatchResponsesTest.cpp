#include "client/DispatchFixture.h"

namespace nuoplexasupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Dispatch, AResponseReachesItsClientOnceAndItsEntryIsGone) {
    const auto a = MakeClient("a");
    Await(a, kId1);
    Await(a, kId2);
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"), "E:F");
    EXPECT_THAT(TakeCalls(), ElementsAre(std::string("a: response T ") + kId1 + R"( {"x":"1"} 'E:F')"));
    EXPECT_EQ(sResponseMap.size(), 1U);
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    Arrive("T", WithId("requestId", kId2));
    EXPECT_THAT(TakeCalls(), ElementsAre(std::string("a: response T ") + kId2 + " {} ''"));
    EXPECT_TRUE(sResponseMap.empty());
}

TEST_F(Dispatch, AnXMLResponseReachesItsClient) {
    const auto a = MakeClient("a");
    Await(a, kId1);
    Arrive("T", std::string("<message><request-id>") + kId1 + "</request-id><x>1</x></message>");
    EXPECT_THAT(TakeCalls(), ElementsAre(std::string("a: response T ") + kId1 + R"( {"x":"1"} '')"));
}

TEST_F(Dispatch, TheEntryGoesBeforeTheCall) {
    const auto a = MakeClient("a");
    Await(a, kId1);
    bool empty = false;
    a->mOnReceive = [&] { empty = sResponseMap.empty(); };
    Arrive("T", WithId("requestId", kId1));
    EXPECT_TRUE(empty);
}

TEST_F(Dispatch, WithoutAnIdAResponseEntryStays) {
    const auto a = MakeClient("a");
    Await(a, kId1);
    Arrive("T", R"({"x":"1"})");
    Arrive("T", WithId("requestId", "no id at all"));
    Arrive("T", WithId("requestId", "00000000-0000-0000-0000-000000000000"));
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(sResponseMap[ImmutableString("T")].size(), 1U);
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Dispatch, AnUnknownIdLeavesTheEntries) {
    const auto a = MakeClient("a");
    Await(a, kId1);
    Arrive("T", WithId("requestId", kId2));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(sResponseMap[ImmutableString("T")].size(), 1U);
}

TEST_F(Dispatch, AnEmptyInnerMapLosesItsOuterEntry) {
    sResponseMap[ImmutableString("T")];
    Arrive("T", WithId("requestId", kId1));
    EXPECT_TRUE(sResponseMap.empty());
}

TEST_F(Dispatch, SubscribersSeeResponsesTooAfterTheAsker) {
    const auto b = Subscribed("b");
    const auto a = MakeClient("a");
    Await(a, kId1);
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"));
    EXPECT_THAT(TakeCalls(), ElementsAre(std::string("a: response T ") + kId1 + R"( {"x":"1"} '')",
                                         R"(b: object T {"x":"1"})"));
}

TEST_F(Dispatch, AnAskerThatIsSubscribedIsServedTwice) {
    const auto a = Subscribed("a");
    Await(a, kId1);
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"));
    EXPECT_THAT(TakeCalls(), ElementsAre(std::string("a: response T ") + kId1 + R"( {"x":"1"} '')",
                                         R"(a: object T {"x":"1"})"));
}

TEST_F(Dispatch, AResponseForAClientThatHasGoneServesSubscribersOnly) {
    const auto b = Subscribed("b");
    Await(MakeClient("gone"), kId1);
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"));
    EXPECT_THAT(TakeCalls(), ElementsAre(R"(b: object T {"x":"1"})"));
    EXPECT_TRUE(sResponseMap.empty());
}

TEST_F(Dispatch, OfSeveralIdsTheLastInOrderCountsAndAllAreRemoved) {
    const auto a = MakeClient("a");
    const char* const keys[] = {"requestId", "request-id", "requestid", "request-context"};
    for (int last = 0; last < 4; ++last) {
        Await(a, kId2);
        std::string payload = "{\"x\":\"1\"";
        // Written in reverse, so that the order of the text plays no part.
        for (int key = last; key >= 0; --key) {
            payload += std::string(",\"") + keys[key] + "\":\"" + (key == last ? kId2 : kId1) + "\"";
        }
        Arrive("T", payload + "}");
        EXPECT_THAT(TakeCalls(), ElementsAre(std::string("a: response T ") + kId2 + R"( {"x":"1"} '')"))
            << payload;
    }
}

TEST_F(Dispatch, ALaterKeyThatHoldsNoIdOverridesAnEarlierOne) {
    const auto a = Subscribed("a");
    Await(a, kId1);
    Arrive("T", WithId("requestId", kId1, R"(,"request-context":"none","x":"1")"));
    EXPECT_THAT(TakeCalls(), ElementsAre(R"(a: object T {"x":"1"})"));
    EXPECT_EQ(sResponseMap.size(), 1U);
}

}  // namespace
}  // namespace nuoplexasupport
