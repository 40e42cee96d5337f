// What follows when the dispatcher says that its end points were refreshed.
#include <atomic>
#include <thread>

#include "transport/TransportFixture.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using doubles::LockWatch;
using doubles::TraceWatch;
using testing::ElementsAre;
using testing::IsEmpty;

using TransportRefresh = TransportFixture;

TEST_F(TransportRefresh, ARefreshWhileReadyMakesReady) {
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

TEST_F(TransportRefresh, ARefreshWhileNotReadyRefreshesTheEndPointsOnly) {
    Initialize();
    mDouble.mReadyAnswers = {false};
    TakeCalls();
    mDouble.Refresh();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetEndPointList", "ReleaseEndPointList", "IsDispatcherReady",
                                         "IsDispatcherReady"));
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher && dispatcher->IsDispatcherReady()"));
}

TEST_F(TransportRefresh, ReadinessIsAskedTwiceAndTheSecondAnswerDecides) {
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

TEST_F(TransportRefresh, ARefreshForAnotherContextRefreshesTheSingleton) {
    Initialize();
    int other = 0;
    mDouble.Refresh(&other);
    EXPECT_TRUE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("&Instance() == inThis"));
}

TEST_F(TransportRefresh, ARefreshWithoutADispatcherIsReportedAndHarmless) {
    PlexaInterface::EndPointRefreshCompleteStatic(&mTransport);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(mAssertions.Brief(), ElementsAre("dispatcher && dispatcher->IsDispatcherReady()"));
}

TEST_F(TransportRefresh, AFailingEndPointListKeepsTheCacheAndIsNotGivenBack) {
    Initialize();
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mDouble.Refresh();
    mDouble.mEndPoints = {api::EndPoint("OTHER-1", 1, 30)};
    mDouble.mGetEndPointListResult = api::kPlexaMessageErrorCode_Unknown;
    TakeCalls();
    const TraceWatch trace("nuoplexasupport::PlexaInterface=5");
    mDouble.Refresh();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetEndPointList", "IsDispatcherReady", "IsDispatcherReady"));
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre("5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 7 error type= [plexa] Message "
                    "error: Unknown\r\n"));
    mTransport.Send("T", "p", "PEER-1");
    EXPECT_THAT(TakeCalls(), ElementsAre("GetSelfEndPoint",
                                         "SendMessage type=T payload=p source=SELF-1 destination=PEER-1"));
}

TEST_F(TransportRefresh, TheOtherCodeOfSuccessRefreshesTheEndPointsToo) {
    Initialize();
    mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
    mDouble.mGetEndPointListResult = api::kPlexaMessageErrorCode_AlreadyDone;
    mDouble.Refresh();
    TakeCalls();
    mTransport.Send("T", "p", "PEER-1");
    EXPECT_EQ(TakeCalls().back(), "SendMessage type=T payload=p source=SELF-1 destination=PEER-1");
    EXPECT_EQ(mDouble.ArraysOut(), 0U);
}

TEST_F(TransportRefresh, AFailingEndPointListDoesNotKeepFromBecomingReady) {
    Initialize();
    mDouble.mGetEndPointListResult = api::kPlexaMessageErrorCode_Unknown;
    mDouble.Refresh();
    EXPECT_TRUE(mTransport.IsReady());
}

TEST_F(TransportRefresh, AnEmptyEndPointListIsGivenBackOnlyWhenThereIsAnArray) {
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

TEST_F(TransportRefresh, SendersLookUpEndPointsWhileTheyAreRefreshed) {
    constexpr int kRefreshes = 2000;
    Initialize();
    // Somebody who saw half of one list and half of the other would find the peer in neither.
    std::vector<api::EndPoint> first(256, api::EndPoint("OTHER-1", 1, 21));
    std::vector<api::EndPoint> last = first;
    first.front() = last.back() = api::EndPoint("PEER-1", 1, 20);
    mDouble.mEndPoints = first;
    mDouble.Refresh();
    TakeCalls();
    std::atomic<bool> stop{false};
    std::vector<std::thread> senders;
    for (int i = 0; i < 2; ++i) {
        senders.emplace_back([&] {
            do {
                mTransport.Send("T", "p", "PEER-1");
            } while (!stop);
        });
    }
    for (int i = 0; i < kRefreshes; ++i) {
        mDouble.mEndPoints = i % 2 == 0 ? last : first;
        mDouble.Refresh();
    }
    stop = true;
    for (std::thread& sender : senders) {
        sender.join();
    }
    for (const std::string& call : TakeCalls()) {
        if (call.starts_with("SendMessage")) {
            ASSERT_EQ(call, "SendMessage type=T payload=p source=SELF-1 destination=PEER-1");
        }
    }
}

}  // namespace
}  // namespace nuoplexasupport
