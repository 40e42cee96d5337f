// Taking leave, ending, being replaced: who is told what.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(Leaving, AReceiverThatLeavesConfirmsWhatItHandledAndTheRestIsCertainlyNotDelivered) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    sender.Send("2", &receiver);
    sender.Send("3");
    world.Run();
    receiver.stopped = false;
    receiver.Deliver();
    receiver.Core().StopReceiving();
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Not delivered|R: it has left"));
    EXPECT_EQ(sender.failures[0].type, "type");
    EXPECT_THAT(sender.Core().Peers().Receivers(), IsEmpty());
    EXPECT_TRUE(sender.Core().Sender().NothingOwed()) << "a broadcast to a receiver that left ends with it";
}

TEST(Leaving, WhatAListenerIsStillHandlingIsWaitedForBeforeTheNoticeGoesOut) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    sender.Send("2", &receiver);
    world.Run();
    const auto inHand = receiver.Core().Receiver().Next();
    ASSERT_TRUE(inHand);
    receiver.Core().StopReceiving();
    world.Run();
    EXPECT_THAT(sender.failures, IsEmpty());
    receiver.Core().Receiver().Consumed(*inHand, world.now);
    world.Run();
    EXPECT_THAT(sender.failures, SizeIs(1)) << "only the one that nobody handled";
    EXPECT_FALSE(receiver.Core().Receiver().Next());
}

TEST(Leaving, ALeaveThatTheBrokerDidNotSurviveIsSaidAgain) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    sender.Send("2", &receiver);
    world.Run();
    receiver.stopped = false;
    receiver.Deliver();
    receiver.Core().StopReceiving();
    world.KillBroker();
    world.StartBroker();
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Not delivered|R: it has left"));
}

TEST(Leaving, AReceiverThatWithdrewIsNoEndPointAgainWhenTheBrokerWasKilled) {
    World world;
    Node& watcher = world.Join("W");
    Node& receiver = world.Join("R");
    receiver.Core().StopReceiving();
    world.Run();
    const std::uint64_t before = watcher.Core().Peers().Version();
    receiver.offline = true;
    world.KillBroker();
    world.StartBroker();
    world.Run();
    EXPECT_THAT(watcher.Core().Peers().Receivers(), IsEmpty()) << "while it is away";
    receiver.offline = false;
    world.Run();
    EXPECT_THAT(watcher.Core().Peers().Receivers(), IsEmpty());
    EXPECT_EQ(watcher.Core().Peers().Version(), before) << "it was listed for a moment";
}

TEST(Leaving, AReceiverThatLeavesBeforeItCouldSayHowFarItCameMayHaveHandledWhatItOwes) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    world.Hand(sender);
    world.BrokerWrite(receiver);
    receiver.Read();
    receiver.Deliver();
    world.KillBroker();
    world.StartBroker();
    world.Exchange(receiver);
    world.Exchange(sender);
    receiver.Core().StopReceiving();  // it has not read yet that the sender is back
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Delivery not confirmed|R: it has left"));
}

TEST(Leaving, OfAReceiverThatWentMeanwhileNobodySaysWhy) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    world.Run();
    world.Break(sender);
    sender.offline = true;
    receiver.Core().StopReceiving();
    receiver.Core().Leave();
    world.Run();
    sender.offline = false;
    world.Run();
    EXPECT_THAT(
        sender.FailureTexts(),
        ElementsAre("Delivery not confirmed|R: it was no member any more when this process came back to "
                    "the broker"));
}

TEST(Leaving, TwoThatLeaveTogetherDoNotWaitForEachOther) {
    World world;
    Node& first = world.Join("A");
    Node& second = world.Join("B");
    first.stopped = second.stopped = true;
    first.Send("1", &second);
    second.Send("2", &first);
    world.Run();
    first.Core().StopReceiving();
    second.Core().StopReceiving();
    world.Run();
    EXPECT_TRUE(first.Core().Sender().NothingOwed());
    EXPECT_TRUE(second.Core().Sender().NothingOwed());
    EXPECT_THAT(first.FailureTexts(), ElementsAre("Not delivered|B: it has left"));
    EXPECT_THAT(second.FailureTexts(), ElementsAre("Not delivered|A: it has left"));
}

