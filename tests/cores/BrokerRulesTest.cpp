// What the broker does with peers that break rules, and with frames at the wrong moment. Each frame is made
// by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "BrokerCore.h"
#include "wire/FrameReader.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using broker::BrokerCore;
using broker::CloseConnection;
using broker::ConnectionId;
using testing::ElementsAre;
using testing::IsEmpty;
using wire::FrameKind;
using wire::WireError;

class BrokerRules : public testing::Test {
  protected:
    /// Connects a process and says Hello.
    ConnectionId Greet(std::uint32_t inProcess) {
        const ConnectionId id = Connect(inProcess);
        wire::Write(mQueue, mPool, wire::Hello{});
        HandIn(id);
        return id;
    }
    ConnectionId Connect(std::uint32_t inProcess) {
        mCore->OnConnected(++mLast, {inProcess, inProcess * 10ULL}, mNow);
        return mLast;
    }
    static wire::Join JoinOf(const std::string& inAppId, std::uint64_t inNonce) {
        wire::Join join;
        join.appId = inAppId;
        join.nonce = {inNonce, 0};
        return join;
    }
    ConnectionId Join(std::uint32_t inProcess) {
        const ConnectionId id = Greet(inProcess);
        wire::Write(mQueue, mPool, JoinOf("app", inProcess));
        HandIn(id);
        return id;
    }
    std::byte* Data(wire::Slot inDestination, wire::Sequence inSequence, std::size_t inPayload = 8) {
        std::byte* frame = mQueue.AppendControl(mPool, FrameKind::Data, inPayload);
        auto& header = *reinterpret_cast<wire::FrameHeader*>(frame);
        header.mutate_destination(inDestination);
        header.mutate_sequence(inSequence);
        std::memset(frame + wire::kHeaderBytes, 0, inPayload);
        return frame;
    }
    /// Hands in what mQueue holds.
    void HandIn(ConnectionId inId) {
        wire::FrameReader reader(mPool, mLimits, wire::Direction::kToBroker);
        while (!mQueue.Empty()) {
            iovec piece{};
            mQueue.Gather({&piece, 1});
            const auto space = reader.Space();
            const std::size_t part = std::min(space.size(), piece.iov_len);
            std::memcpy(space.data(), piece.iov_base, part);
            reader.Commit(part);
            mQueue.Consume(part);
            wire::Frame frame;
            while (reader.Next(frame)) {
                mCore->OnFrame(inId, frame, mNow);
            }
        }
        ASSERT_EQ(reader.Error(), WireError::kNone);
        mCore->OnInputSettled(inId, false, mNow);
        Settle();
    }
    void Settle() {
        mCore->Settle(mNow);
        for (auto& action : mCore->TakeActions()) {
            if (const auto* close = std::get_if<CloseConnection>(&action)) {
                mClosed.push_back(close->error);
            }
            mActions.push_back(std::move(action));
        }
    }
    void Elapse(wire::Duration inTime) {
        mNow += inTime;
        mCore->Tick(mNow);
        Settle();
    }
    /// Takes the frames out of a connection's output.
    std::vector<FrameKind> Written(ConnectionId inId) {
        mFrames.clear();
        wire::FrameReader reader(mPool, mLimits, wire::Direction::kToClient);
        std::vector<FrameKind> kinds;
        auto& output = mCore->Output(inId);
        while (!output.Empty()) {
            iovec piece{};
            output.Gather({&piece, 1});
            const auto space = reader.Space();
            const std::size_t part = std::min(space.size(), piece.iov_len);
            std::memcpy(space.data(), piece.iov_base, part);
            reader.Commit(part);
            output.Consume(part);
            wire::Frame frame;
            while (reader.Next(frame)) {
                kinds.push_back(frame.Kind());
                mFrames.emplace_back(reinterpret_cast<const char*>(frame.data), frame.Length());
            }
        }
        EXPECT_EQ(reader.Error(), WireError::kNone);
        return kinds;
    }
    wire::Refusal RefusalOf(ConnectionId inId) {
        wire::Refusal refusal;
        EXPECT_THAT(Written(inId), testing::Contains(FrameKind::Refuse));
        if (!mFrames.empty()) {
            std::vector<std::uint64_t> aligned(mFrames.back().size() / 8);
            std::memcpy(aligned.data(), mFrames.back().data(), mFrames.back().size());
            EXPECT_EQ(wire::Read(wire::Frame{nullptr, reinterpret_cast<std::byte*>(aligned.data())}, refusal),
                      WireError::kNone);
        }
        return refusal;
    }

