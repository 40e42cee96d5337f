// Messages between processes that live, in quiet times.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(Delivery, AMessageToOneReachesThatOneOnly) {
    World world;
    Node& sender = world.Join("S");
    Node& first = world.Join("A");
    Node& second = world.Join("B");
    sender.Send("hello", &first);
    world.Run();
    EXPECT_THAT(first.received, ElementsAre("S:hello"));
    EXPECT_THAT(second.received, IsEmpty());
    EXPECT_THAT(sender.received, IsEmpty());
}

TEST(Delivery, ABroadcastReachesEveryOtherAndNotItsSender) {
    World world;
    Node& sender = world.Join("S");
    Node& first = world.Join("A");
    Node& second = world.Join("B");
    sender.Send("all");
    world.Run();
    EXPECT_THAT(first.received, ElementsAre("S:all"));
    EXPECT_THAT(second.received, ElementsAre("S:all"));
    EXPECT_THAT(sender.received, IsEmpty());
}

TEST(Delivery, MessagesToOneAndToAllKeepTheOrderOfSending) {
    World world;
    Node& sender = world.Join("S");
    Node& first = world.Join("A");
    Node& second = world.Join("B");
    sender.Send("1");
    sender.Send("2", &first);
    sender.Send("3", &second);
    sender.Send("4");
    world.Run();
    EXPECT_THAT(first.received, ElementsAre("S:1", "S:2", "S:4"));
    EXPECT_THAT(second.received, ElementsAre("S:1", "S:3", "S:4"));
}

TEST(Delivery, ABroadcastSentBeforeJoiningReachesThoseWhoAreThere) {
    World world;
    Node& receiver = world.Join("R");
    Node& sender = world.Add("S");
    sender.Send("early");
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:early"));
}

TEST(Delivery, ANewcomerGetsNothingThatWasRoutedBeforeItCame) {
    World world;
    Node& sender = world.Join("S");
    Node& old = world.Join("A");
    sender.Send("before");
    world.Run();
    Node& fresh = world.Join("B");
    sender.Send("after");
    world.Run();
    EXPECT_THAT(old.received, ElementsAre("S:before", "S:after"));
    EXPECT_THAT(fresh.received, ElementsAre("S:after"));
}

TEST(Delivery, ASenderForgetsWhatEveryReceiverHasConsumed) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("all");
    sender.Send("one", &receiver);
    receiver.stopped = true;
    world.Pass(50ms);
    EXPECT_FALSE(sender.Core().Sender().NothingOwed());
    receiver.stopped = false;
    world.Run();
    world.Pass(50ms);
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST(Delivery, ABroadcastThatNobodyReceivesIsForgottenOnceRouted) {
    World world;
    Node& sender = world.Join("S");
    sender.Send("alone");
    world.Run();
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Delivery, AProcessThatOnlySendsIsNobodysReceiver) {
    World world;
    Node& receiver = world.Join("R");
    Node& tool = world.Join("T", false);
    EXPECT_THAT(receiver.Core().Peers().Receivers(), IsEmpty());
    EXPECT_THAT(tool.Core().Peers().Receivers(), SizeIs(1));
    receiver.Send("all");
    tool.Send("hello", &receiver);
    world.Run();
    world.Pass(50ms);
    EXPECT_THAT(tool.received, IsEmpty());
    EXPECT_THAT(receiver.received, ElementsAre("T:hello"));
    EXPECT_TRUE(receiver.Core().Sender().NothingOwed());
}

TEST(Delivery, AReceiverGetsOnlyBroadcastsOfTheTypesItWants) {
    World world;
    Node& sender = world.Join("S");
    Node& picky = world.Join("P", true, std::vector<std::string>{"news"});
    Node& open = world.Join("O");
    sender.Send("1", nullptr, "weather");
    sender.Send("2", nullptr, "news");
    sender.Send("3", &picky, "weather");
    sender.Send("4", nullptr, "weather");
    world.Run();
    EXPECT_THAT(picky.received, ElementsAre("S:2", "S:3"));
    EXPECT_THAT(open.received, ElementsAre("S:1", "S:2", "S:4"));
    world.Pass(50ms);
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed()) << "what a receiver does not want counts as consumed";
}

