#include <cstring>
#include <stdexcept>
#include <thread>

#include "client/ClientFixture.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kId1 = "11111111-1111-1111-1111-111111111111";
constexpr const char* kId2 = "22222222-2222-2222-2222-222222222222";
constexpr const char* kCallback = "nuoplexasupport::`anonymous-namespace'::PlexaMessageStaticCallback|60000";
constexpr const char* kDoesAnybodyCare =
    "nuoplexasupport::`anonymous-namespace'::DoesAnybodyCareAboutThisMessage|60000";
const std::string kFailure =
    "..\\..\\src\\PlexaClientImpl|406|"
    "nuoplexasupport::`anonymous-namespace'::PlexaMessageStaticCallback|false|";

class Dispatch : public ClientFixture {
  protected:
    boost::shared_ptr<RecordingClient> Subscribed(const char* inName, const char* inType = "T") {
        auto client = MakeClient(inName);
        SubscribeToMessage(client, ImmutableString(inType));
        return client;
    }
    static void Await(const WeakClient& inClient, const char* inId, const char* inType = "T") {
        sResponseMap[ImmutableString(inType)][*Guid::Parse(inId)] = inClient;
    }
    static std::string WithId(const char* inKey, const char* inId, const char* inRest = "") {
        return std::string("{\"") + inKey + "\":\"" + inId + "\"" + inRest + "}";
    }
};

TEST_F(Dispatch, AMessageNobodyCaresAboutIsNotEvenLookedAt) {
    Subscribed("a", "OTHER");
    sNotificationSubscriptionClientsMap.emplace(std::pair(ImmutableString("T"), ImmutableString("S")),
                                                std::pair(WeakClient(), ImmutableString("N")));
    const LockWatch locks;
    Arrive("T", "{ broken");
    EXPECT_THAT(locks.Acquisitions(), ElementsAre(kDoesAnybodyCare));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Dispatch, AnExpiredSubscriptionStillCountsAsCaring) {
    Subscribed("gone");
    Arrive("T", "{ broken");
    EXPECT_THAT(mAssertions.Records(), ElementsAre(kFailure));
}

TEST_F(Dispatch, AnEmptyPayloadDeliversNothing) {
    const auto a = Subscribed("a");
    Subscribed("gone");
    const LockWatch locks;
    Arrive("T", "", "error:fault");
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_THAT(locks.Acquisitions(), ElementsAre(kDoesAnybodyCare));
    // Not even the purging is reached.
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 2U);
}

TEST_F(Dispatch, EachStepTakesItsOwnLock) {
    const auto a = Subscribed("a");
    const LockWatch locks;
    Arrive("T", R"({"x":"1"})");
    EXPECT_THAT(locks.Acquisitions(), ElementsAre(kDoesAnybodyCare, kCallback));
    Arrive("T", WithId("requestId", kId1));
    EXPECT_THAT(locks.Acquisitions(),
                ElementsAre(kDoesAnybodyCare, kCallback, kDoesAnybodyCare, kCallback, kCallback));
}

TEST_F(Dispatch, ObjectsOfEitherFormatReachSubscribersAsObjects) {
    const auto a = Subscribed("a");
    Arrive("T", R"( {"x":"1","n":[1]})");
    Arrive("T", "\t\r\n<message><x>1</x></message>");
    EXPECT_THAT(TakeCalls(), ElementsAre(R"(a: object T {"n":[1],"x":"1"})", R"(a: object T {"x":"1"})"));
}

TEST_F(Dispatch, WordsReachSubscribersAsTheyAre) {
    const auto a = Subscribed("a");
    Arrive("T", "  plain words ", "", "APP-9");
    Arrive("T", "   ");
    Arrive("T", "\"text\"");
    Arrive("T", "12");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T '  plain words ' from APP-9", "a: raw T '   ' from PEER-1",
                                         "a: raw T '\"text\"' from PEER-1", "a: raw T '12' from PEER-1"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Dispatch, EmptyObjectsReachSubscribersAsTheUntouchedText) {
    const auto a = Subscribed("a");
    Arrive("T", " \t\r\n{ } ");
    Arrive("T", "<message>text</message>");
    Arrive("T", WithId("requestid", kId1));
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T ' \t\r\n{ } ' from PEER-1",
                                         "a: raw T '<message>text</message>' from PEER-1",
                                         "a: raw T '" + WithId("requestid", kId1) + "' from PEER-1"));
}

