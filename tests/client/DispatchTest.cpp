#include <cstring>

#include "client/DispatchFixture.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kCallback = "nuoplexasupport::`anonymous-namespace'::PlexaMessageStaticCallback|60000";
constexpr const char* kDoesAnybodyCare =
    "nuoplexasupport::`anonymous-namespace'::DoesAnybodyCareAboutThisMessage|60000";
const std::string kFailure =
    "..\\..\\src\\PlexaClientImpl|406|"
    "nuoplexasupport::`anonymous-namespace'::PlexaMessageStaticCallback|false|";

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

TEST_F(Dispatch, ExpiredSubscribersAreSkippedAndPurged) {
    Subscribed("gone");
    Subscribed("gone too");
    const auto a = Subscribed("a");
    Subscribed("other", "OTHER");
    EXPECT_EQ(sMessageSubscriptionClientsMap.count(ImmutableString("T")), 3U);
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