    wire::Limits mLimits;
    wire::BufferPool mPool{8192};
    wire::OutputQueue mQueue;
    std::unique_ptr<BrokerCore> mCore = std::make_unique<BrokerCore>(mLimits, mPool, 1);
    wire::TimePoint mNow{1h};
    ConnectionId mLast = 0;
    std::vector<WireError> mClosed;
    std::vector<broker::BrokerAction> mActions;
    std::vector<std::string> mFrames;
};

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

TEST_F(BrokerRules, AMembershipNeedsItsNumberNonceProcessAndStartTime) {
    broker::MemberRecord record{7, {5, 6}, {1, 10}, 1, "app"};
    const auto attempt = [&](wire::MemberId inMember, wire::Nonce inNonce,
                             broker::ProcessIdentity inProcess) {
        mCore = std::make_unique<BrokerCore>(mLimits, mPool, 100);
        mCore->Restore(record, mNow);
        mCore->OnConnected(++mLast, inProcess, mNow);
        wire::Write(mQueue, mPool, wire::Hello{});
        wire::Join join = JoinOf("app", 0);
        join.member = inMember;
        join.nonce = inNonce;
        wire::Write(mQueue, mPool, join);
        HandIn(mLast);
        const auto kinds = Written(mLast);
        return !kinds.empty() && kinds.back() == FrameKind::Joined;
    };
    EXPECT_TRUE(attempt(7, {5, 6}, {1, 10}));
    EXPECT_FALSE(attempt(8, {5, 6}, {1, 10}));
    EXPECT_FALSE(attempt(7, {5, 7}, {1, 10}));
    EXPECT_FALSE(attempt(7, {5, 6}, {2, 10}));
    EXPECT_FALSE(attempt(7, {5, 6}, {1, 11})) << "the process id was used again";
}

TEST_F(BrokerRules, AProgramThatReplacedAnotherInTheSameProcessEndsTheOldMembership) {
    const auto watcher = Join(2);
    broker::MemberRecord record{70, {5, 6}, {1, 10}, 1, "app"};
    mCore->Restore(record, mNow);
    Written(watcher);
    mActions.clear();
    Join(1);
    EXPECT_THAT(Written(watcher), ElementsAre(FrameKind::Peer, FrameKind::Peer));
    ASSERT_FALSE(mActions.empty());
    EXPECT_EQ(std::get<broker::EraseMember>(mActions[0]).member, 70U);
    EXPECT_EQ(mCore->MemberCount(), 2U);
}

TEST_F(BrokerRules, TheMemberIsRecordedBeforeItIsToldItsNumber) {
    Join(1);
    ASSERT_EQ(mActions.size(), 1U);
    const auto& record = std::get<broker::RecordMember>(mActions[0]).record;
    EXPECT_EQ(record.appId, "app");
    EXPECT_EQ(record.process, (broker::ProcessIdentity{1, 10}));
}

TEST_F(BrokerRules, ThatAMemberReceivesNoMoreIsRecordedOnce) {
    const auto id = Join(1);
    EXPECT_TRUE(std::get<broker::RecordMember>(mActions.at(0)).record.receives);
    mActions.clear();
    wire::WriteLeave(mQueue, mPool, wire::LeaveScope::Receiver);
    HandIn(id);
    ASSERT_EQ(mActions.size(), 1U);
    const auto record = std::get<broker::UpdateMember>(mActions[0]).record;
    EXPECT_EQ(record.member, mCore->MemberOf(id));
    EXPECT_FALSE(record.receives);
    mCore->OnDisconnected(id, mNow);
    mActions.clear();
    const auto again = Join(1);
    wire::WriteLeave(mQueue, mPool, wire::LeaveScope::Receiver);
    HandIn(again);
    EXPECT_EQ(record.member, mCore->MemberOf(again));
    EXPECT_EQ(mActions.size(), 0U);
}

TEST_F(BrokerRules, TheSecondConnectionOfAMemberReplacesTheFirst) {
    const auto first = Join(1);
    const auto second = Join(1);
    EXPECT_EQ(mCore->ConnectionOf(1), second);
    EXPECT_EQ(mCore->MemberOf(first), std::nullopt);
    EXPECT_EQ(mCore->MemberCount(), 1U);
}

