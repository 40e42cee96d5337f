// Staying away for too long: who joins anew, what it carries over, and who is told of the rest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(Expiry, AReceiverThatExpiredAndJoinedAnewGetsNothingTwiceAndTheSenderIsTold) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    sender.Send("1", &receiver);
    sender.Send("2");
    world.Hand(sender);
    world.BrokerWrite(receiver);
    receiver.Read();
    world.Break(receiver);
    while (receiver.Deliver()) {
    }
    receiver.offline = true;
    world.Pass(31s);
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Delivery not confirmed|R: it stayed away too long"));
    const auto before = receiver.Core().Member();
    receiver.offline = false;
    world.Run();
    EXPECT_NE(receiver.Core().Member(), before);
    sender.Send("3", &receiver);
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2", "S:3"));
}

TEST(Expiry, ASenderThatExpiredCarriesOverWhatItNeverWroteAndReportsTheRest) {
    wire::Limits limits;
    limits.firstWindow = 50;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    Node& late = world.Join("L");
    receiver.stopped = true;
    late.stopped = true;
    sender.Send("1", &receiver);
    sender.Send("2", &receiver);
    sender.Send("3");
    world.Pass(25ms);
    world.Pass(25ms);
    const auto before = sender.Core().Member();
    world.Break(sender);
    sender.offline = true;
    sender.Send("4", &receiver);
    sender.Send("5");
    world.Pass(31s);
    receiver.stopped = false;
    late.stopped = false;
    sender.offline = false;
    for (int i = 0; i != 20; ++i) {
        world.Pass(25ms);
    }
    EXPECT_NE(sender.Core().Member(), before);
    EXPECT_THAT(sender.FailureTexts(),
                ElementsAre("Delivery not confirmed|R: this process stayed away from the broker too long",
                            "Delivery not confirmed|L: this process stayed away from the broker too long"));
    EXPECT_THAT(receiver.received, ElementsAre("S:1", "S:2", "S:3", "S:4", "S:5"));
    EXPECT_THAT(late.received, ElementsAre("S:3", "S:5"));
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST(Expiry, WhatASenderThatExpiredCarriesOverDoesNotReachThoseTwiceWhoGotItLive) {
    wire::Limits limits;
    limits.firstWindow = 50;
    World world(limits);
    Node& sender = world.Join("S");
    Node& behind = world.Join("R");
    behind.stopped = true;
    sender.Send("1");
    sender.Send("2");
    world.Pass(25ms);
    world.Pass(25ms);
    Node& unheardOf = world.Add("U");
    world.Exchange(unheardOf);
    sender.Send("3");  // the one behind owes it, the one unheard of gets it live
    world.Hand(sender);
    world.BrokerWrite(unheardOf);
    unheardOf.Read();
    unheardOf.Deliver();
    ASSERT_THAT(unheardOf.received, ElementsAre("S:3"));
    world.Break(sender);
    sender.offline = true;
    world.Elapse(20s);
    world.Break(unheardOf);
    unheardOf.offline = true;
    world.Elapse(11s);
    sender.offline = false;
    world.Run();
    unheardOf.offline = false;
    behind.stopped = false;
    for (int i = 0; i != 10; ++i) {
        world.Pass(25ms);
    }
    EXPECT_THAT(unheardOf.received, ElementsAre("S:3"));
    EXPECT_THAT(behind.received, ElementsAre("S:1", "S:2", "S:3"));
}

TEST(Expiry, WhatASenderThatExpiredCarriesOverStaysOwedUntilEachOfItWasHandled) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    Node& other = world.Join("O");
    world.Break(receiver);
    receiver.offline = true;
    world.Run();
    sender.Send("1", &receiver);
    sender.Send("2", &receiver);
    sender.Send("3", &other);
    for (int i = 0; i != 3; ++i) {
        world.Pass(25ms);
    }
    world.Break(sender);
    sender.offline = true;
    world.Elapse(20s);
    receiver.offline = false;
    world.Run();
    world.Elapse(11s);
    sender.offline = false;
    receiver.stopped = true;
    world.Run();
    receiver.stopped = false;
    receiver.Deliver();  // the first of two
    receiver.stopped = true;
    world.Pass(110ms);
    world.Pass(25ms);
    EXPECT_FALSE(sender.Core().Sender().NothingOwed());
    world.Kill(receiver);
    world.Run();
    EXPECT_THAT(receiver.received, ElementsAre("S:1"));
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Delivery not confirmed|R: its process ended"));
}

TEST(Expiry, ABroadcastIsReportedIfItsSenderExpiresBeforeItHeardWhomTheBrokerFound) {
    World world;
    Node& sender = world.Join("S");
    sender.Send("1");
    sender.Write();
    world.Break(sender);
    world.Elapse(30s);
    world.Run();
    ASSERT_EQ(sender.failures.size(), 1U);
    EXPECT_EQ(sender.failures[0].kind, FailureKind::kNotConfirmed);
    EXPECT_EQ(sender.failures[0].reason, FailureReason::kSelfExpired);
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

}  // namespace
}  // namespace orvane::plexa::test
