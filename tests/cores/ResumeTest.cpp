// Lost connections and killed brokers: each way to lose, double or reorder a message that was thought of, as
// a story.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

void Restart(World& ioWorld) {
    ioWorld.KillBroker();
    ioWorld.StartBroker();
    ioWorld.Run();
}

TEST(Resume, AMessageThatWasOnlyRoutedIsWrittenAgainAfterTheBrokerWasKilled) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    sender.Send("2");
    world.Hand(sender);
    Restart(world);
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2"));
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST(Resume, AMessageWhoseConfirmationWasLostIsNotDeliveredTwice) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    sender.Send("2");
    world.Hand(sender);
    world.BrokerWrite(receiver);
    receiver.Read();
    while (receiver.Deliver()) {
    }
    Restart(world);
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2"));
    world.Pass(50ms);
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Resume, AMessageTakenButNotYetHandledIsNeitherSentAgainNorForgotten) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    world.Run();
    Restart(world);
    EXPECT_EQ(receiver.Core().Receiver().Statistics().repeated, 0U) << "what was taken is not written again";
    EXPECT_FALSE(sender.Core().Sender().NothingOwed()) << "taken is not consumed";
    world.Kill(receiver);
    world.Run();
    ASSERT_THAT(sender.failures, SizeIs(1));
    EXPECT_EQ(sender.failures[0].kind, FailureKind::kNotConfirmed);
}

TEST(Resume, AReceiverThatReturnsGetsWhatItMissedBeforeWhatIsNew) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    world.Break(receiver);
    receiver.offline = true;
    sender.Send("1");
    sender.Send("2", &receiver);
    world.Run();
    receiver.offline = false;
    world.Exchange(receiver);
    sender.Send("3");
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2", "S:3"));
}

TEST(Resume, AReceiverOfWhichTheSenderHadNotHeardStillGetsTheBroadcast) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Add("R");
    world.Exchange(receiver);
    ASSERT_EQ(receiver.Core().GetState(), ClientCore::State::kJoined);
    sender.Send("1");
    world.Hand(sender);
    Restart(world);
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
}

TEST(Resume, AReceiverOfWhichTheSenderHadNotHeardGetsTheBroadcastAlsoIfItReturnsFirst) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Add("R");
    world.Exchange(receiver);
    sender.Send("1");
    world.Hand(sender);
    world.KillBroker();
    world.StartBroker();
    world.Exchange(receiver);
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
}

TEST(Resume, ABroadcastIsKeptUntilItIsSureToWhomTheBrokerGaveItEvenIfNobodyKnownOwesIt) {
    World world;
    Node& sender = world.Join("S");
    sender.Send("0");
    world.Hand(sender);
    world.Elapse(11ms);
    world.BrokerWrite(sender);
    const std::size_t report = sender.Waiting();
    ASSERT_EQ(report, 32U);
    Node& receiver = world.Add("R");
    world.Exchange(receiver);
    sender.Send("1");
    world.Hand(sender);
    sender.Read(report);  // and not the notice of the receiver, which is behind it
    Restart(world);
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
}

TEST(Resume, AReceiverIsOwedNothingFromBeforeItJoinedEvenIfTheSenderHeardOfItLate) {
    World world;
    Node& sender = world.Join("S");
    Node& other = world.Join("A");
    other.stopped = true;
    sender.Send("1");
    world.Hand(sender);
    Node& receiver = world.Add("R");
    world.Exchange(receiver);
    Restart(world);
    other.stopped = false;
    world.Run();
    world.Pass(50ms);
    world.Pass(50ms);
    EXPECT_THAT(receiver.received, IsEmpty());
    EXPECT_THAT(other.received, ElementsAre("S:1"));
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Resume, ABroadcastOfASenderBornAfterTheCrashReachesTheReceiverThatReturnsLater) {
    World world;
    Node& receiver = world.Join("R");
    world.KillBroker();
    world.StartBroker();
    receiver.offline = true;
    Node& sender = world.Join("S");
    sender.Send("1");
    world.Run();
    world.Pass(5s);
    receiver.offline = false;
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
}

TEST(Resume, AwayIsNotGone) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    const auto version = sender.Core().Peers().Version();
    world.KillBroker();
    world.StartBroker();
    receiver.offline = true;
    world.Run();
    EXPECT_THAT(sender.Core().Peers().Receivers(), SizeIs(1)) << "who is away stays listed";
    sender.Send("1", &receiver);
    world.Pass(20s);
    EXPECT_THAT(sender.failures, IsEmpty());
    receiver.offline = false;
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    EXPECT_EQ(sender.Core().Peers().Version(), version) << "a restart that lost nobody is no change";
}

