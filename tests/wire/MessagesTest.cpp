// Control frames: what is written is read back, and hostile ones have a named answer.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "wire/Messages.h"

namespace orvane::plexa::test {
namespace {

using wire::FrameKind;
using wire::WireError;

const wire::Limits kLimits;

/// A frame made by a Write function, with its bytes at hand for spoiling.
class Written {
  public:
    template <typename Fill>
    explicit Written(Fill inFill) {
        inFill(mQueue, mPool);
        iovec piece{};
        EXPECT_EQ(mQueue.Gather({&piece, 1}), 1U);
        mFrame = {nullptr, static_cast<std::byte*>(piece.iov_base)};
        EXPECT_EQ(piece.iov_len, mFrame.Length());
    }
    const wire::Frame& Frame() const { return mFrame; }
    std::byte* PayloadBytes() { return mFrame.data + wire::kHeaderBytes; }

  private:
    wire::BufferPool mPool{4096};
    wire::OutputQueue mQueue;
    wire::Frame mFrame;
};

template <typename Message>
Written Make(const Message& inMessage) {
    return Written([&](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, inMessage); });
}

wire::Join SomeJoin() {
    wire::Join join;
    join.appId = "app-1.0";
    join.member = 7;
    join.nonce = {1, 2};
    join.receives = false;
    join.interest = std::vector<std::string>{"a", "bb"};
    join.nextLive = 9;
    join.carriedFrom = 4;
    return join;
}

wire::PeerNotice SomePeer() {
    wire::PeerNotice peer;
    peer.member = 3;
    peer.slot = 5;
    peer.endPoint = {"app", 2, 99};
    peer.lane = wire::LaneStart::Resume;
    peer.sendFrom = 11;
    peer.receiveFrom = 12;
    peer.withdrawn = true;
    return peer;
}

TEST(Messages, TheGreetingIsReadBack) {
    wire::Hello hello;
    EXPECT_EQ(wire::Read(Make(wire::Hello{wire::kMagic, 1, 3, 5}).Frame(), hello), WireError::kNone);
    EXPECT_EQ(hello.highestVersion, 3);
    EXPECT_EQ(hello.features, 5U);
    EXPECT_EQ(wire::Read(Make(wire::Hello{1, 1, 3, 5}).Frame(), hello), WireError::kBadMagic);
    wire::Welcome welcome;
    EXPECT_EQ(wire::Read(Make(wire::Welcome{1, 2, 3, 4}).Frame(), welcome), WireError::kNone);
    EXPECT_EQ(welcome.firstWindow, 4U);
    EXPECT_EQ(wire::Read(Make(wire::Welcome{0, 2, 3, 4}).Frame(), welcome), WireError::kNoCommonVersion);
    EXPECT_EQ(wire::Read(Make(wire::Welcome{99, 2, 3, 4}).Frame(), welcome), WireError::kNoCommonVersion);
}

TEST(Messages, TheHighestCommonVersionIsSpoken) {
    EXPECT_EQ(wire::CommonVersion({wire::kMagic, 1, 1, 0}), 1);
    EXPECT_EQ(wire::CommonVersion({wire::kMagic, 1, 200, 0}), wire::kHighestVersion);
    EXPECT_EQ(wire::CommonVersion({wire::kMagic, 100, 200, 0}), 0);
    EXPECT_EQ(wire::CommonVersion({wire::kMagic, 0, 0, 0}), 0);
    EXPECT_EQ(wire::CommonVersion({wire::kMagic, 9, 1, 0}), 0);
}

TEST(Messages, ARefusalIsReadBack) {
    wire::Refusal refusal;
    EXPECT_EQ(wire::Read(Make(wire::Refusal{wire::RefuseCode::Expired, "why"}).Frame(), refusal),
              WireError::kNone);
    EXPECT_EQ(refusal.code, wire::RefuseCode::Expired);
    EXPECT_EQ(refusal.text, "why");
}

TEST(Messages, JoiningIsReadBack) {
    wire::Join join;
    ASSERT_EQ(wire::Read(Make(SomeJoin()).Frame(), kLimits, join), WireError::kNone);
    EXPECT_EQ(join.appId, "app-1.0");
    EXPECT_EQ(join.member, 7U);
    EXPECT_EQ(join.nonce, (wire::Nonce{1, 2}));
    EXPECT_FALSE(join.receives);
    EXPECT_EQ(join.interest, SomeJoin().interest);
    EXPECT_EQ(join.nextLive, 9U);
    EXPECT_EQ(join.carriedFrom, 4U);
}

TEST(Messages, NoInterestAndAnEmptyInterestAreDifferent) {
    wire::Interest interest;
    Written none([](auto& outQueue, auto& inPool) { wire::WriteInterest(outQueue, inPool, {}); });
    EXPECT_EQ(wire::ReadInterest(none.Frame(), kLimits, interest), WireError::kNone);
    EXPECT_FALSE(interest.has_value());
    Written empty([](auto& outQueue, auto& inPool) {
        wire::WriteInterest(outQueue, inPool, std::vector<std::string>{});
    });
    EXPECT_EQ(wire::ReadInterest(empty.Frame(), kLimits, interest), WireError::kNone);
    ASSERT_TRUE(interest.has_value());
    EXPECT_TRUE(interest->empty());
}

TEST(Messages, ImpossibleJoinsAreNamed) {
    const auto read = [](auto inSpoil) {
        wire::Join join = SomeJoin();
        inSpoil(join);
        return wire::Read(Make(join).Frame(), kLimits, join);
    };
    EXPECT_EQ(read([](auto& outJoin) { outJoin.appId = ""; }), WireError::kBadAppId);
    EXPECT_EQ(read([](auto& outJoin) { outJoin.appId = std::string("a\0b", 3); }), WireError::kBadAppId);
    EXPECT_EQ(read([](auto& outJoin) { outJoin.appId = std::string(kLimits.maxAppId + 1, 'a'); }),
              WireError::kBadAppId);
    EXPECT_EQ(read([](auto& outJoin) { outJoin.carriedFrom = 0; }), WireError::kBadSequence);
    EXPECT_EQ(read([](auto& outJoin) { outJoin.carriedFrom = 10; }), WireError::kBadSequence);
    EXPECT_EQ(read([](auto& outJoin) { outJoin.nextLive = ~0ULL; }), WireError::kBadSequence);
    EXPECT_EQ(read([](auto& outJoin) { outJoin.interest->resize(kLimits.maxInterestTypes + 1); }),
              WireError::kBadInterest);
    EXPECT_EQ(
        read([](auto& outJoin) { outJoin.interest->push_back(std::string(kLimits.maxTypeText + 1, 'x')); }),
        WireError::kBadInterest);
}

TEST(Messages, NoticesOfPeersAreReadBack) {
    wire::PeerNotice peer;
    ASSERT_EQ(wire::Read(Make(SomePeer()).Frame(), kLimits, peer), WireError::kNone);
    EXPECT_EQ(peer.member, 3U);
    EXPECT_EQ(peer.slot, 5U);
    EXPECT_EQ(peer.endPoint, SomePeer().endPoint);
    EXPECT_EQ(peer.lane, wire::LaneStart::Resume);
    EXPECT_EQ(peer.sendFrom, 11U);
    EXPECT_EQ(peer.receiveFrom, 12U);
    EXPECT_TRUE(peer.withdrawn);
}

TEST(Messages, ImpossibleNoticesAreNamed) {
    const auto read = [](auto inSpoil) {
        wire::PeerNotice peer = SomePeer();
        inSpoil(peer);
        return wire::Read(Make(peer).Frame(), kLimits, peer);
    };
    EXPECT_EQ(read([](auto& outPeer) { outPeer.member = 0; }), WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.slot = wire::kNoSlot; }), WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.slot = wire::kEveryone; }), WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.change = wire::PeerChange::Away; }), WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.change = static_cast<wire::PeerChange>(9); }),
              WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.lane = static_cast<wire::LaneStart>(9); }),
              WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.sendFrom = 0; }), WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.receiveFrom = ~0ULL; }), WireError::kBadTable);
    EXPECT_EQ(read([](auto& outPeer) { outPeer.endPoint.appId = ""; }), WireError::kBadAppId);
}

