#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaMessage5Double.h"
#include "transport/PlexaInterface.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using doubles::AssertionWatch;
using doubles::BrokerFile;
using doubles::LockWatch;
using doubles::Message5Double;
using doubles::TraceWatch;
using testing::ElementsAre;
using testing::IsEmpty;

void Ignore(const std::string& /*inType*/, const std::string& /*inPayload*/, const std::string& /*inError*/,
            const std::string& /*inAppId*/) {}

const std::vector<std::string> kInitializeCalls = {
    "SetConfig QRTX 1.0", "GetInstance", "RegisterEndPointRefreshCallback", "AddListener", "EnableListener"};
const std::vector<std::string> kTerminateCalls = {"UnregisterEndPointRefreshCallback", "DisableListener",
                                                  "RemoveListener", "ReleaseInstance"};

class TransportLifecycle : public testing::Test {
  protected:
    static bool Initialize() { return PlexaInterface::Instance().Initialize("QRTX", "1.0", &Ignore); }
    static std::vector<std::string> TakeCalls() {
        std::vector<std::string> calls = Message5Double::Get().Calls();
        Message5Double::Get().ClearCalls();
        return calls;
    }

    BrokerFile mBroker;
    AssertionWatch mAssertions;
    Message5Double& mDouble = Message5Double::Get();
    PlexaInterface& mTransport = PlexaInterface::Instance();
};

TEST_F(TransportLifecycle, WithoutABrokerFileNothingIsConfigured) {
    const BrokerFile none(false);
    const TraceWatch trace("nuoplexasupport::PlexaInterface=5");
    const LockWatch locks;
    EXPECT_FALSE(Initialize());
    EXPECT_THAT(mDouble.Calls(), IsEmpty());
    EXPECT_THAT(mAssertions.Brief(),
                ElementsAre("0|PlexaInterface::Initialize cannot find OrvaneIPCBroker file"));
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre("5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 6 error type= [plexa] Message "
                    "error: OrvaneIPCBroker file does not exist\r\n"));
    EXPECT_THAT(locks.Acquisitions(), IsEmpty());
}

TEST_F(TransportLifecycle, InitializeConfiguresObtainsAndRegistersInOrder) {
    const LockWatch locks;
    EXPECT_TRUE(Initialize());
    EXPECT_EQ(TakeCalls(), kInitializeCalls);
    EXPECT_EQ(mDouble.Listener(), &mTransport);
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::PlexaInterface::Initialize|60000",
                                                  "nuoplexasupport::PlexaInterface::IsReady|60000"));
}

TEST_F(TransportLifecycle, FailingConfigurationIsTracedOnly) {
    const TraceWatch trace("nuoplexasupport::PlexaInterface=5");
    mDouble.mSetConfigResult = api::kPlexaMessageErrorCode_InvalidParameter;
    mDouble.mGetInstanceResult = api::kPlexaMessageErrorCode_Unknown;
    EXPECT_TRUE(Initialize());
    EXPECT_EQ(TakeCalls(), kInitializeCalls);
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre("5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 3 error type= [plexa] Message "
                    "error: Invalid parameter\r\n",
                    "5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 7 error type= [plexa] Message "
                    "error: Unknown\r\n"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(TransportLifecycle, WithoutADispatcherTheCallbackIsStoredAndNothingRegistered) {
    mDouble.mGivesDispatcher = false;
    mDouble.mGetInstanceResult = api::kPlexaMessageErrorCode_BrokerProcessDoesNotExist;
    EXPECT_FALSE(Initialize());
    EXPECT_THAT(TakeCalls(), ElementsAre("SetConfig QRTX 1.0", "GetInstance"));
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher|result: 5"));
    // A stored callback takes the message without the assertion that a missing one raises.
    mAssertions.Clear();
    mTransport.Receive(api::SuiteMessage("T"));
    EXPECT_THAT(mAssertions.Brief(), IsEmpty());
}

TEST_F(TransportLifecycle, ThePointerDecidesNotTheCode) {
    mDouble.mGivesDispatcher = false;
    mDouble.mGetInstanceResult = api::kPlexaMessageErrorCode_None;
    EXPECT_FALSE(Initialize());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher|result: 0"));
}

TEST_F(TransportLifecycle, ASecondInitializeComplainsAndOverwrites) {
    Initialize();
    EXPECT_TRUE(Initialize());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("!mDispatcher"));
}

TEST_F(TransportLifecycle, ARefreshWhileReadyMakesReady) {
    Initialize();
    TakeCalls();
    const LockWatch locks;
    mDouble.Refresh();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetEndPointList", "ReleaseEndPointList", "IsDispatcherReady",
                                         "IsDispatcherReady"));
    EXPECT_THAT(locks.Acquisitions(),
                ElementsAre("nuoplexasupport::PlexaInterface::GetEndPoints|60000",
                            "nuoplexasupport::PlexaInterface::EndPointRefreshComplete|60000",
                            "nuoplexasupport::PlexaInterface::EndPointRefreshComplete|60000"));
    EXPECT_TRUE(mTransport.IsReady());
    EXPECT_EQ(mDouble.ArraysOut(), 0U);
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(TransportLifecycle, ARefreshWhileNotReadyRefreshesTheEndPointsOnly) {
    Initialize();
    mDouble.mReadyAnswers = {false};
    TakeCalls();
    mDouble.Refresh();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetEndPointList", "ReleaseEndPointList", "IsDispatcherReady",
                                         "IsDispatcherReady"));
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher && dispatcher->IsDispatcherReady()"));
}

