// What befalls a broker from outside: its machine runs out of something, its files are strange, its clients
// die in the middle of things.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <boost/json.hpp>

#include "BrokerProcess.h"
#include "Eventually.h"
#include "WireClient.h"

namespace {

using namespace std::chrono_literals;

class Trouble : public ::testing::Test {
  protected:
    TemporaryDirectory mDirectory;
    std::string mSocket = mDirectory / "broker.sock";
};

std::size_t OpenDescriptors(const BrokerProcess& inBroker) {
    const std::string path = "/proc/" + std::to_string(inBroker.Process()) + "/fd";
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
}

TEST_F(Trouble, ClientsThatDieInTheMiddleOfThingsLeaveNothingBehind) {
    const BrokerProcess broker(mDirectory.Path());
    WireClient witness(broker.SocketPath());
    witness.Join("witness-1");
    const std::size_t before = OpenDescriptors(broker);
    const std::string frame = MessageFrame(1, witness.Slot(), "t", std::string(100000, 'x'));
    // What the process connected stays open here, as in a child that it has forked.
    std::vector<std::unique_ptr<WireClient>> left;
    for (std::size_t i = 0; i != 60; ++i) {
        auto client = std::make_unique<WireClient>(broker.SocketPath());
        if (i % 4 == 1) client->Greet();
        if (i % 4 > 1) client->Join("client-1");
        if (i % 4 == 3) client->SendWhatFits(std::string_view(frame).substr(0, 1 + i * 1500));
        if (i % 3 == 0) client->Process().End();
        if (i % 3 != 1) left.push_back(std::move(client));
    }
    for (const auto& client : left) client->Process().End();
    EXPECT_TRUE(Eventually([&] {
        const boost::json::value status = boost::json::parse(witness.Status());
        return status.at("members_total") == 1 && status.at("members").as_array().size() == 1;
    })) << witness.Status();
    left.clear();
    EXPECT_TRUE(Eventually([&] { return OpenDescriptors(broker) == before; }))
        << OpenDescriptors(broker) << " instead of " << before;
    const boost::json::value status = boost::json::parse(witness.Status());
    EXPECT_EQ(status.at("connections"), 1);
    EXPECT_LT(status.at_pointer("/memory/in_use").to_number<std::size_t>(), std::size_t{1} << 20U);
}

TEST_F(Trouble, ClientThatDoesNotReadItsNoticesIsDisconnectedAndComesBackToASnapshot) {
    BrokerProcess::Setup setup;
    setup.prepare = [] { ::setenv("PLEXA_LIMIT_CONTROL_QUEUE", "64K", 1); };
    const BrokerProcess broker(mDirectory.Path(), setup);
    WireClient still(broker.SocketPath());
    still.Join("still-1");
    const auto restless = std::make_shared<Identity>();
    const std::string overflow(wire::Text(wire::WireError::kControlOverflow));
    for (int i = 0; i != 20000 && broker.Log().find(overflow) == std::string::npos; ++i) {
        WireClient client(broker.SocketPath(), restless);
        client.Join("restless-" + std::string(200, 'x'));
        client.Send([](auto& outQueue, auto& inPool) {
            wire::WriteLeave(outQueue, inPool, wire::LeaveScope::Member);
        });
        ASSERT_TRUE(client.IsClosed());
    }
    EXPECT_TRUE(broker.Logs(overflow));
    EXPECT_TRUE(still.IsClosed());
    WireClient again(broker.SocketPath(), still.Shared());
    EXPECT_EQ(again.Resume("still-1", still.Member()).size(), 1U) << "nobody else is there";
    EXPECT_EQ(again.Member(), still.Member());
}

TEST_F(Trouble, MemberComesBackInTimeAlthoughTheBrokerStoodStillForLonger) {
    BrokerProcess::Setup setup;
    setup.prepare = [] { ::setenv("PLEXA_LIMIT_AWAY", "2s", 1); };
    const BrokerProcess broker(mDirectory.Path(), setup);
    WireClient witness(broker.SocketPath());
    witness.Join("witness-1");
    WireClient member(broker.SocketPath());
    member.Join("member-1");
    member.Close();
    EXPECT_EQ(witness.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Up);
    EXPECT_EQ(witness.Next(wire::FrameKind::Peer)->peer.change, wire::PeerChange::Away);
    broker.Signal(SIGSTOP);
    WireClient again(broker.SocketPath(), member.Shared());
    // This is about time itself.
    const auto over = std::chrono::steady_clock::now() + 3s;
    EXPECT_TRUE(Eventually([&] { return std::chrono::steady_clock::now() > over; }));
    broker.Signal(SIGCONT);
    again.Resume("member-1", member.Member());
    EXPECT_EQ(again.Member(), member.Member());
}

/// A broker that cannot write to files. What it logs goes through a pipe.
class FullDisk {
  public:
    explicit FullDisk(const std::string& inDirectory) {
        std::array<int, 2> log{};
        if (::pipe2(log.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
        mLog = orvane::plexa::broker::FileDescriptor(log[0]);
        const orvane::plexa::broker::FileDescriptor writing(log[1]);
        BrokerProcess::Setup setup;
        setup.bare = true;
        setup.arguments = {"--runtime-dir", inDirectory};
        setup.prepare = [&] {
            ::dup2(writing.Get(), STDERR_FILENO);
            const rlimit none{0, 0};
            ::setrlimit(RLIMIT_FSIZE, &none);
        };
        mBroker = std::make_unique<BrokerProcess>(inDirectory, setup);
    }
    BrokerProcess& Broker() { return *mBroker; }
    bool Logs(const std::string& inText) {
        return Eventually([&] {
            std::array<char, 4096> text;
            const ssize_t length = ::read(mLog.Get(), text.data(), text.size());
            if (length > 0) mText.append(text.data(), static_cast<std::size_t>(length));
            return mText.find(inText) != std::string::npos;
        });
    }

  private:
    orvane::plexa::broker::FileDescriptor mLog;
    std::string mText;
    std::unique_ptr<BrokerProcess> mBroker;
};

TEST_F(Trouble, OnAFullDiskMessagesAreCarriedAndOnlyTheNextBrokerDoesNotKnowTheMembers) {
    FullDisk full(mDirectory.Path());
    EXPECT_TRUE(full.Logs("no space can be reserved for the members file"));
    WireClient sender(mSocket);
    sender.Join("sender-1");
    WireClient receiver(mSocket);
    receiver.Join("receiver-1");
    EXPECT_TRUE(full.Logs("cannot be remembered across a restart"));
    sender.SendMessage(1, receiver.Slot(), "t", "carried");
    EXPECT_EQ(receiver.Next(wire::FrameKind::Data)->payload, "carried");
    full.Broker().Signal(SIGKILL);
    EXPECT_TRUE(full.Broker().Wait());

    const BrokerProcess next(mDirectory.Path());
    WireClient again(mSocket, sender.Shared());
    EXPECT_THROW(again.Resume("sender-1", sender.Member()), std::runtime_error) << "it is told to join anew";
    WireClient anew(mSocket, sender.Shared());
    anew.Join("sender-1");
    EXPECT_NE(anew.Member(), sender.Member());
}

TEST_F(Trouble, DiskThatFillsUpLaterKeepsNobodyFromBeingRemembered) {
    auto broker = std::make_unique<BrokerProcess>(mDirectory.Path());
    std::vector<std::unique_ptr<WireClient>> members;
    const std::uintmax_t size = std::filesystem::file_size(mDirectory / "members");
    for (int i = 0; i != 20; ++i) {
        members.push_back(std::make_unique<WireClient>(mSocket));
        members.back()->Join("member-" + std::to_string(i));
    }
    EXPECT_EQ(std::filesystem::file_size(mDirectory / "members"), size)
        << "its space is taken from the start";
    broker->Signal(SIGKILL);
    EXPECT_TRUE(broker->Wait());
    broker = std::make_unique<BrokerProcess>(mDirectory.Path());
    WireClient again(mSocket, members.back()->Shared());
    EXPECT_EQ(again.Resume("member-19", members.back()->Member()).size(), 20U);
}

TEST_F(Trouble, MembersFileThatIsNoneIsBegunAnewAndTheLogSaysSo) {
    std::ofstream(mDirectory / "members") << std::string(5000, 'z');
    const BrokerProcess broker(mDirectory.Path());
    EXPECT_TRUE(broker.Logs("the members file is of another version or damaged and is begun anew"));
    WireClient client(broker.SocketPath());
    client.Join("client-1");
}

TEST_F(Trouble, MembersFileOfAnotherUserEndsTheStartWithAReason) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    std::ofstream(mDirectory / "members") << "";
    ASSERT_EQ(::chown((mDirectory / "members").c_str(), 65534, 65534), 0);
    const RunResult result = RunBrokerProgram({"--runtime-dir", mDirectory.Path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.errors.find("belongs to user 65534"), std::string::npos) << result.errors;
}

TEST_F(Trouble, NumberOfAMemberIsNotGivenAgainThoughTheFileIsLostAndTheBrokerKilled) {
    auto broker = std::make_unique<BrokerProcess>(mDirectory.Path());
    WireClient first(mSocket);
    first.Join("first-1");
    broker->Signal(SIGKILL);
    EXPECT_TRUE(broker->Wait());
    std::filesystem::remove(mDirectory / "members");
    broker = std::make_unique<BrokerProcess>(mDirectory.Path());
    WireClient second(mSocket);
    second.Join("second-1");
    EXPECT_GT(second.Member(), first.Member());
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    EXPECT_LE(second.Member(), static_cast<wire::MemberId>(std::chrono::nanoseconds(sinceStart).count()))
        << "it depends on no clock that can be set back";
}

TEST_F(Trouble, LogFileThatCannotBeOpenedKeepsNoBrokerThatWasStartedOnDemandFromServing) {
    std::filesystem::create_directory(mDirectory / "broker.log");
    BrokerProcess::Setup setup;
    setup.bare = true;
    setup.arguments = {"--on-demand", "--runtime-dir", mDirectory.Path()};
    const BrokerProcess broker(mDirectory.Path(), setup);
    WireClient client(mSocket);
    client.Join("client-1");
}

}  // namespace