TEST_F(Dispatch, WhatCannotBeDecodedReachesNobody) {
    const auto a = Subscribed("a");
    Await(a, kId1);
    for (const char* payload :
         {"{", "[1]", " [", "{\"x\":}", "<message>", "<a/><b/>", " <?xml version='1.0'?><a/>", "\v<a/>",
          "\f<a/>", "\v{}", "{\"requestId\":5}", "{\"requestId\":null}", "{\"requestId\":{}}",
          "<m v='1'><requestId x='1'/></m>"}) {
        mAssertions.Clear();
        Arrive("T", payload);
        EXPECT_THAT(mAssertions.Records(), ElementsAre(kFailure)) << payload;
    }
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(sResponseMap.size(), 1U);
}

TEST_F(Dispatch, HostilePayloadsTakeTheFailurePath) {
    const auto a = Subscribed("a");
    Arrive("T", std::string(100000, '['));
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "{\"a\":";
    }
    Arrive("T", deep);
    Arrive("T", "<m>" + std::string(100000, '<'));
    EXPECT_THAT(mAssertions.Records(), ElementsAre(kFailure, kFailure, kFailure));
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

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

TEST_F(Dispatch, ExpiredSubscribersAreSkippedAndPurged) {
    Subscribed("gone");
    Subscribed("gone too");
    const auto a = Subscribed("a");
    Subscribed("other", "OTHER");
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T 'words' from PEER-1"));
    EXPECT_EQ(sMessageSubscriptionClientsMap.count(ImmutableString("T")), 1U);
    EXPECT_EQ(sMessageSubscriptionClientsMap.count(ImmutableString("OTHER")), 1U);
}

TEST_F(Dispatch, AnUndecodableMessagePurgesNothing) {
    Subscribed("gone");
    Arrive("T", "{");
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 1U);
}

TEST_F(Dispatch, ANotificationCarriesTypesFromTheMessage) {
    const auto a = Subscribed("a");
    Arrive("T", "<m v='1'><notification-signal type='N' sub-type='S'/><x>1</x></m>");
    Arrive("T", "<m><x>1</x><notification-signal type='' sub-type=''/></m>");
    EXPECT_THAT(
        TakeCalls(),
        ElementsAre(
            R"(a: notification N/S {"notification-signal":{"__attributes__":{"sub-type":"S","type":"N"}},)"
            R"("x":"1"})",
            R"(a: notification / {"notification-signal":{"__attributes__":{"sub-type":"","type":""}},)"
            R"("x":"1"})"));
}

TEST_F(Dispatch, ASignalThatComesFirstUnderARootWithoutAttributesIsNoNotification) {
    const auto a = Subscribed("a");
    Arrive("T", "<m><notification-signal type='N' sub-type='S'/></m>");
    EXPECT_THAT(TakeCalls(), ElementsAre(R"(a: object T {"notification-signal":""})"));
}

TEST_F(Dispatch, WithoutBothTypesItIsNoNotification) {
    const auto a = Subscribed("a");
    Arrive("T", "<m v='1'><notification-signal type='N'/></m>");
    Arrive("T", "<m v='1'><notification-signal sub-type='S'/></m>");
    Arrive("T", "<m v='1'><notification-signal>text</notification-signal></m>");
    Arrive("T", "<m v='1'><x type='N' sub-type='S'/></m>");
    // JSON is never a notification.
    Arrive("T", R"({"notification-signal":{"__attributes__":{"type":"N","sub-type":"S"}}})");
    const std::vector<std::string> calls = TakeCalls();
    EXPECT_EQ(calls.size(), 5U);
    EXPECT_THAT(calls, testing::Each(testing::StartsWith("a: object T")));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Dispatch, ANotificationComesBeforeTheQuestionWhetherTheObjectIsEmpty) {
    const auto a = Subscribed("a");
    Arrive("T", std::string("<m v='1'><notification-signal type='N' sub-type='S'/><requestId>") + kId1 +
                    "</requestId></m>");
    EXPECT_THAT(TakeCalls(), ElementsAre(testing::StartsWith("a: notification N/S ")));
}

