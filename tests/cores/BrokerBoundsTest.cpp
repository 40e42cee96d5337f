// The bounds that the broker holds its peers to.
#include "BrokerBench.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using BrokerBounds = BrokerBench;

TEST_F(BrokerBounds, OneProcessHasOnlySoManyConnections) {
    for (std::size_t i = 0; i != mLimits.connectionsPerProcess; ++i) {
        Greet(1);
    }
    EXPECT_THAT(mClosed, IsEmpty());
    const auto id = Connect(1);
    Settle();
    EXPECT_EQ(RefusalOf(id).code, wire::RefuseCode::Connections);
    Greet(2);
    EXPECT_EQ(mClosed.size(), 1U);
}

TEST_F(BrokerBounds, ThereAreOnlySoManyMembers) {
    mLimits.members = 2;
    Join(1);
    Join(2);
    EXPECT_EQ(RefusalOf(Join(3)).code, wire::RefuseCode::Members);
    EXPECT_EQ(mCore->MemberCount(), 2U);
}

TEST_F(BrokerBounds, AGreetingThatDoesNotComeEndsTheConnectionInTime) {
    Connect(1);
    Greet(2);
    Join(3);
    EXPECT_EQ(mCore->NextDeadline(), mNow + mLimits.handshake);
    Elapse(mLimits.handshake - 1ms);
    EXPECT_THAT(mClosed, IsEmpty());
    Elapse(1ms);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kTooSlow, WireError::kTooSlow));
}

TEST_F(BrokerBounds, HalfAFrameIsWaitedForOnlySoLong) {
    const auto id = Join(1);
    mCore->OnInputSettled(id, true, mNow);
    Elapse(mLimits.halfFrame - 1ms);
    mCore->OnInputSettled(id, false, mNow);
    mCore->OnInputSettled(id, true, mNow);
    Elapse(mLimits.halfFrame - 1ms);
    EXPECT_THAT(mClosed, IsEmpty());
    Elapse(1ms);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kTooSlow));
}

TEST_F(BrokerBounds, AwayMembersExpireOnceTheirTimeIsOver) {
    const auto id = Join(1);
    mCore->OnDisconnected(id, mNow);
    EXPECT_EQ(mCore->NextDeadline(), mNow + mLimits.away);
    Elapse(mLimits.away - 1ms);
    EXPECT_EQ(mCore->MemberCount(), 1U);
    Elapse(1ms);
    EXPECT_EQ(mCore->MemberCount(), 0U);
}

TEST_F(BrokerBounds, AClientThatDoesNotReadItsNoticesIsDisconnected) {
    mLimits.controlQueue = 2000;
    Join(1);
    EXPECT_THAT(mClosed, IsEmpty());
    for (std::uint32_t i = 2; i != 40; ++i) {
        Join(i);
    }
    EXPECT_THAT(mClosed, testing::Contains(WireError::kControlOverflow));
}

TEST_F(BrokerBounds, ReportsDoNotPileUpForASenderThatDoesNotRead) {
    mLimits.controlQueue = 4000;
    const auto sender = Join(1);
    Written(sender);
    for (wire::Sequence i = 1; i != 1000; ++i) {
        Data(wire::kEveryone, i);
        HandIn(sender);
        Elapse(20ms);
    }
    EXPECT_THAT(mClosed, IsEmpty());
    EXPECT_LE(mCore->Output(sender).ControlBytes(), mLimits.controlQueue);
    const auto deadline = mCore->NextDeadline();
    EXPECT_TRUE(!deadline || *deadline > mNow) << "nothing to be busy with";
    Written(sender);
    Settle();
    EXPECT_THAT(Written(sender), ElementsAre(FrameKind::Report)) << "one report says it all";
}

