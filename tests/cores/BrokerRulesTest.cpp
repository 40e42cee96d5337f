// What the broker does with peers that break rules, and with frames at the wrong moment.
#include "BrokerBench.h"

namespace orvane::plexa::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using BrokerRules = BrokerBench;

TEST_F(BrokerRules, AFirstFrameThatIsNoGreetingIsRefused) {
    const auto id = Connect(1);
    wire::WriteLeave(mQueue, mPool, wire::LeaveScope::Member);
    HandIn(id);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadMagic));
    EXPECT_EQ(RefusalOf(id).code, wire::RefuseCode::Magic);
}

TEST_F(BrokerRules, AGreetingOfAnotherProtocolOrVersionIsRefusedWithAReason) {
    const auto other = Connect(1);
    wire::Write(mQueue, mPool, wire::Hello{42, 1, 1, 0});
    HandIn(other);
    EXPECT_EQ(RefusalOf(other).code, wire::RefuseCode::Magic);
    const auto future = Connect(2);
    wire::Write(mQueue, mPool, wire::Hello{wire::kMagic, 7, 9, 0});
    HandIn(future);
    const auto refusal = RefusalOf(future);
    EXPECT_EQ(refusal.code, wire::RefuseCode::Version);
    EXPECT_EQ(refusal.text, wire::Text(WireError::kNoCommonVersion));
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadMagic, WireError::kNoCommonVersion));
}

TEST_F(BrokerRules, ANewerPeerThatAlsoSpeaksOurVersionIsWelcome) {
    const auto id = Connect(1);
    wire::Write(mQueue, mPool, wire::Hello{wire::kMagic, 1, 9, ~0ULL});
    HandIn(id);
    EXPECT_THAT(Written(id), ElementsAre(FrameKind::Welcome));
}

TEST_F(BrokerRules, MessagesBeforeJoiningEndTheConnection) {
    const auto id = Greet(1);
    Data(wire::kEveryone, 1);
    HandIn(id);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kOutOfOrder));
}

TEST_F(BrokerRules, JoiningTwiceEndsTheConnection) {
    const auto id = Join(1);
    wire::Write(mQueue, mPool, JoinOf("app", 1));
    HandIn(id);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kOutOfOrder));
    EXPECT_EQ(mCore->MemberCount(), 1U) << "the member is away, not gone";
}

TEST_F(BrokerRules, TheSourceIsStampedWhateverTheSenderClaims) {
    const auto sender = Join(1);
    const auto receiver = Join(2);
    Written(receiver);
    auto& header = *reinterpret_cast<wire::FrameHeader*>(Data(wire::kEveryone, 1));
    header.mutate_source(77);
    HandIn(sender);
    ASSERT_THAT(Written(receiver), ElementsAre(FrameKind::Data));
    std::uint32_t source = 0;
    std::memcpy(&source, mFrames[0].data() + 8, 4);
    EXPECT_EQ(source, 1U);
}

TEST_F(BrokerRules, AMessageToOneselfOrToNobodyEndsTheConnection) {
    for (const wire::Slot slot : {wire::Slot{1}, wire::kNoSlot}) {
        mCore = std::make_unique<BrokerCore>(mLimits, mPool, 1);
        const auto id = Join(1);
        Data(slot, 1);
        HandIn(id);
    }
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadAddress, WireError::kBadAddress));
}

TEST_F(BrokerRules, ARepeatedBroadcastNumberEndsTheConnection) {
    const auto id = Join(1);
    Data(wire::kEveryone, 5);
    Data(wire::kEveryone, 5);
    HandIn(id);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadSequence));
}

TEST_F(BrokerRules, ConfirmingWhatWasNeverSentEndsTheConnection) {
    const auto sender = Join(1);
    const auto receiver = Join(2);
    Data(wire::kEveryone, 5);
    HandIn(sender);
    const std::vector<wire::AckEntry> good{{1, 40, 5}};
    wire::WriteAcks(mQueue, mPool, good);
    HandIn(receiver);
    EXPECT_THAT(mClosed, IsEmpty());
    const std::vector<wire::AckEntry> bad{{1, 40, 6}};
    wire::WriteAcks(mQueue, mPool, bad);
    HandIn(receiver);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadPosition));
}

TEST_F(BrokerRules, ConfirmingForSomebodyWhoHasGoneIsNoFault) {
    const auto receiver = Join(2);
    const std::vector<wire::AckEntry> entries{{99, 40, 6}};
    wire::WriteAcks(mQueue, mPool, entries);
    HandIn(receiver);
    EXPECT_THAT(mClosed, IsEmpty());
}

TEST_F(BrokerRules, APositionThatNobodyAskedForEndsTheConnection) {
    Join(1);
    const auto receiver = Join(2);
    wire::WritePosition(mQueue, mPool, wire::kNoSlot, 1, {0, 0});
    HandIn(receiver);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kOutOfOrder));
}

TEST_F(BrokerRules, UnknownKindsFrom128UpAreSkipped) {
    const auto id = Join(1);
    mQueue.AppendControl(mPool, static_cast<FrameKind>(200), 16);
    HandIn(id);
    EXPECT_THAT(mClosed, IsEmpty());
}

TEST_F(BrokerRules, StatusIsAnsweredWithoutJoining) {
    const auto id = Greet(1);
    Written(id);
    wire::WriteStatusRequest(mQueue, mPool);
    HandIn(id);
    ASSERT_EQ(mActions.size(), 1U);
    EXPECT_EQ(std::get<broker::StatusRequested>(mActions[0]).connection, id);
    mCore->SendStatus(id, "{}");
    EXPECT_THAT(Written(id), ElementsAre(FrameKind::StatusReply));
}

TEST_F(BrokerRules, APositionBeyondWhatWasSentEndsTheConnection) {
    mCore->Restore({70, {7, 0}, {7, 70}, 1, "app"}, mNow);
    Join(1);
    const auto returned = Join(7);
    wire::WritePosition(mQueue, mPool, wire::kNoSlot, 1, {1, 0});
    HandIn(returned);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadPosition));
}

TEST_F(BrokerRules, AdjacentFramesToTheSameReceiverBecomeOnePiece) {
    const auto sender = Join(1);
    const auto receiver = Join(2);
    Written(receiver);
    for (wire::Sequence i = 1; i != 20; ++i) {
        Data(i % 2 == 0 ? wire::Slot{2} : wire::kEveryone, i);
    }
    HandIn(sender);
    std::array<iovec, 64> pieces{};
    EXPECT_EQ(mCore->Output(receiver).Gather(pieces), 1U);
    EXPECT_EQ(Written(receiver).size(), 19U);
}

}  // namespace
}  // namespace orvane::plexa::test