TEST_F(Dispatch, EachDiagnosticOfAnXMLPayloadFiresTwice) {
    const std::string duplicate = "objectMap.count(tag) == 0|Found duplicate tag in Plexa XML payload: <a>";
    const auto a = Subscribed("a");
    Arrive("T", "<m><a>1</a><a>2</a></m>");
    EXPECT_THAT(mAssertions.Brief(), ElementsAre(duplicate, duplicate));
    // Also when nobody is left to be served.
    mAssertions.Clear();
    Subscribed("gone", "U");
    Arrive("U", "<m><a>1</a><a>2</a></m>");
    EXPECT_THAT(mAssertions.Brief(), ElementsAre(duplicate, duplicate));
}

TEST_F(Dispatch, ClientsAreCalledWithoutTheLock) {
    const auto a = Subscribed("a");
    Await(a, kId1);
    int calls = 0;
    a->mOnReceive = [&] {
        std::thread([&] {
            SubscribeToMessage({}, ImmutableString("U"));
            ++calls;
        }).join();
    };
    Arrive("T", WithId("requestId", kId1));
    EXPECT_EQ(calls, 2);
}

TEST_F(Dispatch, AClientMayUnsubscribeAndSubscribeInsideItsCall) {
    const auto a = Subscribed("a");
    const auto b = Subscribed("b");
    a->mOnReceive = [&] {
        UnsubscribeFromMessage(a, ImmutableString("T"));
        UnsubscribeFromMessage(b, ImmutableString("T"));
        SubscribeToMessage(a, ImmutableString("U"));
    };
    // The list of this message stands: the other client is still served.
    Arrive("T", "1");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T '1' from PEER-1", "b: raw T '1' from PEER-1"));
    Arrive("T", "2");
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Dispatch, ASubscriberMadeByTheResponseSeesTheMessage) {
    const auto a = MakeClient("a");
    const auto b = MakeClient("b");
    Await(a, kId1);
    a->mOnReceive = [&] { SubscribeToMessage(b, ImmutableString("T")); };
    Arrive("T", WithId("requestId", kId1, R"(,"x":"1")"));
    EXPECT_THAT(TakeCalls(), ElementsAre(testing::StartsWith("a: response"), R"(b: object T {"x":"1"})"));
}

TEST_F(Dispatch, AClientThatThrowsDoesNotKeepOthersFromBeingServed) {
    const auto a = Subscribed("a");
    const auto b = Subscribed("b");
    Await(a, kId1);
    a->mOnReceive = [] { throw std::runtime_error("from a client"); };
    EXPECT_NO_THROW(Arrive("T", WithId("requestId", kId1)));
    EXPECT_EQ(TakeCalls().size(), 3U);
    a->mOnReceive = [] { throw 5; };  // NOLINT(misc-throw-by-value-catch-by-reference)
    EXPECT_NO_THROW(Arrive("T", "words"));
    EXPECT_EQ(TakeCalls().size(), 2U);
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
    EXPECT_EQ(mLog.Records().size(), 3U);
}

TEST_F(Dispatch, AClientLivesUntilItsDeliveryIsOver) {
    auto a = Subscribed("a");
    bool destroyed = false;
    a->mOnDestruction = [&] { destroyed = true; };
    bool livedInside = false;
    a->mOnReceive = [&] {
        a.reset();
        livedInside = !destroyed;
    };
    Arrive("T", "words");
    EXPECT_TRUE(livedInside);
    EXPECT_TRUE(destroyed);
}

TEST_F(Dispatch, TheLastShutdownMayHappenInsideADelivery) {
    auto a = Subscribed("a");
    mDouble.Refresh();
    mDouble.ClearCalls();
    a->mOnReceive = [&] { a.reset(); };
    Arrive("T", "words");
    EXPECT_EQ(mDouble.Calls().back(), "ReleaseInstance");
}

// A message with its envelope.
class Enveloped final : public doubles::api::SuiteMessage {
  public:
    Enveloped() : SuiteMessage("T") {
        SetPayload("{\"x\":\"1\"}");
        SetSource(doubles::api::EndPoint("PEER-1", 1, 2));
    }
    std::size_t GetMessageTextSize() const override { return sizeof kText; }
    void GetMessageText(char* outBuffer) const override { std::memcpy(outBuffer, kText, sizeof kText); }

  private:
    inline static constexpr char kText[] = "<message><type>T</type></message>";
};

TEST_F(Dispatch, TheWholeRoadFromTheDispatcherToTheClient) {
    const auto a = Subscribed("a");
    mDouble.Deliver(Enveloped());
    EXPECT_THAT(TakeCalls(), ElementsAre(R"(a: object T {"x":"1"})"));
}

}  // namespace
}  // namespace nuoplexasupport