TEST(Delivery, AnUnwantedBroadcastAloneIsForgottenToo) {
    World world;
    Node& sender = world.Join("S");
    world.Join("P", true, std::vector<std::string>{"news"});
    sender.Send("1", nullptr, "weather");
    world.Run();
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Delivery, WhatAReceiverMissedIsChosenByItsInterestToo) {
    World world;
    Node& sender = world.Join("S");
    Node& picky = world.Join("P", true, std::vector<std::string>{"news"});
    world.Break(picky);
    sender.Send("1", nullptr, "weather");
    sender.Send("2", nullptr, "news");
    sender.Send("3", &picky, "weather");
    world.Run();
    world.Pass(50ms);
    EXPECT_THAT(picky.received, ElementsAre("S:2", "S:3"));
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Delivery, AnUnwantedBroadcastDoesNotConfirmAnOlderMessageStillOnItsWay) {
    World world;
    Node& sender = world.Join("S");
    Node& picky = world.Join("P", true, std::vector<std::string>{"news"});
    picky.stopped = true;
    sender.Send("1", &picky);
    sender.Send("2", nullptr, "weather");
    world.Run();
    world.Pass(50ms);
    EXPECT_FALSE(sender.Core().Sender().NothingOwed());
    world.Kill(picky);
    world.Run();
    ASSERT_THAT(sender.failures, SizeIs(1));
    EXPECT_EQ(sender.failures[0].kind, FailureKind::kNotConfirmed);
}

TEST(Delivery, AChangedInterestHoldsFromThenOn) {
    World world;
    Node& sender = world.Join("S");
    Node& picky = world.Join("P", true, std::vector<std::string>{"news"});
    sender.Send("1", nullptr, "weather");
    world.Run();
    picky.Core().SetInterest(std::vector<std::string>{"weather"});
    world.Run();
    sender.Send("2", nullptr, "weather");
    sender.Send("3", nullptr, "news");
    world.Run();
    picky.Core().SetInterest({});
    world.Run();
    sender.Send("4", nullptr, "news");
    world.Run();
    EXPECT_THAT(picky.received, ElementsAre("S:2", "S:4"));
}

TEST(Delivery, FramesSurviveEveryCutOfTheByteStream) {
    for (std::size_t portion = 1; portion <= 64; portion += 7) {
        World world;
        Node& sender = world.Join("S");
        Node& receiver = world.Join("R");
        for (int i = 0; i != 5; ++i) {
            sender.Send(std::string(static_cast<std::size_t>(i) * 50, 'x'), &receiver);
        }
        bool moved = true;
        while (moved) {
            moved = sender.Write(portion);
            moved |= world.BrokerRead(sender, portion);
            moved |= world.BrokerWrite(receiver, portion);
            moved |= receiver.Read(portion);
            moved |= receiver.Deliver();
        }
        ASSERT_THAT(receiver.received, SizeIs(5)) << portion;
        EXPECT_EQ(receiver.received[4], "S:" + std::string(200, 'x'));
    }
}

TEST(Delivery, ManyLargeMessagesPassThroughSmallWindowsOnceAndInOrder) {
    World world;
    Node& sender = world.Join("S");
    Node& first = world.Join("A");
    Node& second = world.Join("B");
    std::vector<std::string> expected;
    for (int i = 0; i != 300; ++i) {
        const std::string text = std::to_string(i) + std::string(3000, '.');
        ASSERT_EQ(sender.Send(text), message5::Admission::Verdict::kAccept);
        expected.push_back("S:" + text);
    }
    for (int i = 0; i != 100; ++i) {
        world.Pass(5ms);
    }
    EXPECT_EQ(first.received, expected);
    EXPECT_EQ(second.received, expected);
    EXPECT_EQ(first.Core().Receiver().Statistics().repeated, 0U);
    world.Pass(50ms);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Delivery, AMessageLargerThanTheWindowStillGoes) {
    wire::Limits limits;
    limits.firstWindow = 100;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send(std::string(100'000, 'x'), &receiver);
    sender.Send(std::string(100'000, 'y'));
    for (int i = 0; i != 10; ++i) {
        world.Pass(25ms);
    }
    EXPECT_THAT(receiver.received, SizeIs(2));
}

TEST(Delivery, TheListOfReceiversIsInTheOrderOfJoiningAndChangesItsVersion) {
    World world;
    Node& watcher = world.Join("W");
    const auto version = watcher.Core().Peers().Version();
    Node& first = world.Join("A");
    Node& second = world.Join("A");
    const auto listed = watcher.Core().Peers().Receivers();
    ASSERT_THAT(listed, SizeIs(2));
    EXPECT_NE(watcher.Core().Peers().Version(), version);
    EXPECT_EQ(listed[0].member, first.Core().Member());
    EXPECT_EQ(listed[1].member, second.Core().Member());
    EXPECT_EQ(listed[0].endPoint.instance, 1U);
    EXPECT_EQ(listed[1].endPoint.instance, 2U);
    EXPECT_EQ(second.Core().Instance(), 2U);
    EXPECT_EQ(watcher.Core().Peers().Find(listed[1].endPoint), second.Core().Member());
}

}  // namespace
}  // namespace orvane::plexa::test
