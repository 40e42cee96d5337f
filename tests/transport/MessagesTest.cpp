#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaMessage5Double.h"
#include "transport/Envelopes.h"
#include "transport/PlexaInterface.h"
#include "transport/Received.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using doubles::AssertionWatch;
using doubles::BrokerFile;
using doubles::LockWatch;
using doubles::Message5Double;
using testing::ElementsAre;
using testing::IsEmpty;

void Receive(const std::string& inType, const std::string& inPayload, const std::string& inError,
             const std::string& inAppId) {
    NoteReceived(inType, inPayload, inError, inAppId);
    if (inPayload == "throw") {
        throw std::runtime_error("from the callback");
    }
    if (inPayload == "throw 5") {
        throw 5;  // NOLINT(misc-throw-by-value-catch-by-reference)
    }
    if (inPayload == "probe") {
        // Under the mutex another thread would wait for ever.
        std::thread([] { static_cast<void>(PlexaInterface::Instance().IsReady()); }).join();
    }
}

// A message whose texts a test writes itself.
class OwnText final : public api::PlexaMessage {
  public:
    explicit OwnText(std::string inText) : PlexaMessage(""), mText(std::move(inText)) {}
    std::size_t GetMessageTextSize() const override { return mText.empty() ? 0 : mText.size() + 1; }
    void GetMessageText(char* outBuffer) const override {
        std::memcpy(outBuffer, mText.c_str(), mText.size() + 1);
    }

  private:
    std::string mText;
};

class TransportMessages : public testing::Test {
  protected:
    TransportMessages() { mTransport.Initialize("QRTX", "1.0", &Receive); }

    std::vector<std::string> TakeSends() {
        std::vector<std::string> sends;
        for (const std::string& call : mDouble.Calls()) {
            if (call.rfind("SendMessage", 0) == 0) {
                sends.push_back(call);
            }
        }
        mDouble.ClearCalls();
        return sends;
    }

    BrokerFile mBroker;
    AssertionWatch mAssertions;
    Message5Double& mDouble = Message5Double::Get();
    PlexaInterface& mTransport = PlexaInterface::Instance();
};

TEST_F(TransportMessages, SentBeforeReadyAreFlushedInOrder) {
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mTransport.Send("A", "1", "PEER-1");
    mTransport.Send("B", "2", "");
    mTransport.Send("C", "3", "UNKNOWN-1");
    EXPECT_THAT(TakeSends(), IsEmpty());
    mDouble.mReadyAnswers = {false};
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), IsEmpty());
    mDouble.mReadyAnswers = {true};
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=A payload=1 source=SELF-1 destination=PEER-1",
                                         "SendMessage type=B payload=2 source=SELF-1",
                                         "SendMessage type=C payload=3 source=SELF-1"));
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), IsEmpty());
}

TEST_F(TransportMessages, TheDestinationOfAQueuedMessageIsLookedUpAtTheFlush) {
    mDouble.mReadyAnswers = {false};
    mDouble.mEndPoints = {};
    mDouble.Refresh();
    mTransport.Send("A", "1", "PEER-1");
    mDouble.mReadyAnswers = {true};
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=A payload=1 source=SELF-1 destination=PEER-1"));
}

TEST_F(TransportMessages, WhileReadyAreSentAtOnce) {
    mDouble.Refresh();
    mDouble.ClearCalls();
    const LockWatch locks;
    mTransport.Send("T", "p", "");
    EXPECT_THAT(mDouble.Calls(),
                ElementsAre("GetSelfEndPoint", "SendMessage type=T payload=p source=SELF-1"));
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::PlexaInterface::Send|60000"));
}

TEST_F(TransportMessages, GoToTheFirstEndPointWithTheAppId) {
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20), api::EndPoint("PEER-2", 2, 21),
                          api::EndPoint("PEER-1", 3, 22)};
    mDouble.Refresh();
    mDouble.ClearCalls();
    mTransport.Send("T", "p", "PEER-2");
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=T payload=p source=SELF-1 destination=PEER-2"));
    // Byte for byte: neither a prefix nor another letter case matches.
    for (const char* target : {"PEER", "peer-2", "PEER-22", ""}) {
        mTransport.Send("T", "p", target);
        EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=T payload=p source=SELF-1")) << target;
    }
}

TEST_F(TransportMessages, AppIdsCompareUpToTheirFirstNul) {
    mDouble.mEndPoints = {api::EndPoint("", 9, 9), api::EndPoint("PEER-1", 1, 20)};
    mDouble.Refresh();
    TakeSends();
    mTransport.Send("T", "p", std::string("PEER-1\0rest", 11));
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=T payload=p source=SELF-1 destination=PEER-1"));
    // The empty id names nobody, even when an end point has it.
    mTransport.Send("T", "p", std::string("\0PEER-1", 7));
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=T payload=p source=SELF-1"));
}