TEST(Leaving, ALingeringSenderReplaysThroughARestart) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    world.Hand(sender);
    sender.Core().StopReceiving();
    sender.Core().Sender().HurryReports();
    world.KillBroker();
    world.StartBroker();
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Leaving, AMemberThatLeftIsForgottenByAll) {
    World world;
    Node& sender = world.Join("S");
    Node& other = world.Join("O");
    sender.Core().Leave();
    sender.Core().Flush(world.now);
    world.Run();
    EXPECT_THAT(other.Core().Peers().Receivers(), IsEmpty());
    EXPECT_THAT(world.Records(), SizeIs(1));
    EXPECT_EQ(world.Broker().MemberCount(), 1U);
    EXPECT_THAT(world.closed, IsEmpty()) << "leaving is no fault";
}

TEST(Leaving, AMemberThatLeavesAtOnceStillConfirmsWhatItHandled) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    world.Run();
    receiver.Core().Leave();
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST(Leaving, WhoeverLeavesWithMessagesUnconfirmedIsTold) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    world.Run();
    world.Break(sender);
    sender.Send("2", &receiver);
    sender.Core().Leave();
    world.Run();
    auto failures = sender.Core().Sender().TakeFailures();
    ASSERT_THAT(failures, SizeIs(2));
    EXPECT_EQ(failures[0].kind, FailureKind::kNotConfirmed);
    EXPECT_EQ(failures[1].kind, FailureKind::kNotDelivered);
    EXPECT_EQ(failures[0].reason, FailureReason::kLeaving);
}

TEST(Leaving, ABroadcastThatNeverFoundABrokerFailsWhenItsSenderLeaves) {
    World world;
    world.KillBroker();
    Node& sender = world.Add("S");
    sender.Send("1");
    sender.Core().Leave();
    auto failures = sender.Core().Sender().TakeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(message5::FaultText(failures[0]),
              "every end point: this process is leaving and cannot wait any longer");
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Leaving, ABroadcastIsReportedIfItsSenderLeavesBeforeItHeardWhomTheBrokerFound) {
    World world;
    Node& sender = world.Join("S");
    sender.Send("1");
    world.Hand(sender);
    world.KillBroker();
    sender.Core().Leave();
    const auto failures = sender.Core().Sender().TakeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].kind, FailureKind::kNotConfirmed);
}

TEST(Leaving, AProcessThatEndsIsGoneEvenIfSomebodyHoldsItsConnectionOpen) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    world.Hand(sender);
    world.Broker().OnProcessEnded(receiver.Core().Member(), world.now);
    world.BrokerSettle();
    world.BrokerWrite(sender);
    sender.Read();
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Delivery not confirmed|R: its process ended"));
}

TEST(Leaving, WhatASenderWroteBeforeItEndedStillArrives) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    sender.Send("2");
    sender.Write();
    world.Kill(sender);
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2"));
    EXPECT_THAT(receiver.Core().Peers().Receivers(), IsEmpty());
}

TEST(Leaving, WhatWasNeverWrittenForADeadReceiverIsCertainlyNotDelivered) {
    wire::Limits limits;
    limits.firstWindow = 50;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    sender.Send("2", &receiver);
    world.Run();
    world.Kill(receiver);
    world.Run();
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Delivery not confirmed|R: its process ended",
                                                   "Not delivered|R: its process ended"));
}

TEST(Leaving, NothingNewIsOwedToAReceiverThatWithdrewBeforeTheBrokerWasKilled) {
    wire::Limits limits;
    limits.arrears = 4096;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.Core().StopReceiving();
    world.Run();
    receiver.offline = true;
    world.KillBroker();
    world.StartBroker();
    world.Run();
    for (int i = 0; i != 200; ++i) {
        ASSERT_EQ(sender.Send(std::string(100, 'x')), message5::Admission::Verdict::kAccept) << i;
        world.Run();
    }
    EXPECT_THAT(sender.FailureTexts(), IsEmpty());
}

TEST(Leaving, WhoWithdrewBeforeItHeardItsNumberIsNoEndPointAgainWhenTheBrokerWasKilled) {
    World world;
    Node& watcher = world.Join("W");
    Node& receiver = world.Add("R");
    receiver.Connect();
    world.Hand(receiver);
    world.BrokerWrite(receiver);
    receiver.Read();
    world.Hand(receiver);
    ASSERT_EQ(world.Records().size(), 2U);
    ASSERT_EQ(receiver.Core().Member(), 0U);
    world.Break(receiver);
    receiver.Core().StopReceiving();
    world.Run();
    EXPECT_FALSE(world.Records().at(receiver.Core().Member()).receives);
    receiver.offline = true;
    world.KillBroker();
    world.StartBroker();
    world.Run();
    EXPECT_TRUE(watcher.Core().Peers().Receivers().empty());
}

}  // namespace
}  // namespace orvane::plexa::test
