// Who is cut off for standing still, and who isn't: what is full, since when, and whose fault it is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "World.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using message5::Admission;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Verdict = Admission::Verdict;

const std::string kText(500, 'x');

/// A sender and two receivers, with bounds that a few messages reach.
class Standstill : public testing::Test {
  protected:
    static wire::Limits Limits(std::size_t inLog, std::size_t inArrears) {
        wire::Limits limits;
        limits.log = inLog;
        limits.logReserve = inLog;
        limits.arrears = inArrears;
        return limits;
    }

    Admission::Verdict AskAsDeliveryThread(Node& inReceiver) {
        return sender.Core()
            .Sender()
            .Admit(inReceiver.Core().Member(), 4, kText.size(), false, world.now)
            .verdict;
    }
    /// Deliveries, acknowledgements and reports.
    void ComeToRest() {
        for (int i = 0; i != 4; ++i) {
            world.Pass(50ms);
        }
    }
    /// Sends until there is no room.
    void Fill(Node& inReceiver) {
        while (sender.Send(kText, &inReceiver) == Verdict::kAccept) {
        }
    }

    World world{GetLimits()};
    Node& sender = world.Join("S");
    Node& receiver = world.Join("R");
    Node& other = world.Join("A");

  private:
    virtual wire::Limits GetLimits() const { return Limits(20'000, 1'000'000); }
};

class FullArrears : public Standstill {
  private:
    wire::Limits GetLimits() const override { return Limits(1'000'000, 10'000); }
};

TEST_F(Standstill, ALogThatWasFullOnceIsNoReasonLater) {
    receiver.stopped = true;
    Fill(receiver);
    receiver.stopped = false;
    ComeToRest();
    ASSERT_TRUE(sender.Core().Sender().NothingOwed());
    world.Pass(1h);
    // From now on only the delivery thread sends.
    receiver.stopped = true;
    ASSERT_EQ(AskAsDeliveryThread(receiver), Verdict::kAccept);
    sender.Core().Sender().Send(receiver.Core().Member(), "type", std::as_bytes(std::span(kText)));
    for (int i = 0; i != 20; ++i) {
        world.Pass(1s);
    }
    EXPECT_THAT(sender.failures, IsEmpty());
    receiver.stopped = false;
    ComeToRest();
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST_F(Standstill, WhoPinsTheLogIsCutOffThoughOthersMoveInTheRestOfIt) {
    receiver.stopped = true;
    for (int i = 0; i != 20; ++i) {
        ASSERT_EQ(sender.Send(kText, &receiver), Verdict::kAccept);
    }
    for (int i = 0; i != 80 && sender.failures.empty(); ++i) {
        Fill(other);
        world.Pass(100ms);
    }
    EXPECT_THAT(sender.failures, SizeIs(20));
    EXPECT_THAT(sender.FailureTexts(), testing::Each(testing::HasSubstr("|R: it was cut off")));
}

TEST_F(Standstill, WhatIsSentAfterTheLogWasFilledByOthersHasItsOwnTime) {
    receiver.stopped = true;
    Fill(receiver);
    world.Pass(4s);
    other.stopped = true;
    ASSERT_EQ(AskAsDeliveryThread(other), Verdict::kAccept);
    sender.Core().Sender().Send(other.Core().Member(), "type", std::as_bytes(std::span(kText)));
    world.Pass(1s);
    world.Pass(1s);
    EXPECT_THAT(sender.FailureTexts(), Not(IsEmpty()));
    EXPECT_THAT(sender.FailureTexts(), testing::Each(testing::HasSubstr("|R: it was cut off")));
}

TEST_F(FullArrears, AReceiverThatIsAboutToComeBackAfterARestartIsNotCutOff) {
    receiver.stopped = true;
    Fill(receiver);
    world.Pass(4900ms);
    world.KillBroker();
    receiver.offline = true;
    world.StartBroker();
    world.Pass(300ms);
    world.Pass(4s);
    EXPECT_THAT(sender.failures, IsEmpty());
    receiver.offline = false;
    receiver.stopped = false;
    ComeToRest();
    EXPECT_THAT(sender.failures, IsEmpty());
    EXPECT_TRUE(sender.Core().Sender().NothingOwed());
}

TEST_F(FullArrears, AReceiverThatStaysAwayIsCutOff) {
    Fill(receiver);
    receiver.offline = true;
    world.Break(receiver);
    world.Run();
    Fill(receiver);
    world.Pass(4900ms);
    EXPECT_THAT(sender.failures, IsEmpty());
    world.Pass(100ms);
    EXPECT_THAT(sender.failures, Not(IsEmpty()));
}

TEST_F(FullArrears, ASenderThatStoodStillItselfHearsFirstWhatCameMeanwhile) {
    receiver.stopped = true;
    Fill(receiver);
    world.Run();
    // The sender is stopped; its receiver takes all there is.
    receiver.stopped = false;
    for (int i = 0; i != 50; ++i) {
        while (receiver.Deliver()) {
        }
        world.now += 20ms;
        world.Exchange(receiver);
    }
    world.now += 20s;
    sender.Core().Tick(world.now);
    EXPECT_EQ(sender.Send(kText, &receiver), Verdict::kWait);
    EXPECT_THAT(sender.failures, IsEmpty());
    world.Run();
    EXPECT_EQ(sender.Send(kText, &receiver), Verdict::kAccept);
    world.Pass(1s);
    EXPECT_THAT(sender.failures, IsEmpty());
}

TEST_F(FullArrears, HavingStoodStillPutsOffTheEndOnce) {
    receiver.stopped = true;
    Fill(receiver);
    world.Run();
    world.Elapse(20s);
    EXPECT_THAT(sender.failures, IsEmpty());
    ASSERT_TRUE(sender.Core().NextTick());
    EXPECT_LE(*sender.Core().NextTick(), world.now + 500ms);
    world.Elapse(20s);
    EXPECT_THAT(sender.failures, Not(IsEmpty()));
}

TEST_F(FullArrears, AWaitingSenderThatStoodStillIsNotRefusedAtOnce) {
    world.KillBroker();
    Fill(receiver);
    world.now += 20s;
    EXPECT_EQ(sender.Send(kText, &receiver), Verdict::kWait);
    world.now += 500ms;
    EXPECT_EQ(sender.Send(kText, &receiver), Verdict::kRefuse);
    world.now += 20s;
    EXPECT_EQ(sender.Send(kText, &receiver), Verdict::kRefuse) << "nothing has moved";
}

}  // namespace
}  // namespace orvane::plexa::test
