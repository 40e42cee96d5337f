// How clients become members, and what they are told of each other.
#include <algorithm>
#include <csignal>
#include <functional>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <boost/json.hpp>

#include "BrokerProcess.h"
#include "WireClient.h"

namespace {

class Joining : public ::testing::Test {
  protected:
    TemporaryDirectory mDirectory;
    BrokerProcess mBroker{mDirectory.Path()};
    std::string mSocket = mBroker.SocketPath();
};

/// What is told of a member after it was up, passing over that it is away.
std::optional<ReceivedFrame> EndOfPeer(WireClient& inClient) {
    std::optional<ReceivedFrame> news = inClient.Next(wire::FrameKind::Peer);
    while (news && news->peer.change == wire::PeerChange::Away) news = inClient.Next(wire::FrameKind::Peer);
    return news;
}

TEST_F(Joining, BeginsWithAWelcomeThatNamesVersionAndLimits) {
    WireClient client(mSocket);
    client.Send([](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, wire::Hello{}); });
    const std::optional<ReceivedFrame> frame = client.Next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->kind, wire::FrameKind::Welcome);
}

TEST_F(Joining, IsRefusedToAClientOfAnotherVersion) {
    WireClient client(mSocket);
    wire::Hello hello;
    hello.lowestVersion = 90;
    hello.highestVersion = 91;
    client.Send([&](auto& outQueue, auto& inPool) { wire::Write(outQueue, inPool, hello); });
    const std::optional<ReceivedFrame> frame = client.Next();
    ASSERT_TRUE(frame);
    ASSERT_EQ(frame->kind, wire::FrameKind::Refuse);
    EXPECT_EQ(frame->refusal.code, wire::RefuseCode::Version);
    EXPECT_FALSE(frame->refusal.text.empty());
    EXPECT_TRUE(client.IsClosed());
    EXPECT_TRUE(mBroker.Logs("version"));
}

TEST_F(Joining, TellsEachOfTheOther) {
    WireClient first(mSocket);
    const auto toldFirst = first.Join("first-1");
    ASSERT_EQ(toldFirst.size(), 1U) << "nobody else is there";

    WireClient second(mSocket);
    const auto toldSecond = second.Join("second-1");
    ASSERT_EQ(toldSecond.size(), 2U);
    const wire::PeerNotice& notice = toldSecond[0].peer;
    EXPECT_EQ(notice.change, wire::PeerChange::Up);
    EXPECT_EQ(notice.member, first.Member());
    EXPECT_EQ(notice.slot, first.Slot());
    EXPECT_EQ(notice.endPoint.appId, "first-1");
    EXPECT_EQ(notice.endPoint.processId, static_cast<std::uint32_t>(first.Process().Process()))
        << "as the kernel tells it";

    const auto news = first.Next(wire::FrameKind::Peer);
    ASSERT_TRUE(news);
    EXPECT_EQ(news->peer.change, wire::PeerChange::Up);
    EXPECT_EQ(news->peer.member, second.Member());
    EXPECT_EQ(news->peer.slot, second.Slot());
    EXPECT_EQ(news->peer.endPoint.appId, "second-1");
    EXPECT_NE(first.Slot(), second.Slot());
    EXPECT_NE(first.Member(), second.Member());
}

TEST_F(Joining, MemberThatTakesLeaveIsGoneAtOnce) {
    WireClient first(mSocket);
    first.Join("first-1");
    WireClient second(mSocket);
    second.Join("second-1");
    EXPECT_EQ(first.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Up);
    second.Send(
        [](auto& outQueue, auto& inPool) { wire::WriteLeave(outQueue, inPool, wire::LeaveScope::Member); });
    const auto news = EndOfPeer(first);
    ASSERT_TRUE(news);
    EXPECT_EQ(news->peer.change, wire::PeerChange::Gone);
    EXPECT_EQ(news->peer.reason, wire::PeerReason::Left);
    EXPECT_EQ(news->peer.member, second.Member());
}

TEST_F(Joining, MemberWhoseProcessEndedIsGone) {
    WireClient first(mSocket);
    first.Join("first-1");
    WireClient second(mSocket);
    second.Join("second-1");
    EXPECT_EQ(first.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Up);
    second.Close();
    const auto away = first.Next(wire::FrameKind::Peer);
    ASSERT_TRUE(away);
    EXPECT_EQ(away->peer.change, wire::PeerChange::Away) << "the process lives: it may come back";
    second.Process().End();
    const auto gone = first.Next(wire::FrameKind::Peer);
    ASSERT_TRUE(gone);
    EXPECT_EQ(gone->peer.change, wire::PeerChange::Gone);
    EXPECT_EQ(gone->peer.reason, wire::PeerReason::Ended);
    EXPECT_EQ(gone->peer.member, second.Member());
}