TEST(Resume, AMessageForAConnectionThatHasGoneReachesNobodyElse) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("secret", &receiver);
    ASSERT_TRUE(sender.Write());
    world.Break(receiver);
    receiver.offline = true;
    Node& stranger = world.Add("X");
    world.Exchange(stranger);
    world.Run();
    EXPECT_THAT(stranger.received, IsEmpty());
    EXPECT_EQ(world.Broker().Status().messagesDropped, 1U);
    receiver.offline = false;
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:secret"));
}

TEST(Resume, SlotsOfAnEarlierConnectionAreForgotten) {
    World world;
    Node& first = world.Join("A");
    Node& second = world.Join("B");
    Node& receiver = world.Join("R");
    for (const char* text : {"1", "2", "3"}) {
        first.Send(text, &receiver);
    }
    world.Run();
    world.KillBroker();
    world.StartBroker();
    first.offline = true;
    world.Exchange(second);  // gets the number that the first one had
    world.Exchange(receiver);
    second.Send("4", &receiver);
    world.Run();
    first.offline = false;
    world.Run();
    first.Send("5", &receiver);
    second.Send("6", &receiver);
    world.Run();
    EXPECT_THAT(receiver.received, testing::UnorderedElementsAre("A:1", "A:2", "A:3", "B:4", "A:5", "B:6"));
}

TEST(Resume, WhatAnUnheardOfReceiverMayHaveGotIsNeverCalledNotDelivered) {
    wire::Limits limits;
    limits.arrears = 1000;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Add("R");
    world.Exchange(receiver);
    sender.Send("1");
    world.Hand(sender);
    world.BrokerWrite(receiver);
    receiver.Read();
    while (receiver.Deliver()) {
    }
    world.KillBroker();
    world.StartBroker();
    receiver.offline = true;
    world.Run();
    while (sender.Send(std::string(100, 'x')) == message5::Admission::Verdict::kAccept) {
    }
    world.Pass(5s);
    ASSERT_THAT(sender.failures, testing::Not(IsEmpty()));
    EXPECT_EQ(sender.failures.front().kind, FailureKind::kNotConfirmed);
    EXPECT_EQ(sender.failures.back().kind, FailureKind::kNotDelivered);
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
}

/// A client that has heard of others but not yet of its own membership.
Node& HalfJoined(World& ioWorld, Node& inReceiver) {
    Node& sender = ioWorld.Add("S");
    sender.Connect();
    ioWorld.Hand(sender);
    ioWorld.BrokerWrite(sender);
    sender.Read();
    ioWorld.Hand(sender);
    ioWorld.BrokerWrite(sender);
    sender.Read(sender.Waiting() - 8);
    EXPECT_EQ(sender.Core().GetState(), ClientCore::State::kJoining);
    EXPECT_EQ(sender.Send("1", &inReceiver), message5::Admission::Verdict::kAccept);
    EXPECT_EQ(sender.Send("2"), message5::Admission::Verdict::kAccept);
    return sender;
}

TEST(Resume, WhatWasQueuedBeforeTheFirstJoiningWasCompleteStaysQueued) {
    World world;
    Node& receiver = world.Join("R");
    Node& sender = HalfJoined(world, receiver);
    world.Break(sender);
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2"));
    EXPECT_THAT(receiver.Core().Peers().Receivers(), SizeIs(1))
        << "it is the same member as at the first try";
}

TEST(Resume, WhatWasQueuedBeforeTheFirstJoiningWasCompleteOutlivesTheBroker) {
    World world;
    Node& receiver = world.Join("R");
    Node& sender = HalfJoined(world, receiver);
    Restart(world);
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2"));
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST(Resume, WhatStillWaitsToBeWrittenForAnEarlierConnectionOfAReceiverGoesToThatOne) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    sender.Send("2");
    sender.Send("3", &receiver);
    sender.Write(0);  // in the output, and the socket takes none of it
    world.Break(receiver);
    world.Exchange(receiver);
    world.BrokerWrite(sender);
    sender.Read();
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2", "S:3"));
    EXPECT_EQ(receiver.Core().Receiver().Statistics().repeated, 0U);
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST(Resume, TheInstanceNumberOutlivesTheBroker) {
    World world;
    Node& first = world.Join("A");
    Node& second = world.Join("A");
    world.KillBroker();
    world.StartBroker();
    world.Exchange(second);
    world.Exchange(first);
    EXPECT_EQ(first.Core().Instance(), 1U);
    EXPECT_EQ(second.Core().Instance(), 2U);
}

TEST(Resume, AMemberWhoseProcessEndedWhileThereWasNoBrokerIsGoneAndTold) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    sender.Send("1", &receiver);
    world.Run();
    world.KillBroker();
    world.Kill(receiver);
    world.StartBroker();
    world.Run();
    ASSERT_THAT(sender.failures, SizeIs(1));
    EXPECT_EQ(sender.failures[0].kind, FailureKind::kNotConfirmed);
    EXPECT_THAT(sender.Core().Peers().Receivers(), IsEmpty());
}

}  // namespace
}  // namespace orvane::plexa::test