TEST(Messages, FixedBodiesAreReadBack) {
    wire::Joined joined;
    EXPECT_EQ(wire::Read(Make(wire::Joined{1, 2, 3}).Frame(), joined), WireError::kNone);
    EXPECT_EQ(joined.instance, 3U);
    EXPECT_EQ(wire::Read(Make(wire::Joined{0, 2, 3}).Frame(), joined), WireError::kBadBody);
    EXPECT_EQ(wire::Read(Make(wire::Joined{1, 0, 3}).Frame(), joined), WireError::kBadBody);

    const std::vector<wire::AckEntry> acks{{1, 2, 3}, {4, 5, 6}};
    Written ack([&](auto& outQueue, auto& inPool) { wire::WriteAcks(outQueue, inPool, acks); });
    std::span<const wire::AckEntry> ackEntries;
    ASSERT_EQ(wire::Read(ack.Frame(), ackEntries), WireError::kNone);
    ASSERT_EQ(ackEntries.size(), 2U);
    EXPECT_EQ(ackEntries[1].consumed(), 6U);

    const std::vector<wire::ReportEntry> reports{{1, 2, 3}};
    Written report([&](auto& outQueue, auto& inPool) { wire::WriteReport(outQueue, inPool, 44, reports); });
    std::span<const wire::ReportEntry> reportEntries;
    ASSERT_EQ(wire::Read(report.Frame(), reportEntries), WireError::kNone);
    EXPECT_EQ(report.Frame().Header().sequence(), 44U);
    EXPECT_EQ(reportEntries[0].window(), 2U);

    Written position([](auto& outQueue, auto& inPool) {
        wire::WritePosition(outQueue, inPool, 1, 2, {9, 8});
    });
    wire::Position read;
    EXPECT_EQ(wire::Read(position.Frame(), read), WireError::kNone);
    EXPECT_EQ(read.taken, 9U);
    EXPECT_EQ(read.consumed, 8U);
    EXPECT_EQ(position.Frame().Header().destination(), 2U);
    Written backwards([](auto& outQueue, auto& inPool) {
        wire::WritePosition(outQueue, inPool, 1, 2, {8, 9});
    });
    EXPECT_EQ(wire::Read(backwards.Frame(), read), WireError::kBadBody);

    Written leave(
        [](auto& outQueue, auto& inPool) { wire::WriteLeave(outQueue, inPool, wire::LeaveScope::Member); });
    wire::LeaveScope scope{};
    EXPECT_EQ(wire::ReadLeave(leave.Frame(), scope), WireError::kNone);
    EXPECT_EQ(scope, wire::LeaveScope::Member);
    leave.PayloadBytes()[0] = std::byte{7};
    EXPECT_EQ(wire::ReadLeave(leave.Frame(), scope), WireError::kBadBody);
}

