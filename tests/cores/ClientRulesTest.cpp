// What a client does with a broker that breaks rules, refuses, or speaks at the wrong moment.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "ClientCore.h"
#include "support/Frames.h"

namespace orvane::plexa::test {
namespace {

using namespace std::chrono_literals;
using message5::ClientCore;
using wire::FrameKind;
using wire::WireError;
using State = ClientCore::State;

class ClientRules : public testing::Test {
  protected:
    ClientRules() : mCore(mLimits, mPool, {"app", true, {}, {1, 2}}) { mCore.OnConnected(mNow); }

    /// Hands in what mQueue holds; the first error, if any.
    WireError HandIn() {
        wire::FrameReader reader(mReadPool, mLimits, wire::Direction::kToClient);
        WireError error = WireError::kNone;
        support::MoveFrames(mQueue, reader, [&](const wire::Frame& inFrame) {
            if (error == WireError::kNone) error = mCore.OnFrame(inFrame, mNow);
        });
        return error;
    }
    template <typename Message>
    WireError Say(const Message& inMessage) {
        wire::Write(mQueue, mPool, inMessage);
        return HandIn();
    }
    void Welcome() {
        ASSERT_EQ(Say(wire::Welcome{1, 0, static_cast<std::uint32_t>(mLimits.maxPayload), 65536}),
                  WireError::kNone);
    }
    void Join() {
        Welcome();
        ASSERT_EQ(Say(Peer(5)), WireError::kNone);
        ASSERT_EQ(Say(wire::Joined{9, 3, 1}), WireError::kNone);
        ASSERT_EQ(mCore.GetState(), State::kJoined);
    }
    static wire::PeerNotice Peer(wire::Slot inSlot) {
        wire::PeerNotice peer;
        peer.member = inSlot * 10ULL;
        peer.slot = inSlot;
        peer.endPoint.appId = "peer";
        return peer;
    }
    WireError Data(wire::Slot inSource, wire::Sequence inSequence) {
        auto& header = *reinterpret_cast<wire::FrameHeader*>(mQueue.AppendControl(mPool, FrameKind::Data, 0));
        header.mutate_source(inSource);
        header.mutate_sequence(inSequence);
        return HandIn();
    }