TEST_F(TransportLifecycle, ReadinessIsAskedTwiceAndTheSecondAnswerDecides) {
    Initialize();
    mDouble.mReadyAnswers = {true, false};
    mDouble.Refresh();
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), IsEmpty());
    mDouble.mReadyAnswers = {false, true};
    mDouble.Refresh();
    EXPECT_TRUE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher && dispatcher->IsDispatcherReady()"));
}

TEST_F(TransportLifecycle, ARefreshForAnotherContextRefreshesTheSingleton) {
    Initialize();
    int other = 0;
    mDouble.Refresh(&other);
    EXPECT_TRUE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("&Instance() == inThis"));
}

TEST_F(TransportLifecycle, ARefreshWithoutADispatcherIsReportedAndHarmless) {
    PlexaInterface::EndPointRefreshCompleteStatic(&mTransport);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher && dispatcher->IsDispatcherReady()"));
}

TEST_F(TransportLifecycle, AFailingEndPointListKeepsTheCacheAndIsNotGivenBack) {
    Initialize();
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mDouble.Refresh();
    mDouble.mEndPoints = {api::EndPoint("OTHER-1", 1, 30)};
    mDouble.mGetEndPointListResult = api::kPlexaMessageErrorCode_Unknown;
    TakeCalls();
    mDouble.Refresh();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetEndPointList", "IsDispatcherReady", "IsDispatcherReady"));
    mTransport.Send("T", "p", "PEER-1");
    EXPECT_THAT(TakeCalls(), ElementsAre("GetSelfEndPoint",
                                         "SendMessage type=T payload=p source=SELF-1 destination=PEER-1"));
}

TEST_F(TransportLifecycle, AnEmptyEndPointListIsGivenBackOnlyWhenThereIsAnArray) {
    Initialize();
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mDouble.Refresh();
    mDouble.mGivesNullArray = true;
    TakeCalls();
    mDouble.Refresh();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetEndPointList", "IsDispatcherReady", "IsDispatcherReady"));
    mTransport.Send("T", "p", "PEER-1");
    EXPECT_THAT(TakeCalls(), ElementsAre("GetSelfEndPoint", "SendMessage type=T payload=p source=SELF-1"));
}

TEST_F(TransportLifecycle, TerminateUndoesInReverseOrderAndStaysReady) {
    Initialize();
    mDouble.Refresh();
    TakeCalls();
    const LockWatch locks;
    mTransport.Terminate();
    EXPECT_EQ(TakeCalls(), kTerminateCalls);
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::PlexaInterface::Terminate|60000"));
    EXPECT_TRUE(mTransport.IsReady());
    mTransport.Terminate();
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(TransportLifecycle, TerminateWithoutInitializeDoesNothing) {
    mTransport.Terminate();
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_FALSE(mTransport.IsReady());
}

TEST_F(TransportLifecycle, ASecondInitializeAfterTerminateIsReadyAtOnce) {
    Initialize();
    mDouble.Refresh();
    mTransport.Terminate();
    EXPECT_TRUE(Initialize());
    TakeCalls();
    mTransport.Send("T", "p", "");
    EXPECT_THAT(TakeCalls(), ElementsAre("GetSelfEndPoint", "SendMessage type=T payload=p source=SELF-1"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(TransportLifecycle, NoDispatcherOperationRunsUnderTheMutex) {
    // In every operation another thread takes the mutex; under it that would wait for ever.
    int probes = 0;
    mDouble.mOnCall = [&] {
        std::thread([] { static_cast<void>(PlexaInterface::Instance().IsReady()); }).join();
        ++probes;
    };
    Initialize();
    mTransport.Send("T", "p", "");
    mDouble.Refresh();
    mTransport.Terminate();
    EXPECT_EQ(static_cast<std::size_t>(probes), mDouble.Calls().size());
    EXPECT_EQ(probes, 15);
}

TEST_F(TransportLifecycle, AssertionsNameTheirPlace) {
    const std::string place = "PlexaInterface|0|nuoplexasupport::PlexaInterface::";
    int other = 0;
    mDouble.mReadyAnswers = {false};
    Initialize();
    Initialize();
    mDouble.Refresh(&other);
    mTransport.Terminate();
    mTransport.Receive(api::SuiteMessage("T"));
    mDouble.mGivesDispatcher = false;
    Initialize();
    EXPECT_THAT(mAssertions.Records(),
                ElementsAre(place + "Initialize|!mDispatcher|",
                            place + "EndPointRefreshCompleteStatic|&Instance() == inThis|",
                            place + "EndPointRefreshComplete|dispatcher && dispatcher->IsDispatcherReady()|",
                            place + "Receive|callback|", place + "Initialize|dispatcher|result: 0"));
}

}  // namespace
}  // namespace nuoplexasupport
