// Whom the broker knows as a member, and what is remembered of it.
#include "BrokerBench.h"

namespace orvane::plexa::test {
namespace {

using testing::ElementsAre;
using BrokerMembers = BrokerBench;

TEST_F(BrokerMembers, AMembershipNeedsItsNumberNonceProcessAndStartTime) {
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

TEST_F(BrokerMembers, AProgramThatReplacedAnotherInTheSameProcessEndsTheOldMembership) {
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

TEST_F(BrokerMembers, TheMemberIsRecordedBeforeItIsToldItsNumber) {
    Join(1);
    ASSERT_EQ(mActions.size(), 1U);
    const auto& record = std::get<broker::RecordMember>(mActions[0]).record;
    EXPECT_EQ(record.appId, "app");
    EXPECT_EQ(record.process, (broker::ProcessIdentity{1, 10}));
}

TEST_F(BrokerMembers, ThatAMemberReceivesNoMoreIsRecordedOnce) {
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

TEST_F(BrokerMembers, TheSecondConnectionOfAMemberReplacesTheFirst) {
    const auto first = Join(1);
    const auto second = Join(1);
    EXPECT_EQ(mCore->ConnectionOf(1), second);
    EXPECT_EQ(mCore->MemberOf(first), std::nullopt);
    EXPECT_EQ(mCore->MemberCount(), 1U);
}

TEST_F(BrokerMembers, ABrokerAboutToEndAdmitsNobodyNewButItsMembers) {
    const auto id = Join(1);
    mCore->OnDisconnected(id, mNow);
    mCore->StopAdmitting();
    EXPECT_EQ(RefusalOf(Join(2)).code, wire::RefuseCode::Ending);
    EXPECT_THAT(Written(Join(1)), testing::Contains(FrameKind::Joined));
}

TEST_F(BrokerMembers, AMemberThatLeavesOrEndsIsGoneWithoutBeingAwayFirst) {
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

}  // namespace
}  // namespace orvane::plexa::test
