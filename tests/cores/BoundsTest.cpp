// Bounded memory: windows, arrears, the log, cutting off; and that one receiver's trouble stays its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using message5::Admission;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Verdict = Admission::Verdict;

std::string Text(std::size_t inBytes) { return std::string(inBytes, 'x'); }

Admission Ask(World& ioWorld, Node& ioNode, std::size_t inBytes, Node* inReceiver = nullptr,
              bool inMayWait = true) {
    std::optional<wire::MemberId> receiver;
    if (inReceiver != nullptr) {
        receiver = inReceiver->Core().Member();
    }
    return ioNode.Core().Sender().Admit(receiver, 4, inBytes, inMayWait, ioWorld.now);
}

TEST(Bounds, AStoppedReceiverHoldsNoMoreThanItsWindow) {
    World world;
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    for (int i = 0; i != 400; ++i) {
        ASSERT_EQ(sender.Send(Text(1000), i % 2 == 0 ? &receiver : nullptr), Verdict::kAccept);
        world.Pass(1ms);
    }
    EXPECT_LE(receiver.Core().Receiver().InboundBytes(), world.limits.firstWindow);
    EXPECT_GT(receiver.Core().Receiver().InboundBytes(), world.limits.firstWindow / 2);
}

TEST(Bounds, AStoppedReceiverConcernsNobodyElse) {
    World world;
    Node& sender = world.Join("S");
    Node& stopped = world.Join("R");
    Node& other = world.Join("A");
    stopped.stopped = true;
    for (int i = 0; i != 300; ++i) {
        ASSERT_EQ(sender.Send(Text(1000)), Verdict::kAccept);
        world.Pass(1ms);
    }
    world.Pass(50ms);
    EXPECT_THAT(other.received, SizeIs(300));
    EXPECT_THAT(world.closed, IsEmpty()) << "nobody is disconnected for being stopped";
    stopped.stopped = false;
    for (int i = 0; i != 50; ++i) {
        world.Pass(10ms);
    }
    EXPECT_THAT(stopped.received, SizeIs(300));
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST(Bounds, MessagesThatOneStoppedReceiverPinsDoNotFillTheLogForOthers) {
    wire::Limits limits;
    limits.log = 40'000;
    limits.arrears = 30'000;
    World world(limits);
    Node& sender = world.Join("S");
    Node& stopped = world.Join("R");
    Node& other = world.Join("A");
    stopped.stopped = true;
    for (int i = 0; i != 100; ++i) {
        ASSERT_EQ(sender.Send(Text(100), &stopped), Verdict::kAccept) << i;
        for (int j = 0; j != 40; ++j) {
            ASSERT_EQ(sender.Send(Text(100), &other), Verdict::kAccept) << i;
        }
        world.Pass(11ms);
    }
    EXPECT_THAT(other.received, SizeIs(4000));
    EXPECT_LE(sender.Core().Sender().LogBytes(), limits.log);
    stopped.stopped = false;
    world.Run();
    EXPECT_EQ(stopped.received, std::vector<std::string>(100, "S:" + Text(100)));
}

TEST(Bounds, FastBroadcastsWaitShortlyForTheSlowestInsteadOfGoingOutOncePerReceiver) {
    World world;
    Node& sender = world.Join("S");
    for (const char* name : {"A", "B", "C", "D"}) {
        world.Join(name);
    }
    world.Pass(10s);
    for (int i = 0; i != 500; ++i) {
        ASSERT_EQ(sender.Send(Text(2000)), Verdict::kAccept);
    }
    for (int i = 0; i != 100; ++i) {
        world.Pass(5ms);
    }
    for (const auto& node : world.Nodes()) {
        EXPECT_TRUE(node.get() == &sender || node->received.size() == 500);
    }
    EXPECT_LE(world.Broker().Status().messagesRouted, 510U);
}

TEST(Bounds, ABroadcastWaitsForAReceiverThatKeepsMovingHoweverLongItsQueueIs) {
    wire::Limits limits;
    limits.maxWindow = limits.firstWindow;
    World world(limits);
    Node& sender = world.Join("S");
    Node& slow = world.Join("R");
    for (int i = 0; i != 300; ++i) {
        ASSERT_EQ(sender.Send(Text(3000)), Verdict::kAccept);
    }
    slow.stopped = true;
    for (int i = 0; i != 400; ++i) {
        world.Pass(5ms);
        slow.stopped = false;
        slow.Deliver();
        slow.Deliver();
        slow.stopped = true;
    }
    EXPECT_THAT(slow.received, SizeIs(300));
    EXPECT_EQ(world.Broker().Status().messagesRouted, 300U);
    EXPECT_EQ(slow.copies, 0U) << "it never fell behind";
}

TEST(Bounds, AFullLogMakesSendersWaitAndThenRefusesUntilSomethingMoves) {
    wire::Limits limits;
    limits.log = 20'000;
    limits.arrears = 1'000'000;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    world.KillBroker();
    while (sender.Send(Text(500), &receiver) == Verdict::kAccept) {
    }
    EXPECT_LE(sender.Core().Sender().LogBytes(), limits.log);
    const auto waiting = Ask(world, sender, 500, &receiver);
    EXPECT_EQ(waiting.verdict, Verdict::kWait);
    EXPECT_EQ(waiting.until, world.now + limits.stall);
    world.Elapse(4999ms);
    EXPECT_EQ(Ask(world, sender, 500, &receiver).verdict, Verdict::kWait);
    world.Elapse(1ms);
    const auto refused = Ask(world, sender, 500, &receiver);
    EXPECT_EQ(refused.verdict, Verdict::kRefuse);
    EXPECT_EQ(refused.limit, wire::LimitName::kLog);
    world.Elapse(1s);
    EXPECT_EQ(sender.Send(Text(500), &receiver), Verdict::kRefuse) << "at once from then on";
    EXPECT_THAT(sender.FailureTexts(), ElementsAre("Not delivered|R: the limit \"log\" was reached"));
    const auto progress = sender.Core().Sender().Progress();
    world.StartBroker();
    world.Run();
    world.Pass(20ms);
    EXPECT_NE(sender.Core().Sender().Progress(), progress);
    EXPECT_EQ(Ask(world, sender, 500, &receiver).verdict, Verdict::kAccept);
    EXPECT_THAT(sender.failures, SizeIs(1)) << "no broker is no reason to cut anybody off";
}

TEST(Bounds, TheDeliveryThreadNeverWaitsAndHasAReserve) {
    wire::Limits limits;
    limits.log = 20'000;
    limits.logReserve = 20'000;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    world.KillBroker();
    while (sender.Send(Text(500), &receiver) == Verdict::kAccept) {
    }
    int sent = 0;
    Admission admission;
    while ((admission = Ask(world, sender, 500, &receiver, false)).verdict == Verdict::kAccept) {
        const std::string text = Text(500);
        sender.Core().Sender().Send(receiver.Core().Member(), "type", std::as_bytes(std::span(text)));
        ++sent;
    }
    EXPECT_GT(sent, 20);
    EXPECT_EQ(admission.verdict, Verdict::kRefuse);
    EXPECT_EQ(admission.limit, wire::LimitName::kLogReserve);
}

TEST(Bounds, ASlowReceiverThatMovesSlowsItsSendersAndIsNotCutOff) {
    wire::Limits limits;
    limits.arrears = 5'000;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    receiver.stopped = true;
    int accepted = 0;
    for (int i = 0; i != 60; ++i) {
        while (sender.Send(Text(1000), &receiver) == Verdict::kAccept) {
            ++accepted;
        }
        world.Pass(2s);
        receiver.stopped = false;
        receiver.Deliver();
        receiver.stopped = true;
        world.Pass(200ms);
    }
    EXPECT_GT(accepted, 50);
    EXPECT_THAT(sender.failures, IsEmpty());
}

/// One receiver that stands still, cut off with its arrears full.
struct CutOff {
    CutOff() : world(Limits()), sender(world.Join("S")), receiver(world.Join("R")), other(world.Join("A")) {
        receiver.stopped = true;
        while (sender.Send(Text(1000), &receiver) == Verdict::kAccept) {
            ++accepted;
            world.Run();
        }
        world.Pass(4900ms);
        EXPECT_THAT(sender.failures, IsEmpty());
        const auto deadline = sender.Core().NextTick();
        EXPECT_TRUE(deadline && *deadline <= world.now + 100ms);
        world.Pass(100ms);
    }
    static wire::Limits Limits() {
        wire::Limits limits;
        limits.arrears = 10'000;
        limits.firstWindow = 3'000;
        return limits;
    }
    World world;
    Node& sender;
    Node& receiver;
    Node& other;
    std::size_t accepted = 0;
};

TEST(Bounds, WhatOneReceiverOwesHasALimitOfItsOwn) {
    World world(CutOff::Limits());
    Node& sender = world.Join("S");
    Node& stopped = world.Join("R");
    Node& other = world.Join("A");
    stopped.stopped = true;
    while (sender.Send(Text(1000), &stopped) == Verdict::kAccept) {
        ASSERT_LE(sender.Core().Sender().LogBytes(), 20'000U);
    }
    EXPECT_EQ(Ask(world, sender, 1000, &stopped).limit, wire::LimitName::kArrears);
    EXPECT_EQ(Ask(world, sender, 1000).limit, wire::LimitName::kArrears) << "it would owe a broadcast too";
    EXPECT_EQ(Ask(world, sender, 1000, &other).verdict, Verdict::kAccept);
    world.Break(stopped);
    stopped.offline = true;
    stopped.stopped = false;
    world.Kill(stopped);
    world.Run();
    EXPECT_EQ(Ask(world, sender, 1000).verdict, Verdict::kAccept);
}

TEST(Bounds, AReceiverThatStandsStillWithFullArrearsIsCutOff) {
    CutOff scene;
    ASSERT_THAT(scene.sender.failures, SizeIs(scene.accepted));
    EXPECT_EQ(scene.sender.failures.front().kind, FailureKind::kNotConfirmed);
    EXPECT_EQ(scene.sender.failures.back().kind, FailureKind::kNotDelivered);
    EXPECT_EQ(scene.sender.failures.back().reason, FailureReason::kCutOff);
    EXPECT_TRUE(scene.sender.Core().Sender().NothingOwed());
}

TEST(Bounds, AReceiverIsNotCutOffWhileItsSenderWritesNothing) {
    World world(CutOff::Limits());
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    int accepted = 0;
    while (sender.Send(Text(1000), &receiver) == Verdict::kAccept) {
        ++accepted;
    }
    world.Elapse(5s);
    EXPECT_THAT(sender.failures, IsEmpty());
    world.Run();
    EXPECT_THAT(receiver.received, SizeIs(accepted));
}

TEST(Bounds, WhatIsSentToACutOffReceiverFailsAtOnceAndOthersGetTheirs) {
    CutOff scene;
    scene.sender.failures.clear();
    EXPECT_EQ(scene.sender.Send("one", &scene.receiver), Verdict::kAccept);
    EXPECT_EQ(scene.sender.Send("all"), Verdict::kAccept);
    EXPECT_THAT(scene.sender.failures, SizeIs(2));
    EXPECT_THAT(scene.sender.FailureTexts(), Each(testing::StartsWith("Not delivered|R: it was cut off")));
    scene.world.Run();
    EXPECT_THAT(scene.other.received, ElementsAre("S:all"));
}

TEST(Bounds, ACutOffReceiverThatMovesAgainGetsWhatIsNewAndNothingThatFailed) {
    CutOff scene;
    scene.sender.Send("failed", &scene.receiver);
    scene.sender.Send("failed for R");
    scene.receiver.stopped = false;
    for (int i = 0; i != 5; ++i) {
        scene.world.Pass(50ms);
    }
    scene.receiver.received.clear();
    scene.sender.failures.clear();
    scene.sender.Send("1", &scene.receiver);
    scene.sender.Send("2");
    scene.world.Pass(50ms);
    EXPECT_THAT(scene.receiver.received, ElementsAre("S:1", "S:2"));
    EXPECT_THAT(scene.sender.failures, IsEmpty());
    EXPECT_EQ(scene.receiver.Core().Receiver().Statistics().gaps, 1U)
        << "it is told that something was withdrawn";
}

TEST(Bounds, ACutOffReceiverThatReconnectsIsServedAgain) {
    CutOff scene;
    scene.receiver.stopped = false;
    scene.world.Break(scene.receiver);
    scene.world.Run();
    scene.receiver.received.clear();
    scene.sender.Send("1");
    scene.world.Run();
    EXPECT_THAT(scene.receiver.received, ElementsAre("S:1"));
}

TEST(Bounds, ABroadcastThatFailedForACutOffReceiverIsNotGivenToItLate) {
    CutOff scene;
    // The stream is held up by another receiver's window while the failed broadcast waits in it.
    scene.other.stopped = true;
    for (int i = 0; i != 4; ++i) {
        scene.sender.Send(Text(1000));
    }
    scene.sender.Send("late");
    scene.world.Run();
    ASSERT_THAT(scene.sender.FailureTexts(), testing::Contains(testing::StartsWith("Not delivered|R")));
    scene.receiver.stopped = false;
    while (scene.receiver.Deliver()) {
    }
    scene.world.now += 11ms;
    scene.world.Run();
    scene.other.stopped = false;
    for (int i = 0; i != 5; ++i) {
        scene.world.Pass(25ms);
    }
    EXPECT_THAT(scene.other.received, testing::Contains("S:late"));
    EXPECT_THAT(scene.receiver.received, testing::Not(testing::Contains("S:late")));
}

TEST(Bounds, MessagesThatAreTooLargeOrGoNowhereAreRefusedByName) {
    World world;
    Node& sender = world.Join("S");
    EXPECT_EQ(Ask(world, sender, world.limits.maxPayload).verdict, Verdict::kAccept);
    EXPECT_EQ(Ask(world, sender, world.limits.maxPayload + 1).limit, wire::LimitName::kPayload);
    const auto type = sender.Core().Sender().Admit({}, world.limits.maxTypeText + 1, 0, true, world.now);
    EXPECT_EQ(type.limit, wire::LimitName::kTypeText);
    const auto nowhere = sender.Core().Sender().Admit(12345, 4, 4, true, world.now);
    EXPECT_EQ(nowhere.verdict, Verdict::kRefuse);
    EXPECT_EQ(nowhere.reason, FailureReason::kUnknownReceiver);
}

TEST(Bounds, WhenTheBrokersMemoryIsFullTheFullestReceiverReturnsAndLosesNothing) {
    wire::Limits limits;
    limits.brokerMemory = 60'000;
    World world(limits);
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    std::vector<std::string> expected;
    for (int i = 0; i != 60; ++i) {
        const std::string text = std::to_string(i) + Text(1000);
        sender.Send(text, &receiver);
        expected.push_back("S:" + text);
    }
    world.Hand(sender);
    EXPECT_THAT(world.closed, ElementsAre(wire::Text(wire::WireError::kMemoryPressure)));
    world.Run();
    world.Pass(50ms);
    EXPECT_EQ(receiver.received, expected);
}

}  // namespace
}  // namespace orvane::plexa::test