TEST_F(BrokerBounds, TheSenderHearsBeforeASmallWindowIsUsedUp) {
    const auto sender = Join(1);
    const auto receiver = Join(2);
    Data(2, 1, mLimits.firstWindow / 2);
    HandIn(sender);
    Written(sender);
    const auto acknowledge = [&](std::uint32_t inBytes) {
        const std::vector<wire::AckEntry> entries{{1, inBytes, 0}};
        wire::WriteAcks(mQueue, mPool, entries);
        HandIn(receiver);
        return Written(sender).size();
    };
    EXPECT_EQ(acknowledge(static_cast<std::uint32_t>(mLimits.firstWindow / 8)), 0U);
    EXPECT_EQ(acknowledge(static_cast<std::uint32_t>(mLimits.firstWindow / 8)), 1U)
        << "at once, without any delay";
}

TEST_F(BrokerBounds, WindowsAreSharedByThoseWhoSendAndShrinkWithMemory) {
    const auto receiver = Join(1);
    std::vector<ConnectionId> senders;
    for (std::uint32_t i = 2; i != 18; ++i) {
        senders.push_back(Join(i));
    }
    const auto window = [&](ConnectionId inSender) {
        Written(inSender);
        const std::vector<wire::AckEntry> entries{{static_cast<wire::Slot>(inSender), 0, 0}};
        wire::WriteAcks(mQueue, mPool, entries);
        HandIn(receiver);
        Elapse(mLimits.reportDelay);
        EXPECT_THAT(Written(inSender), ElementsAre(FrameKind::Report));
        std::uint32_t granted = 0;
        std::memcpy(&granted, mFrames.back().data() + wire::kHeaderBytes + 4, 4);
        return granted;
    };
    EXPECT_EQ(window(senders[0]), mLimits.maxWindow);
    for (const auto sender : senders) {
        Data(1, 1);
        HandIn(sender);
    }
    EXPECT_EQ(window(senders[0]), mLimits.receiverWindows / 16);
    const wire::BufferRef ballast = mPool.MakeExact(mLimits.brokerMemory * 9 / 10);
    EXPECT_LT(window(senders[1]), mLimits.receiverWindows / 16 / 4);
}

TEST_F(BrokerBounds, ASenderThatPaysNoHeedToWindowsIsDisconnected) {
    mLimits.laneOverrun = 100'000;
    const auto sender = Join(1);
    Join(2);
    for (wire::Sequence i = 1; i != 100; ++i) {
        Data(2, i, 2000);
    }
    HandIn(sender);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kWindowOverrun));
}

TEST_F(BrokerBounds, AsksForTheStatusAreAnsweredOneAtATime) {
    const auto id = Greet(1);
    wire::WriteStatusRequest(mQueue, mPool);
    HandIn(id);
    mCore->SendStatus(id, "{}");
    wire::WriteStatusRequest(mQueue, mPool);
    HandIn(id);
    EXPECT_THAT(mClosed, IsEmpty());
    wire::WriteStatusRequest(mQueue, mPool);
    HandIn(id);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kOutOfOrder));
}

TEST_F(BrokerBounds, ANotYetJoinedClientThatReadsNoAnswersIsDisconnectedToo) {
    mLimits.controlQueue = 1000;
    const auto id = Greet(1);
    wire::WriteStatusRequest(mQueue, mPool);
    HandIn(id);
    mCore->SendStatus(id, std::string(2000, ' '));
    Settle();
    EXPECT_THAT(mClosed, ElementsAre(WireError::kControlOverflow));
}

TEST_F(BrokerBounds, WhenMemoryIsFullOfHalfFramesTheirSendersAreDisconnectedAndNobodyElse) {
    mLimits.brokerMemory = 500'000;
    const auto sender = Join(1);
    const auto receiver = Join(2);
    const auto half = Join(3);
    Data(2, 1);
    HandIn(sender);
    const wire::BufferRef input = mPool.MakeExact(mLimits.brokerMemory + 1);
    mCore->OnInputSettled(half, input->Capacity(), mNow);
    Settle();
    EXPECT_THAT(mClosed, ElementsAre(WireError::kMemoryPressure));
    EXPECT_EQ(mCore->MemberOf(half), std::nullopt);
    EXPECT_THAT(Written(receiver), testing::Contains(FrameKind::Data));
}

}  // namespace
}  // namespace orvane::plexa::test
