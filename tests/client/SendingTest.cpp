#include <stdexcept>
#include <thread>

#include "client/ClientFixture.h"
#include "nuocore/JSON.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using nuocore::serialization::AddToObject;
using testing::ElementsAre;
using testing::IsEmpty;

const Guid kId = *Guid::Parse("01234567-89ab-cdef-0123-456789abcdef");
constexpr const char* kFile = "..\\..\\src\\PlexaClientImpl|";
constexpr const char* kXMLHeader = R"(<?xml version="1.0" encoding="utf-8" ?>)";

VariantObject Object(const char* inJSON) {
    return boost::any_cast<VariantObject>(*nuocore::serialization::ParseJSON(inJSON));
}

class Sending : public ClientFixture {
  protected:
    Sending() {
        mDouble.mEndPoints = {doubles::api::EndPoint("PEER-1", 1, 20)};
        Startup();
        mDouble.Refresh();
        mDouble.ClearCalls();
    }
    static bool Request(const char* inPayload, PlexaSerializationFlavor inFlavor, PlexaRequestIDKeyType inKey,
                        const Guid& inId = kId, const WeakClient& inClient = {}) {
        return SendClientRequest(inClient, ImmutableString("ASK"), ImmutableString("ANSWER"), inId,
                                 Object(inPayload), inFlavor, inKey, kXMLRootTagDefault_Request);
    }
};

TEST_F(Sending, ARawPayloadGoesAsItIs) {
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), "any text", ""));
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), "", "PEER-1"));
    EXPECT_THAT(TakeSends(), ElementsAre("type=T payload=any text source=SELF-1",
                                         "type=T payload= source=SELF-1 destination=PEER-1"));
}

TEST_F(Sending, ADictionaryGoesAsXMLWithItsRootTag) {
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), Object(R"({"b":"2","a":"<"})"),
                                 kPlexaSerializationFlavor_XML, kXMLRootTagDefault_Message, "PEER-1"));
    EXPECT_THAT(TakeSends(),
                ElementsAre(std::string("type=T payload=") + kXMLHeader +
                            "<message><a>&lt;</a><b>2</b></message> source=SELF-1 destination=PEER-1"));
}

TEST_F(Sending, ADictionaryGoesAsJSONWithoutRootTag) {
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), Object(R"({"b":[1,2.5,true,null],"a":"<"})"),
                                 kPlexaSerializationFlavor_JSON, "ignored", ""));
    EXPECT_THAT(TakeSends(), ElementsAre(R"(type=T payload={"a":"<","b":[1,2.5,true,null]} source=SELF-1)"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Sending, AnUnknownFlavorGoesAsJSONAfterAnAssertion) {
    for (const int flavor : {7, 2, -1}) {
        mAssertions.Clear();
        EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), Object(R"({"a":"1"})"),
                                     static_cast<PlexaSerializationFlavor>(flavor), "root", ""));
        EXPECT_THAT(TakeSends(), ElementsAre(R"(type=T payload={"a":"1"} source=SELF-1)"));
        EXPECT_THAT(mAssertions.Records(),
                    ElementsAre(std::string(kFile) +
                                "508|nuoplexasupport::`anonymous-namespace'::SerializeMessagePayload|"
                                "inSerializationFlavor == kPlexaSerializationFlavor_JSON|"));
    }
}

TEST_F(Sending, ANullTargetFailsAndBecomesNoMessageToAll) {
    EXPECT_FALSE(SendPlexaMessage(ImmutableString("T"), "payload", nullptr));
    EXPECT_FALSE(
        SendPlexaMessage(ImmutableString("T"), Object("{}"), kPlexaSerializationFlavor_JSON, "", nullptr));
    EXPECT_THAT(TakeSends(), IsEmpty());
    const std::string record = std::string(kFile) +
                               "572|nuoplexasupport::`anonymous-namespace'::SendPlexaMessageImpl|false|"
                               "Exception caught for request type T";
    EXPECT_THAT(mAssertions.Records(), ElementsAre(record, record));
}

TEST_F(Sending, AThrowingTransportGivesFalseAndKeepsTheRegistration) {
    mDouble.mOnSend = [] { throw std::runtime_error("from the dispatcher"); };
    EXPECT_FALSE(SendPlexaMessage(ImmutableString("T"), "payload", ""));
    EXPECT_FALSE(Request("{}", kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId));
    EXPECT_EQ(sResponseMap[ImmutableString("ANSWER")].count(kId), 1U);
    const std::string record = std::string(kFile) +
                               "572|nuoplexasupport::`anonymous-namespace'::SendPlexaMessageImpl|false|"
                               "Exception caught for request type ";
    EXPECT_THAT(mAssertions.Records(), ElementsAre(record + "T", record + "ASK"));
}