TEST_F(TransportMessages, TypeAndPayloadEndAtTheirFirstNul) {
    mDouble.Refresh();
    TakeSends();
    mTransport.Send(std::string("T\0x", 3), std::string("p\0x", 3), "");
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=T payload=p source=SELF-1"));
}

TEST_F(TransportMessages, AfterTerminateAreDropped) {
    mDouble.Refresh();
    mTransport.Terminate();
    mDouble.ClearCalls();
    mTransport.Send("T", "p", "");
    EXPECT_THAT(mDouble.Calls(), IsEmpty());
}

TEST_F(TransportMessages, OfBeforeAndAfterATerminateThatCameBeforeReadinessAreQueuedUntilALaterConnection) {
    mTransport.Send("S", "o", "");
    mTransport.Terminate();
    mDouble.ClearCalls();
    mTransport.Send("T", "p", "");
    EXPECT_THAT(mDouble.Calls(), IsEmpty());
    mTransport.Initialize("QRTX", "1.0", &Receive);
    EXPECT_THAT(TakeSends(), IsEmpty());
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), ElementsAre("SendMessage type=S payload=o source=SELF-1",
                                         "SendMessage type=T payload=p source=SELF-1"));
}

TEST_F(TransportMessages, AReceivedSuiteMessageReachesTheCallback) {
    const LockWatch locks;
    Enveloped<api::SuiteMessage> message("T");
    message.SetPayload("payload");
    message.SetSource(api::EndPoint("PEER-1", 1, 20));
    mDouble.Deliver(message);
    EXPECT_THAT(Received(), ElementsAre("T|payload||PEER-1"));
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::PlexaInterface::Receive|60000"));
}

TEST_F(TransportMessages, AnErrorMessageReachesTheCallbackAsErrorAndFault) {
    mDouble.Deliver(Enveloped<api::ErrorMessage>("T", "E", "F"));
    mDouble.Deliver(Enveloped<api::ErrorMessage>("T", "E", ""));
    mDouble.Deliver(Enveloped<api::ErrorMessage>("T", "", "F"));
    EXPECT_THAT(Received(), ElementsAre("T||E:F|", "T||E:|", "T|||"));
}

TEST_F(TransportMessages, OfAnotherKindHaveNoPayloadAndNoError) {
    mDouble.Deliver(OwnText("<message><type>T</type></message>"));
    EXPECT_THAT(Received(), ElementsAre("T|||"));
}

TEST_F(TransportMessages, TheTypeIsReadFromTheMessagesOwnText) {
    mDouble.Deliver(OwnText("<message><source>s</source><type>a &lt; b</type></message>"));
    mDouble.Deliver(OwnText("<message><other/></message>"));
    mDouble.Deliver(OwnText("<other><type>T</type></other>"));
    mDouble.Deliver(OwnText("<message/>"));
    mDouble.Deliver(OwnText("<message><type> T\n</type></message>"));
    EXPECT_THAT(Received(), ElementsAre("a < b|||", "|||", "|||", "|||", " T\n|||"));
}

TEST_F(TransportMessages, EqualTextsAreReadAlikeEachTime) {
    for (int round = 0; round < 3; ++round) {
        for (int type = 0; type < 200; ++type) {
            mDouble.Deliver(OwnText("<message><type>T" + std::to_string(type) + "</type></message>"));
            ASSERT_EQ(Received().back(), "T" + std::to_string(type) + "|||");
        }
    }
    const std::string longType(10000, 'x');
    mDouble.Deliver(OwnText("<message><type>" + longType + "</type></message>"));
    EXPECT_EQ(Received().back(), longType + "|||");
}

TEST_F(TransportMessages, WithATextThatIsNoXMLAreDroppedInSilence) {
    for (const char* text : {"no xml", "<message>", "<message><type>T</message>", "<message a=></message>"}) {
        mDouble.Deliver(OwnText(text));
    }
    EXPECT_THAT(Received(), IsEmpty());
    // No text at all is an empty document.
    mDouble.Deliver(OwnText(""));
    EXPECT_THAT(Received(), ElementsAre("|||"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(TransportMessages, AnExceptionFromTheCallbackEndsInReceive) {
    Enveloped<api::SuiteMessage> message("T");
    for (const char* payload : {"throw", "throw 5"}) {
        message.SetPayload(payload);
        EXPECT_NO_THROW(mDouble.Deliver(message));
    }
    EXPECT_THAT(Received(), ElementsAre("T|throw||", "T|throw 5||"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(TransportMessages, TheCallbackRunsWithoutTheMutex) {
    Enveloped<api::SuiteMessage> message("T");
    message.SetPayload("probe");
    mDouble.Deliver(message);
    EXPECT_THAT(Received(), ElementsAre("T|probe||"));
}

TEST_F(TransportMessages, WithoutACallbackAreReported) {
    mTransport.Terminate();
    mTransport.Receive(Enveloped<api::SuiteMessage>("T"));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("callback"));
}

}  // namespace
}  // namespace nuoplexasupport
