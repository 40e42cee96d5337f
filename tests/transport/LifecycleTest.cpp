#include <thread>

#include "transport/TransportFixture.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using doubles::BrokerFile;
using doubles::LockWatch;
using doubles::TraceWatch;
using testing::ElementsAre;
using testing::IsEmpty;

using TransportLifecycle = TransportFixture;

const std::vector<std::string> kInitializeCalls = {
    "SetConfig QRTX 1.0", "GetInstance", "RegisterEndPointRefreshCallback", "AddListener", "EnableListener"};
const std::vector<std::string> kTerminateCalls = {"UnregisterEndPointRefreshCallback", "DisableListener",
                                                  "RemoveListener", "ReleaseInstance"};

TEST_F(TransportLifecycle, WithoutABrokerFileNothingIsConfiguredAndNoCallbackKept) {
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
    mAssertions.Clear();
    mTransport.Receive(api::SuiteMessage("T"));
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("callback"));
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

TEST_F(TransportLifecycle, ASecondInitializeOverwritesWithNoDispatcherToo) {
    Initialize();
    mDouble.Refresh();
    mDouble.mGivesDispatcher = false;
    EXPECT_FALSE(Initialize());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher|result: 0", "!mDispatcher"));
    TakeCalls();
    mTransport.Send("T", "p", "");
    mTransport.Terminate();
    EXPECT_THAT(TakeCalls(), IsEmpty());
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

TEST_F(TransportLifecycle, ASecondInitializeAfterTerminateIsReadyAtOnceAndKnowsTheEndPoints) {
    Initialize();
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mDouble.Refresh();
    mTransport.Terminate();
    EXPECT_TRUE(Initialize());
    TakeCalls();
    mTransport.Send("T", "p", "PEER-1");
    EXPECT_THAT(TakeCalls(), ElementsAre("GetSelfEndPoint",
                                         "SendMessage type=T payload=p source=SELF-1 destination=PEER-1"));
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

const char* sMutexName = "not asked";

TEST_F(TransportLifecycle, TheMutexHasNoName) {
    const LockWatch locks;
    nuocore::thread::SetLockObserver([](const nuocore::thread::RecursiveMutex& inMutex, const char*,
                                        std::uint32_t) { sMutexName = inMutex.GetName(); });
    static_cast<void>(mTransport.IsReady());
    EXPECT_EQ(sMutexName, nullptr);
}

TEST_F(TransportLifecycle, ReceivingStandsInTheFirstSlot) {
    // As a message library built by another compiler calls it.
    void** const table = *reinterpret_cast<void***>(&mTransport);
    const api::SuiteMessage message("T");
    reinterpret_cast<void (*)(api::IPlexaMessageListener*, const api::PlexaMessage*)>(table[0])(&mTransport,
                                                                                                &message);
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("callback"));
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