TEST_F(Sending, ThrowingNoStandardExceptionIsCaughtToo) {
    mDouble.mOnSend = [] { throw 5; };  // NOLINT(misc-throw-by-value-catch-by-reference)
    EXPECT_FALSE(SendPlexaMessage(ImmutableString("T"), "payload", ""));
}

TEST_F(Sending, APayloadThatCannotBeWrittenThrowsAndKeepsTheRegistration) {
    EXPECT_THROW(SendPlexaMessage(ImmutableString("T"), Object(R"({"__attributes__":"x"})"),
                                  kPlexaSerializationFlavor_XML, "r", ""),
                 boost::bad_any_cast);
    EXPECT_THROW(
        Request(R"({"__attributes__":"x"})", kPlexaSerializationFlavor_XML, kPlexaRequestIDKeyType_RequestId),
        boost::bad_any_cast);
    EXPECT_EQ(sResponseMap[ImmutableString("ANSWER")].count(kId), 1U);
    EXPECT_THAT(TakeSends(), IsEmpty());
}

TEST_F(Sending, ARequestCarriesItsIdUnderTheChosenKey) {
    const std::string id = "01234567-89ab-cdef-0123-456789abcdef";
    const char* const keys[] = {"requestId", "request-id", "requestid", "request-context"};
    for (int key = 0; key < 4; ++key) {
        EXPECT_TRUE(Request("{}", kPlexaSerializationFlavor_JSON, static_cast<PlexaRequestIDKeyType>(key)));
        EXPECT_THAT(TakeSends(), ElementsAre("type=ASK payload={\"" + std::string(keys[key]) + "\":\"" + id +
                                             "\"} source=SELF-1"));
    }
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Sending, AnUnknownKeyTypeUsesRequestIdAfterAnAssertion) {
    EXPECT_TRUE(Request("{}", kPlexaSerializationFlavor_JSON, static_cast<PlexaRequestIDKeyType>(4)));
    EXPECT_TRUE(Request("{}", kPlexaSerializationFlavor_JSON, static_cast<PlexaRequestIDKeyType>(-3)));
    EXPECT_THAT(TakeSends(),
                testing::Each(R"(type=ASK payload={"requestId":"01234567-89ab-cdef-0123-456789abcdef"} )"
                              "source=SELF-1"));
    const std::string record = std::string(kFile) +
                               "543|nuoplexasupport::`anonymous-namespace'::GetRequestIDKey|false|"
                               "Unrecognized request ID key type: ";
    EXPECT_THAT(mAssertions.Records(), ElementsAre(record + "4", record + "-3"));
}

TEST_F(Sending, ARequestGoesToAllAsXMLUnderItsRootTagOrAsJSONWithoutOne) {
    EXPECT_TRUE(
        Request(R"({"a":"1"})", kPlexaSerializationFlavor_XML, kPlexaRequestIDKeyType_RequestContext));
    EXPECT_TRUE(
        Request(R"({"a":"1"})", kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestContext));
    EXPECT_THAT(
        TakeSends(),
        ElementsAre(std::string("type=ASK payload=") + kXMLHeader +
                        "<request><a>1</a><request-context>01234567-89ab-cdef-0123-456789abcdef"
                        "</request-context></request> source=SELF-1",
                    R"(type=ASK payload={"a":"1","request-context":"01234567-89ab-cdef-0123-456789abcdef"} )"
                    "source=SELF-1"));
}

TEST_F(Sending, ARequestLeavesTheCallersPayloadAlone) {
    const VariantObject payload = Object(R"({"requestId":"mine"})");
    SendClientRequest({}, ImmutableString("ASK"), ImmutableString("ANSWER"), kId, payload,
                      kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, "");
    EXPECT_THAT(TakeSends(), ElementsAre(testing::HasSubstr("01234567-89ab-cdef-0123-456789abcdef")));
    EXPECT_EQ(nuocore::serialization::GetJSONUTF8String(payload, false), R"({"requestId":"mine"})");
}

