// How the program starts, who survives, and when it ends.
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "BrokerProcess.h"
#include "Eventually.h"
#include "Listener.h"
#include "MembersFile.h"
#include "WireClient.h"

namespace {

bool Connects(const std::string& inSocketPath) {
    try {
        const WireClient client(inSocketPath);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

TEST(Life, OfManyStartersOneSurvivesAndTheOthersLeaveQuietly) {
    const TemporaryDirectory directory;
    std::vector<std::unique_ptr<BrokerProcess>> brokers;
    BrokerProcess::Setup setup;
    setup.awaitReady = false;
    for (int i = 0; i != 20; ++i) brokers.push_back(std::make_unique<BrokerProcess>(directory.Path(), setup));
    const auto running = [&] {
        return std::count_if(brokers.begin(), brokers.end(),
                             [](const auto& inBroker) { return inBroker->Running(); });
    };
    EXPECT_TRUE(Eventually([&] { return running() == 1; })) << running();
    EXPECT_TRUE(Eventually([&] { return Connects(directory / "broker.sock"); }));
    EXPECT_EQ(running(), 1);
    for (const auto& broker : brokers) {
        if (!broker->Running()) {
            EXPECT_EQ(broker->Wait(), 0);
        }
    }
}

TEST(Life, EndsSomeTimeAfterTheLastClientAndLeavesNothingBehind) {
    const TemporaryDirectory directory;
    BrokerProcess broker(directory.Path(), {.arguments = {"--idle-exit", "1"}});
    {
        WireClient client(broker.SocketPath());
        client.Join("client-1");
        client.Send([](auto& outQueue, auto& inPool) {
            wire::WriteLeave(outQueue, inPool, wire::LeaveScope::Member);
        });
    }
    EXPECT_EQ(broker.Wait(), 0);
    EXPECT_TRUE(broker.Logs("nobody was connected"));
    EXPECT_FALSE(std::filesystem::exists(directory / "broker.sock"));
    EXPECT_FALSE(std::filesystem::exists(directory / "members"));
}

TEST(Life, StaysWhileAClientIsConnected) {
    const TemporaryDirectory directory;
    BrokerProcess broker(directory.Path(), {.arguments = {"--idle-exit", "1"}});
    WireClient client(broker.SocketPath());
    client.Join("client-1");
    // Another one comes and goes and would start the countdown, if it were not for the first.
    EXPECT_TRUE(Connects(broker.SocketPath()));
    EXPECT_FALSE(Eventually([&] { return !broker.Running(); }, std::chrono::milliseconds(1500)));
    EXPECT_NE(client.Status(), "");
}

TEST(Life, SignalEndsItGracefullyWhatWaitsIsWrittenAndMembersAreRemembered) {
    const TemporaryDirectory directory;
    BrokerProcess broker(directory.Path());
    WireClient sender(broker.SocketPath());
    sender.Join("sender-1");
    WireClient receiver(broker.SocketPath());
    receiver.Join("receiver-1");
    const std::string payload(50000, 'x');
    for (wire::Sequence sequence = 1; sequence <= 20; ++sequence) {
        ASSERT_TRUE(sender.SendBytes(MessageFrame(sequence, receiver.Slot(), "t", payload)));
    }
    sender.Status();  // so the broker has read them all, and holds what the receiver's socket didn't take
    broker.Signal(SIGTERM);
    for (wire::Sequence sequence = 1; sequence <= 20; ++sequence) {
        const auto message = receiver.Next(wire::FrameKind::Data);
        ASSERT_TRUE(message) << sequence;
        EXPECT_EQ(message->sequence, sequence);
    }
    EXPECT_TRUE(receiver.IsClosed());
    EXPECT_EQ(broker.Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(directory / "broker.sock"));
    EXPECT_TRUE(std::filesystem::exists(directory / "members"));
}

TEST(Life, WhoSeesItsConnectionEndFindsThePlaceFreeForTheNextBroker) {
    const TemporaryDirectory directory;
    BrokerProcess::Setup setup;
    setup.prepare = [] { ::setenv("PLEXA_LIMIT_CONNECTIONS", "1000", 1); };
    const BrokerProcess broker(directory.Path(), setup);
    // Many, so that closing them all takes a while.
    const auto process = std::make_shared<Identity>();
    std::vector<std::unique_ptr<WireClient>> clients;
    std::vector<pollfd> ends;
    for (int i = 0; i != 800; ++i) {
        clients.push_back(std::make_unique<WireClient>(broker.SocketPath(), process));
        clients.back()->Greet();
        ends.push_back({clients.back()->Descriptor(), POLLIN | POLLRDHUP, 0});
    }
    broker.Signal(SIGTERM);
    ASSERT_GT(::poll(ends.data(), ends.size(), 20000), 0);
    EXPECT_TRUE(orvane::plexa::broker::MembersFile::Acquire(directory / "members", 8));
}

TEST(Life, SignalEndsItEvenIfAReceiverStandsStill) {
    const TemporaryDirectory directory;
    BrokerProcess broker(directory.Path());
    WireClient sender(broker.SocketPath());
    sender.Join("sender-1");
    WireClient still(broker.SocketPath());
    still.Join("still-1");
    for (wire::Sequence sequence = 1; sequence <= 20; ++sequence) {
        ASSERT_TRUE(sender.SendBytes(MessageFrame(sequence, still.Slot(), "t", std::string(50000, 'x'))));
    }
    sender.Status();
    broker.Signal(SIGINT);
    EXPECT_EQ(broker.Wait(), 0);
}

TEST(Life, KilledBrokersStaleSocketIsReplacedAndItsMembersComeBack) {
    const TemporaryDirectory directory;
    auto broker = std::make_unique<BrokerProcess>(directory.Path());
    WireClient first(broker->SocketPath());
    first.Join("first-1");
    WireClient second(broker->SocketPath());
    second.Join("second-1");
    broker->Signal(SIGKILL);
    EXPECT_EQ(broker->Wait(), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(directory / "broker.sock")) << "or this test is about nothing";
    EXPECT_TRUE(first.IsClosed());

    broker = std::make_unique<BrokerProcess>(directory.Path());
    WireClient again(broker->SocketPath(), first.Shared());
    const auto told = again.Resume("first-1", first.Member());
    EXPECT_EQ(again.Member(), first.Member());
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].peer.member, second.Member());
    EXPECT_EQ(told[0].peer.change, wire::PeerChange::Away) << "expected back";
    EXPECT_EQ(told[0].peer.endPoint.appId, "second-1");
    second.Process().End();
    const auto news = again.Next(wire::FrameKind::Peer);
    ASSERT_TRUE(news);
    EXPECT_EQ(news->peer.change, wire::PeerChange::Gone);
}

TEST(Life, MemberThatEndedWhileNoBrokerRanIsForgotten) {
    const TemporaryDirectory directory;
    auto broker = std::make_unique<BrokerProcess>(directory.Path());
    WireClient member(broker->SocketPath());
    member.Join("member-1");
    broker->Signal(SIGKILL);
    EXPECT_TRUE(broker->Wait());
    member.Process().End();
    broker = std::make_unique<BrokerProcess>(directory.Path());
    WireClient other(broker->SocketPath());
    EXPECT_EQ(other.Join("other-1").size(), 1U);
    EXPECT_GT(other.Member(), member.Member()) << "a number is never given twice";
}

TEST(Life, SocketHandedOverIsServedAndLeftInPlace) {
    const TemporaryDirectory directory;
    std::filesystem::permissions(directory.Path(), std::filesystem::perms::owner_all);
    using orvane::plexa::broker::Listener;
    const Listener manager = Listener::Bind(directory / "broker.sock");
    BrokerProcess::Setup setup;
    setup.arguments = {"--idle-exit", "1"};
    setup.awaitReady = false;
    setup.prepare = [&] {
        if (manager.Descriptor() == 3) {
            ::fcntl(3, F_SETFD, 0);
        } else {
            ::dup2(manager.Descriptor(), 3);
        }
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
        ::setenv("LISTEN_FDS", "1", 1);
    };
    // It connected before anybody served: that is what activation is for.
    WireClient client(directory / "broker.sock");
    BrokerProcess broker(directory.Path(), setup);
    client.Join("client-1");
    client.Send(
        [](auto& outQueue, auto& inPool) { wire::WriteLeave(outQueue, inPool, wire::LeaveScope::Member); });
    client.Close();
    EXPECT_EQ(broker.Wait(), 0) << broker.Log();
    EXPECT_TRUE(manager.InPlace());
}

TEST(Life, DescriptorHandedOverThatIsNoSocketIsAnError) {
    const TemporaryDirectory directory;
    BrokerProcess::Setup setup;
    setup.awaitReady = false;
    setup.prepare = [] {
        ::dup2(::open("/dev/null", O_RDONLY), 3);
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
        ::setenv("LISTEN_FDS", "1", 1);
    };
    BrokerProcess broker(directory.Path(), setup);
    EXPECT_EQ(broker.Wait(), 1);
}

/// With one descriptor more or less it runs out at another step of letting a client in.
class LifeWithFewDescriptors : public ::testing::TestWithParam<rlim_t> {};
INSTANTIATE_TEST_SUITE_P(Limit, LifeWithFewDescriptors, ::testing::Values(20, 21));

TEST_P(LifeWithFewDescriptors, TurnsClientsAwayAndServesAgainAfterwards) {
    const TemporaryDirectory directory;
    BrokerProcess::Setup setup;
    setup.prepare = [] {
        const rlimit few{GetParam(), GetParam()};
        ::setrlimit(RLIMIT_NOFILE, &few);
    };
    BrokerProcess broker(directory.Path(), setup);
    WireClient early(broker.SocketPath());
    early.Join("early-1");
    std::vector<std::unique_ptr<WireClient>> crowd;
    for (int i = 0; i != 30; ++i) crowd.push_back(std::make_unique<WireClient>(broker.SocketPath()));
    EXPECT_TRUE(broker.Logs("no file descriptor is left"));
    EXPECT_TRUE(crowd.back()->IsClosed()) << "it is told, and doesn't wait in vain";
    EXPECT_NE(early.Status(), "") << "those who are in are served on";
    const auto cpuTime = [&] {
        std::ifstream stat("/proc/" + std::to_string(broker.Process()) + "/stat");
        std::string field;
        for (int i = 1; i != 14; ++i) stat >> field;
        long user = 0;
        long system = 0;
        stat >> user >> system;
        return user + system;
    };
    crowd.clear();
    EXPECT_TRUE(Eventually([&] {
        try {
            WireClient late(broker.SocketPath());
            late.Join("late-1");
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }));
    EXPECT_LT(cpuTime(), 200) << "in hundredths of a second: it must not spin";
}

TEST(Life, StartedOnDemandItHasASessionOfItsOwnAndLogsIntoTheRuntimeDirectory) {
    const TemporaryDirectory directory;
    std::array<int, 2> output{};
    ASSERT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
    const std::string runtime = directory / "runtime";
    BrokerProcess::Setup setup;
    setup.arguments = {"--on-demand", "--runtime-dir", runtime};
    setup.bare = true;
    setup.prepare = [&] {
        ::dup2(output[1], STDOUT_FILENO);
        ::dup2(output[1], STDERR_FILENO);
        ::dup2(output[1], 9);  // something that an untidy host left open
    };
    BrokerProcess broker(directory.Path(), setup);
    ::close(output[1]);
    EXPECT_EQ(::getsid(broker.Process()), broker.Process());
    char byte = 0;
    EXPECT_EQ(::read(output[0], &byte, 1), 0) << "the starter's pipe is given back while the broker runs";
    ::close(output[0]);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(broker.Process()) + "/cwd"), "/");
    EXPECT_TRUE(
        Eventually([&] { return TextOf(runtime + "/broker.log").find("started") != std::string::npos; }));
    struct stat status {};
    ASSERT_EQ(::stat((runtime + "/broker.log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(Life, StartIsRefusedInADirectoryOthersCanWriteTo) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::chmod(directory.Path().c_str(), 0777), 0);
    const RunResult result = RunBrokerProgram({"--runtime-dir", directory.Path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.errors.find("can be written by others"), std::string::npos) << result.errors;
}

TEST(Life, WrongCommandLineEndsWithTwoAndHelpWithZero) {
    EXPECT_EQ(RunBrokerProgram({"--no-such-option"}).exitCode, 2);
    EXPECT_EQ(RunBrokerProgram({"--idle-exit", "x"}).exitCode, 2);
    const RunResult help = RunBrokerProgram({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.output.find("--idle-exit"), std::string::npos);
    EXPECT_EQ(RunBrokerProgram({"--version"}).exitCode, 0);
}

}  // namespace