TEST(Messages, BodiesOfTheWrongSizeAreNamed) {
    const auto sized = [](FrameKind inKind, std::size_t inPayload) {
        return Written([&](auto& outQueue, auto& inPool) {
            std::memset(outQueue.AppendControl(inPool, inKind, inPayload) + wire::kHeaderBytes, 0, inPayload);
        });
    };
    std::span<const wire::AckEntry> acks;
    EXPECT_EQ(wire::Read(sized(FrameKind::Ack, 15).Frame(), acks), WireError::kBadBody);
    EXPECT_EQ(wire::Read(sized(FrameKind::Ack, 0).Frame(), acks), WireError::kNone);
    std::span<const wire::ReportEntry> reports;
    EXPECT_EQ(wire::Read(sized(FrameKind::Report, 17).Frame(), reports), WireError::kBadBody);
    wire::Position position;
    EXPECT_EQ(wire::Read(sized(FrameKind::Position, 8).Frame(), position), WireError::kBadBody);
    EXPECT_EQ(wire::Read(sized(FrameKind::Position, 24).Frame(), position), WireError::kBadBody);
    wire::Joined joined;
    EXPECT_EQ(wire::Read(sized(FrameKind::Joined, 0).Frame(), joined), WireError::kBadBody);
    wire::LeaveScope scope{};
    EXPECT_EQ(wire::ReadLeave(sized(FrameKind::Leave, 4).Frame(), scope), WireError::kBadBody);
    wire::Hello hello;
    EXPECT_EQ(wire::Read(sized(FrameKind::Hello, 0).Frame(), hello), WireError::kBadTable);
    EXPECT_EQ(wire::Read(sized(FrameKind::Hello, 3).Frame(), hello), WireError::kBadTable);
}

TEST(Messages, SpoiledTablesNeverCrashTheReader) {
    std::mt19937 random(3);
    std::size_t rejected = 0;
    for (int round = 0; round != 4000; ++round) {
        Written join = Make(SomeJoin());
        Written peer = Make(SomePeer());
        for (Written* frame : {&join, &peer}) {
            const std::size_t size = frame->Frame().Payload().size();
            const std::size_t changes = 1 + random() % 4;
            for (std::size_t i = 0; i != changes; ++i) {
                frame->PayloadBytes()[random() % size] = static_cast<std::byte>(random());
            }
        }
        wire::Join readJoin;
        wire::PeerNotice readPeer;
        rejected += wire::Read(join.Frame(), kLimits, readJoin) != WireError::kNone ? 1 : 0;
        rejected += wire::Read(peer.Frame(), kLimits, readPeer) != WireError::kNone ? 1 : 0;
    }
    EXPECT_GT(rejected, 1000U);
}

}  // namespace
}  // namespace orvane::plexa::test