TEST_F(BrokerRules, OneProcessHasOnlySoManyConnections) {
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

TEST_F(BrokerRules, ThereAreOnlySoManyMembers) {
    mLimits.members = 2;
    Join(1);
    Join(2);
    EXPECT_EQ(RefusalOf(Join(3)).code, wire::RefuseCode::Members);
    EXPECT_EQ(mCore->MemberCount(), 2U);
}

TEST_F(BrokerRules, ABrokerAboutToEndAdmitsNobodyNewButItsMembers) {
    const auto id = Join(1);
    mCore->OnDisconnected(id, mNow);
    mCore->StopAdmitting();
    EXPECT_EQ(RefusalOf(Join(2)).code, wire::RefuseCode::Ending);
    EXPECT_THAT(Written(Join(1)), testing::Contains(FrameKind::Joined));
}

TEST_F(BrokerRules, AGreetingThatDoesNotComeEndsTheConnectionInTime) {
    Connect(1);
    Greet(2);
    Join(3);
    EXPECT_EQ(mCore->NextDeadline(), mNow + mLimits.handshake);
    Elapse(mLimits.handshake - 1ms);
    EXPECT_THAT(mClosed, IsEmpty());
    Elapse(1ms);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kTooSlow, WireError::kTooSlow));
}

TEST_F(BrokerRules, HalfAFrameIsWaitedForOnlySoLong) {
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

TEST_F(BrokerRules, AwayMembersExpireOnceTheirTimeIsOver) {
    const auto id = Join(1);
    mCore->OnDisconnected(id, mNow);
    EXPECT_EQ(mCore->NextDeadline(), mNow + mLimits.away);
    Elapse(mLimits.away - 1ms);
    EXPECT_EQ(mCore->MemberCount(), 1U);
    Elapse(1ms);
    EXPECT_EQ(mCore->MemberCount(), 0U);
}

TEST_F(BrokerRules, AClientThatDoesNotReadItsNoticesIsDisconnected) {
    mLimits.controlQueue = 2000;
    Join(1);
    EXPECT_THAT(mClosed, IsEmpty());
    for (std::uint32_t i = 2; i != 40; ++i) {
        Join(i);
    }
    EXPECT_THAT(mClosed, testing::Contains(WireError::kControlOverflow));
}

TEST_F(BrokerRules, ReportsDoNotPileUpForASenderThatDoesNotRead) {
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

TEST_F(BrokerRules, TheSenderHearsBeforeASmallWindowIsUsedUp) {
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

TEST_F(BrokerRules, WindowsAreSharedByThoseWhoSendAndShrinkWithMemory) {
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

TEST_F(BrokerRules, ASenderThatPaysNoHeedToWindowsIsDisconnected) {
    mLimits.laneOverrun = 100'000;
    const auto sender = Join(1);
    Join(2);
    for (wire::Sequence i = 1; i != 100; ++i) {
        Data(2, i, 2000);
    }
    HandIn(sender);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kWindowOverrun));
}

TEST_F(BrokerRules, AMemberThatLeavesOrEndsIsGoneWithoutBeingAwayFirst) {
    const auto watcher = Join(1);
    const auto leaving = Join(2);
    Join(3);
    Written(watcher);
    wire::WriteLeave(mQueue, mPool, wire::LeaveScope::Member);
    HandIn(leaving);
    EXPECT_THAT(Written(watcher), ElementsAre(FrameKind::Peer));
    mCore->OnProcessEnded(3, mNow);
    Settle();
    EXPECT_THAT(Written(watcher), ElementsAre(FrameKind::Peer));
}

TEST_F(BrokerRules, APositionBeyondWhatWasSentEndsTheConnection) {
    mCore->Restore({70, {7, 0}, {7, 70}, 1, "app"}, mNow);
    Join(1);
    const auto returned = Join(7);
    wire::WritePosition(mQueue, mPool, wire::kNoSlot, 1, {1, 0});
    HandIn(returned);
    EXPECT_THAT(mClosed, ElementsAre(WireError::kBadPosition));
}

TEST_F(BrokerRules, AsksForTheStatusAreAnsweredOneAtATime) {
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

TEST_F(BrokerRules, ANotYetJoinedClientThatReadsNoAnswersIsDisconnectedToo) {
    mLimits.controlQueue = 1000;
    const auto id = Greet(1);
    wire::WriteStatusRequest(mQueue, mPool);
    HandIn(id);
    mCore->SendStatus(id, std::string(2000, ' '));
    Settle();
    EXPECT_THAT(mClosed, ElementsAre(WireError::kControlOverflow));
}

TEST_F(BrokerRules, WhenMemoryIsFullOfHalfFramesTheirSendersAreDisconnectedAndNobodyElse) {
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