TEST_F(Sending, ARequestIsRegisteredBeforeItIsSentAndSentWithoutTheLock) {
    bool registered = false;
    mDouble.mOnSend = [&] {
        std::thread([&] {
            SubscribeToMessage({}, ImmutableString("the lock is free"));
            registered = sResponseMap[ImmutableString("ANSWER")].count(kId) == 1;
        }).join();
    };
    const LockWatch locks;
    EXPECT_TRUE(Request("{}", kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId));
    EXPECT_TRUE(registered);
    EXPECT_EQ(locks.Acquisitions().front(), "nuoplexasupport::SendClientRequest|60000");
}

TEST_F(Sending, ALaterRequestWithTheSameTypeAndIdTakesTheResponse) {
    const auto first = MakeClient("first");
    const auto second = MakeClient("second");
    Request("{}", kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, kId, first);
    Request("{}", kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, kId, second);
    Arrive("ANSWER", R"({"requestId":"01234567-89ab-cdef-0123-456789abcdef","x":"1"})");
    EXPECT_THAT(TakeCalls(),
                ElementsAre(R"(second: response ANSWER 01234567-89ab-cdef-0123-456789abcdef {"x":"1"} '')"));
}

TEST_F(Sending, AnAnswerUnderTheKeyOfItsRequestReachesTheAsker) {
    const auto client = MakeClient("a");
    for (int key = 0; key < 4; ++key) {
        const Guid id;
        Request("{}", kPlexaSerializationFlavor_JSON, static_cast<PlexaRequestIDKeyType>(key), id, client);
        const std::string sent = TakeSends().at(0);
        const std::size_t begin = sent.find('{');
        Arrive("ANSWER", sent.substr(begin, sent.find('}') + 1 - begin));
        EXPECT_THAT(TakeCalls(),
                    ElementsAre("a: response ANSWER " + std::string(id.AsUTF8String()) + " {} ''"));
    }
}

TEST_F(Sending, MessagesAfterShutdownAreTrueAndDropped) {
    Shutdown();
    TakeSends();
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), "payload", ""));
    EXPECT_THAT(TakeSends(), IsEmpty());
}

TEST_F(Sending, AValueThatJSONCannotExpressThrows) {
    VariantObject object;
    object["n"] = nuocore::serialization::MakeValue(5);
    EXPECT_THROW(SendPlexaMessage(ImmutableString("T"), object, kPlexaSerializationFlavor_JSON, "", ""),
                 nuocore::serialization::JSONError);
    EXPECT_THAT(TakeSends(), IsEmpty());
}

TEST_F(Sending, ADictionaryThatContainsItselfThrowsInEitherFlavor) {
    VariantObject object;
    const auto self = nuocore::serialization::MakeValue(VariantObject());
    boost::any_cast<VariantObject&>(*self)["self"] = self;
    object["self"] = self;
    EXPECT_THROW(SendPlexaMessage(ImmutableString("T"), object, kPlexaSerializationFlavor_XML, "r", ""),
                 std::length_error);
    EXPECT_THROW(SendPlexaMessage(ImmutableString("T"), object, kPlexaSerializationFlavor_JSON, "", ""),
                 nuocore::serialization::JSONError);
    boost::any_cast<VariantObject&>(*self).clear();
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), object, kPlexaSerializationFlavor_XML, "r", ""));
}

TEST_F(Sending, ADictionaryHasAtMostFiveHundredAndTwelveLevels) {
    VariantObject object;
    for (int levels = 1; levels < 512; ++levels) {
        VariantObject outer;
        outer["a"] = nuocore::serialization::MakeValue(std::move(object));
        object = std::move(outer);
    }
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), object, kPlexaSerializationFlavor_XML, "r", ""));
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), object, kPlexaSerializationFlavor_JSON, "r", ""));
    EXPECT_EQ(TakeSends().size(), 2U);
    VariantObject deeper;
    deeper["a"] = nuocore::serialization::MakeValue(object);
    EXPECT_THROW(SendPlexaMessage(ImmutableString("T"), deeper, kPlexaSerializationFlavor_XML, "r", ""),
                 std::length_error);
    EXPECT_THROW(SendPlexaMessage(ImmutableString("T"), deeper, kPlexaSerializationFlavor_JSON, "r", ""),
                 nuocore::serialization::JSONError);
    EXPECT_THAT(TakeSends(), IsEmpty());
}

TEST_F(ClientFixture, MessagesSentBeforeReadyAreTrueAndQueued) {
    Startup();
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), "payload", ""));
    EXPECT_THAT(TakeSends(), IsEmpty());
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), ElementsAre("type=T payload=payload source=SELF-1"));
}

}  // namespace
}  // namespace nuoplexasupport