TEST_F(Joining, MemberIsGoneWithItsProcessEvenIfAnotherProcessHoldsItsSocket) {
    WireClient first(mSocket);
    first.Join("first-1");
    WireClient second(mSocket);
    second.Join("second-1");
    EXPECT_EQ(first.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Up);
    second.SendMessage(1, wire::kEveryone, "last", "words");
    second.Process().End();
    EXPECT_EQ(first.Next()->payload, "words") << "what was sent before the end comes before the news of it";
    const auto news = EndOfPeer(first);
    ASSERT_TRUE(news);
    EXPECT_EQ(news->peer.change, wire::PeerChange::Gone);
    EXPECT_EQ(news->peer.reason, wire::PeerReason::Ended);
    EXPECT_TRUE(second.IsClosed());
}

TEST_F(Joining, MemberIsGoneAtOnceWhenItsSocketEndsJustAfterItsProcess) {
    WireClient first(mSocket);
    first.Join("first-1");
    WireClient second(mSocket);
    second.Join("second-1");
    EXPECT_EQ(first.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Up);
    // The broker sees both in one look, the end of the process first.
    mBroker.Signal(SIGSTOP);
    second.Process().End();
    second.Close();
    mBroker.Signal(SIGCONT);
    const auto news = EndOfPeer(first);
    ASSERT_TRUE(news) << "it would be waited for";
    EXPECT_EQ(news->peer.change, wire::PeerChange::Gone);
    EXPECT_EQ(news->peer.reason, wire::PeerReason::Ended);
}

TEST_F(Joining, MemberThatComesBackOnANewConnectionKeepsItsPlace) {
    WireClient first(mSocket);
    first.Join("first-1");
    WireClient second(mSocket);
    second.Join("second-1");
    const auto up = first.Next(wire::FrameKind::Peer);
    second.Close();
    EXPECT_EQ(first.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Away);
    WireClient again(mSocket, second.Shared());
    again.Resume("second-1", second.Member());
    const auto back = first.Next(wire::FrameKind::Peer);
    ASSERT_TRUE(up && back);
    EXPECT_EQ(back->peer.change, wire::PeerChange::Up);
    EXPECT_EQ(back->peer.lane, wire::LaneStart::Resume);
    EXPECT_EQ(back->peer.member, up->peer.member);
    EXPECT_EQ(back->peer.endPoint, up->peer.endPoint);
    EXPECT_NE(back->peer.slot, up->peer.slot) << "a new connection, a new slot";
}

TEST_F(Joining, PlaceOfAMemberIsRefusedToAnotherProcess) {
    WireClient member(mSocket);
    member.Join("member-1");
    member.Close();
    WireClient thief(mSocket);
    EXPECT_THROW(thief.Resume("member-1", member.Member()), std::runtime_error);
    EXPECT_TRUE(thief.IsClosed() || thief.Next(wire::FrameKind::Refuse));
}

TEST_F(Joining, IsNotNeededToAskForTheStatus) {
    WireClient member(mSocket);
    member.Join("member-1");
    WireClient client(mSocket);
    client.Greet();
    const boost::json::value status = boost::json::parse(client.Status());
    EXPECT_EQ(status.at("pid"), mBroker.Process());
    EXPECT_EQ(status.at("runtime_dir").as_string(), mDirectory.Path());
    EXPECT_EQ(status.at("members").as_array().size(), 1U);
    EXPECT_EQ(status.at_pointer("/members/0/app_id"), "member-1");
    EXPECT_EQ(status.at_pointer("/members/0/pid"), member.Process().Process());
    EXPECT_EQ(status.at("connections"), 2);
}

TEST_F(Joining, AppIdThatWouldForgeALogLineIsEscaped) {
    WireClient client(mSocket);
    client.Join("app\nbroker: all is lost");
    EXPECT_TRUE(mBroker.Logs("app\\x0abroker: all is lost"));
}

/// Runs inBody as the user 65534; the exit code of that process is 0 when inBody returns true.
int AsNobody(const std::function<bool()>& inBody) {
    const pid_t process = ::fork();
    if (process == 0) {
        ::alarm(30);
        if (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0) ::_exit(2);
        bool good = false;
        try {
            good = inBody();
        } catch (const std::exception&) {
        }
        ::_exit(good ? 0 : 1);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Joining, IsRefusedToAnotherUser) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    ASSERT_EQ(::chmod(mDirectory.Path().c_str(), 0711), 0);
    ASSERT_EQ(::chmod(mSocket.c_str(), 0666), 0);
    EXPECT_EQ(AsNobody([this] {
                  WireClient client(mSocket);
                  const auto frame = client.Next();
                  return frame && frame->kind == wire::FrameKind::Refuse &&
                         frame->refusal.code == wire::RefuseCode::User && client.IsClosed();
              }),
              0);
    EXPECT_TRUE(mBroker.Logs("connection of user 65534"));
    WireClient own(mSocket);
    own.Join("own-1");
}

TEST_F(Joining, SocketIsOutOfReachOfOtherUsers) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    EXPECT_EQ(AsNobody([this] {
                  try {
                      WireClient client(mSocket);
                  } catch (const std::system_error& error) {
                      return error.code() == std::errc::permission_denied;
                  }
                  return false;
              }),
              0);
}

}  // namespace