    wire::Limits mLimits;
    wire::BufferPool mPool{4096};
    wire::BufferPool mReadPool{4096};
    wire::OutputQueue mQueue;
    wire::TimePoint mNow{1h};
    ClientCore mCore;
};

TEST_F(ClientRules, TheSnapshotBeforeTheWelcomeIsOutOfOrder) {
    EXPECT_EQ(Say(Peer(5)), WireError::kOutOfOrder);
}

TEST_F(ClientRules, MessagesBeforeJoinedAreOutOfOrder) {
    Welcome();
    Say(Peer(5));
    EXPECT_EQ(Data(5, 1), WireError::kOutOfOrder);
}

TEST_F(ClientRules, AMessageOfSomebodyUnknownIsAnError) {
    Join();
    EXPECT_EQ(Data(5, 1), WireError::kNone);
    EXPECT_EQ(Data(6, 1), WireError::kBadAddress);
}

TEST_F(ClientRules, ARepeatedMessageIsDroppedAndCounted) {
    Join();
    Data(5, 2);
    Data(5, 2);
    Data(5, 1);
    EXPECT_EQ(mCore.Receiver().Statistics().taken, 1U);
    EXPECT_EQ(mCore.Receiver().Statistics().repeated, 2U);
}

TEST_F(ClientRules, AReportOfWhatWasNeverWrittenIsAnError) {
    Join();
    wire::WriteReport(mQueue, mPool, 1, {});
    EXPECT_EQ(HandIn(), WireError::kBadPosition);
}

TEST_F(ClientRules, AnotherMembersNumberIsAnError) {
    Join();
    mCore.OnConnectionLost(mNow);
    mCore.OnConnected(mNow);
    Welcome();
    EXPECT_EQ(Say(wire::Joined{10, 4, 1}), WireError::kBadIdentity);
}

TEST_F(ClientRules, ANoticeAboutTheClientItselfIsAnError) {
    Join();
    auto self = Peer(6);
    self.member = 9;
    EXPECT_EQ(Say(self), WireError::kBadIdentity);
    self = Peer(3);
    EXPECT_EQ(Say(self), WireError::kBadIdentity) << "its slot";
}

TEST_F(ClientRules, ASnapshotWithTheClientItselfIsAnError) {
    Welcome();
    ASSERT_EQ(Say(Peer(5)), WireError::kNone);
    EXPECT_EQ(Say(wire::Joined{9, 5, 1}), WireError::kBadIdentity) << "its slot";
    EXPECT_EQ(Say(wire::Joined{50, 3, 1}), WireError::kBadIdentity) << "its number";
    EXPECT_EQ(Say(wire::Joined{9, 3, 1}), WireError::kNone);
}

TEST_F(ClientRules, TheFirstWindowIsWhatTheBrokerGrants) {
    ASSERT_EQ(Say(wire::Welcome{1, 0, static_cast<std::uint32_t>(mLimits.maxPayload), 1000}),
              WireError::kNone);
    Say(Peer(5));
    Say(wire::Joined{9, 3, 1});
    mCore.Output().Clear();
    for (int i = 0; i != 100; ++i) mCore.Sender().Send(50, "type", {});
    mCore.Flush(mNow);
    EXPECT_LE(mCore.Output().Bytes(), 1000U + 32U) << "and the notice that the lane fell behind";
    EXPECT_GT(mCore.Output().Bytes(), 900U);
    Data(5, 1);
    Data(5, 2);
    mCore.Receiver().Consumed(*mCore.Receiver().Next(), mNow);
    EXPECT_FALSE(mCore.Receiver().AcksDue(mNow));
    for (wire::Sequence i = 3; i != 7; ++i) {
        Data(5, i);
        mCore.Receiver().Consumed(*mCore.Receiver().Next(), mNow);
    }
    EXPECT_TRUE(mCore.Receiver().AcksDue(mNow)) << "an eighth of that window";
}

TEST_F(ClientRules, ABrokerThatTakesLessThanPromisedIsNotJoined) {
    EXPECT_EQ(Say(wire::Welcome{1, 0, 100, 65536}), WireError::kSmallPayload);
    EXPECT_EQ(mCore.GetState(), State::kRefused) << "it asks again after a long pause only";
}

TEST_F(ClientRules, SomeRefusalsAreFinalAndSomeAreNot) {
    struct Case {
        wire::RefuseCode code;
        State state;
    };
    for (const Case& one :
         {Case{wire::RefuseCode::Version, State::kRefused}, Case{wire::RefuseCode::User, State::kRefused},
          Case{wire::RefuseCode::Protocol, State::kRefused},
          Case{wire::RefuseCode::Ending, State::kDisconnected},
          Case{wire::RefuseCode::Members, State::kDisconnected},
          Case{wire::RefuseCode::Connections, State::kDisconnected}}) {
        ClientCore core(mLimits, mPool, {"app", true, {}, {1, 2}});
        core.OnConnected(mNow);
        wire::Write(mQueue, mPool, wire::Refusal{one.code, "because"});
        iovec piece{};
        mQueue.Gather({&piece, 1});
        EXPECT_EQ(core.OnFrame({nullptr, static_cast<std::byte*>(piece.iov_base)}, mNow),
                  WireError::kRefused);
        mQueue.Clear();
        core.OnConnectionLost(mNow);
        EXPECT_EQ(core.GetState(), one.state);
        EXPECT_EQ(core.RefusalText(), "because");
    }
}

TEST_F(ClientRules, UnknownKindsFrom128UpAreSkippedAtAnyTime) {
    mQueue.AppendControl(mPool, static_cast<FrameKind>(150), 8);
    EXPECT_EQ(HandIn(), WireError::kNone);
    Join();
    mQueue.AppendControl(mPool, static_cast<FrameKind>(150), 8);
    EXPECT_EQ(HandIn(), WireError::kNone);
}

TEST_F(ClientRules, ClaimsOfAReceiverBeyondWhatWasWrittenCountAsWhatWasWritten) {
    Join();
    mCore.Sender().Send(50, "type", {});
    const std::vector<wire::ReportEntry> boast{{5, 65536, 1'000'000}};
    wire::WriteReport(mQueue, mPool, 0, boast);
    EXPECT_EQ(HandIn(), WireError::kNone);
    EXPECT_FALSE(mCore.Sender().NothingOwed()) << "it was not even written";
    mCore.Flush(mNow);
    wire::WriteReport(mQueue, mPool, 0, boast);
    EXPECT_EQ(HandIn(), WireError::kNone);
    EXPECT_TRUE(mCore.Sender().NothingOwed());
    mCore.Sender().Send(50, "type", {});
    EXPECT_FALSE(mCore.Sender().NothingOwed());
}

TEST_F(ClientRules, AcknowledgementsRideAlongOrGoAloneInTime) {
    Join();
    Data(5, 1);
    const auto delivery = mCore.Receiver().Next();
    ASSERT_TRUE(delivery);
    mCore.Output().Clear();
    mCore.Receiver().Consumed(*delivery, mNow);
    mCore.Flush(mNow);
    EXPECT_TRUE(mCore.Output().Empty());
    EXPECT_EQ(mCore.NextFlush(), mNow + mLimits.ackDelay);
    mCore.Flush(mNow + mLimits.ackDelay);
    EXPECT_EQ(mCore.Output().Bytes(), 48U);
    mCore.Output().Clear();
    Data(5, 2);
    mCore.Receiver().Consumed(*mCore.Receiver().Next(), mNow);
    mCore.Sender().Send(50, "", {});
    mCore.Flush(mNow);
    EXPECT_EQ(mCore.Output().Bytes(), 32U + 48U) << "message and acknowledgement";
}

TEST_F(ClientRules, NothingIsDueBeforeItIsAMemberAgain) {
    Join();
    Data(5, 1);
    const auto delivery = mCore.Receiver().Next();
    ASSERT_TRUE(delivery);
    mCore.OnConnectionLost(mNow);
    mCore.OnConnected(mNow);
    Welcome();
    auto again = Peer(6);
    again.member = Peer(5).member;
    ASSERT_EQ(Say(again), WireError::kNone);
    mCore.Receiver().Consumed(*delivery, mNow);
    EXPECT_TRUE(mCore.Receiver().AcksPending());
    mCore.Flush(mNow);
    EXPECT_FALSE(mCore.NextFlush()) << "Flush would do nothing";
    ASSERT_EQ(Say(wire::Joined{9, 4, 1}), WireError::kNone);
    EXPECT_TRUE(mCore.NextFlush());
}

TEST_F(ClientRules, MuchThatWasConsumedIsAcknowledgedAtOnce) {
    Join();
    mCore.Output().Clear();
    const std::size_t messages = mLimits.firstWindow / 8 / 32;
    for (wire::Sequence i = 1; i <= messages; ++i) {
        EXPECT_FALSE(mCore.Receiver().AcksDue(mNow));
        Data(5, i);
        mCore.Receiver().Consumed(*mCore.Receiver().Next(), mNow);
    }
    EXPECT_TRUE(mCore.Receiver().AcksDue(mNow));
}

TEST_F(ClientRules, ASourceThatComesBackWhileItsMessagesAreDeliveredIsRemembered) {
    Join();
    Data(5, 1);
    auto gone = Peer(5);
    gone.change = wire::PeerChange::Gone;
    gone.slot = wire::kNoSlot;
    Say(gone);
    auto back = Peer(5);
    back.slot = 6;
    back.lane = wire::LaneStart::Resume;
    Say(back);
    mCore.Receiver().Consumed(*mCore.Receiver().Next(), mNow);
    EXPECT_EQ(Data(6, 1), WireError::kNone);
    EXPECT_EQ(mCore.Receiver().Statistics().repeated, 1U);
    EXPECT_EQ(Data(6, 2), WireError::kNone);
    EXPECT_EQ(mCore.Receiver().Next()->Source().appId, "peer");
}

TEST_F(ClientRules, ASourceThatHasGoneCanStillBeNamedWhileItsMessagesAreDelivered) {
    Join();
    Data(5, 1);
    auto gone = Peer(5);
    gone.change = wire::PeerChange::Gone;
    gone.slot = wire::kNoSlot;
    Say(gone);
    const auto delivery = mCore.Receiver().Next();
    ASSERT_TRUE(delivery);
    EXPECT_EQ(delivery->Source().appId, "peer");
    mCore.Receiver().Consumed(*delivery, mNow);
    EXPECT_FALSE(mCore.Receiver().AcksPending());
}

}  // namespace
}  // namespace orvane::plexa::test
