// Connecting, and starting what isn't there, with made-up brokers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "BrokerStart.h"
#include "Connector.h"
#include "Eventually.h"
#include "Socket.h"
#include "TemporaryDirectory.h"

using namespace orvane::plexa;
using message5::BrokerStart;
using message5::Connector;
using message5::StartLock;
using Clock = std::chrono::steady_clock;

namespace {

/// A program that does what a shell script says; $3 is the descriptor to report readiness to.
std::string Program(const TemporaryDirectory& inDirectory, const std::string& inScript) {
    const std::string path = inDirectory / "program";
    std::ofstream(path) << "#!/bin/sh\n" << inScript << "\n";
    ::chmod(path.c_str(), 0700);
    return path;
}

std::string Text(const std::string& inPath) {
    std::ifstream file(inPath);
    return {std::istreambuf_iterator<char>(file), {}};
}

wire::FileDescriptor Listen(const std::string& inPath) {
    wire::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    inPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(::listen(socket.Get(), 8), 0);
    return socket;
}

BrokerStart::State Settled(BrokerStart& ioStart) {
    auto state = BrokerStart::State::kStarting;
    Eventually([&] { return (state = ioStart.Poll()) != BrokerStart::State::kStarting; });
    return state;
}

}  // namespace

TEST(StartLocks, AreHeldByOneAtATime) {
    const TemporaryDirectory directory;
    {
        const auto first = StartLock::TryTake(directory.Path());
        ASSERT_TRUE(first);
        EXPECT_FALSE(StartLock::TryTake(directory.Path()));
    }
    EXPECT_TRUE(StartLock::TryTake(directory.Path()));
    EXPECT_THROW(StartLock::TryTake(directory / "missing"), std::system_error);
}

TEST(BrokerStarts, TellThatTheProgramIsReady) {
    const TemporaryDirectory directory;
    BrokerStart start(Program(directory, "echo > /proc/$$/fd/$3"));
    EXPECT_EQ(Settled(start), BrokerStart::State::kReady);
}

TEST(BrokerStarts, TellThatTheProgramHasEndedOrCannotBeRun) {
    const TemporaryDirectory directory;
    BrokerStart ended(Program(directory, "exit 0"));
    EXPECT_EQ(Settled(ended), BrokerStart::State::kEnded);
    BrokerStart missing(directory / "missing");
    EXPECT_EQ(Settled(missing), BrokerStart::State::kEnded);
}

TEST(BrokerStarts, LeaveNoChildAndNothingOfTheHostsSignals) {
    const TemporaryDirectory directory;
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGUSR1, &ignore, nullptr);
    const std::string result = directory / "result";
    BrokerStart start(Program(directory, "(echo $1 $2; grep -E 'PPid|Sig' /proc/$$/status) > " + result));
    EXPECT_EQ(Settled(start), BrokerStart::State::kEnded);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    const std::string text = Text(result);
    EXPECT_TRUE(text.starts_with("--on-demand --ready-fd\nPPid:")) << text;
    EXPECT_EQ(text.find("PPid:\t" + std::to_string(::getpid()) + "\n"), std::string::npos) << text;
    EXPECT_NE(text.find("SigIgn:\t0000000000000000"), std::string::npos) << text;
    EXPECT_NE(text.find("SigBlk:\t0000000000000000"), std::string::npos) << text;
}

TEST(Connectors, ConnectToWhoListens) {
    const TemporaryDirectory directory;
    const auto listening = Listen(directory / "broker.sock");
    Connector connector(directory.Path(), std::nullopt);
    EXPECT_TRUE(connector.Attempt(Clock::now()));
    EXPECT_EQ(connector.Trouble(), "");
}

TEST(Connectors, TellWhyThereIsNoBroker) {
    const TemporaryDirectory directory;
    Connector connector(directory.Path(), std::nullopt);
    EXPECT_FALSE(connector.Attempt(Clock::now()));
    EXPECT_EQ(connector.Trouble(), "no broker runs, and its program is not installed");
    Connector nowhere(directory / "a/b", std::nullopt);
    EXPECT_FALSE(nowhere.Attempt(Clock::now()));
    EXPECT_NE(nowhere.Trouble(), "");
}

TEST(Connectors, RefuseADirectoryThatOthersMayWriteTo) {
    const TemporaryDirectory directory;
    const auto listening = Listen(directory / "broker.sock");
    ::chmod(directory.Path().c_str(), 0777);
    Connector connector(directory.Path(), std::nullopt);
    EXPECT_FALSE(connector.Attempt(Clock::now()));
    EXPECT_NE(connector.Trouble().find("can be written by others"), std::string::npos);
}

TEST(Connectors, TryAgainAfterPausesThatGrowToFiftyMilliseconds) {
    const TemporaryDirectory directory;
    Connector connector(directory.Path(), std::nullopt);
    const auto begin = Clock::now();
    std::vector<long> pauses;
    for (int i = 0; i != 9; ++i) {
        connector.Attempt(begin);
        pauses.push_back(
            std::chrono::duration_cast<std::chrono::milliseconds>(connector.Next() - begin).count());
    }
    EXPECT_EQ(pauses, (std::vector<long>{1, 2, 4, 8, 16, 32, 50, 50, 50}));
    connector.Succeeded();
    EXPECT_LE(connector.Next(), begin);
}

TEST(Connectors, RunTheProgramOnceUntilItEndsAndThenWithGrowingPauses) {
    const TemporaryDirectory directory;
    const std::string runs = directory / "runs";
    Connector connector(directory.Path(), Program(directory, "echo run >> " + runs));
    auto now = Clock::now();
    const auto attempt = [&] { EXPECT_FALSE(connector.Attempt(now)); };
    const auto ended = [&] {
        return Eventually([&] {
            attempt();
            return connector.Trouble().find("ended before it was ready") != std::string::npos;
        });
    };
    ASSERT_TRUE(ended());
    EXPECT_EQ(Text(runs), "run\n");
    now += std::chrono::milliseconds(99);
    attempt();
    EXPECT_TRUE(StartLock::TryTake(directory.Path()));  // no start is under way
    now += std::chrono::milliseconds(2);
    ASSERT_TRUE(ended());
    EXPECT_EQ(Text(runs), "run\nrun\n");
    now += std::chrono::milliseconds(199);
    attempt();
    EXPECT_TRUE(StartLock::TryTake(directory.Path()));
}

TEST(Connectors, LeaveTheStartToWhoIsAlreadyAtIt) {
    const TemporaryDirectory directory;
    const std::string runs = directory / "runs";
    Connector connector(directory.Path(), Program(directory, "echo run >> " + runs));
    {
        const auto other = StartLock::TryTake(directory.Path());
        ASSERT_TRUE(other);
        EXPECT_FALSE(connector.Attempt(Clock::now()));
        EXPECT_EQ(connector.Trouble(), "");
    }
    EXPECT_EQ(Text(runs), "");
    EXPECT_FALSE(connector.Attempt(Clock::now()));
    EXPECT_TRUE(Eventually([&] { return Text(runs) == "run\n"; }));
}

TEST(Connectors, StartWithoutTheLockWhenItsHolderStandsStill) {
    const TemporaryDirectory directory;
    const std::string runs = directory / "runs";
    Connector connector(directory.Path(), Program(directory, "echo run >> " + runs));
    const auto other = StartLock::TryTake(directory.Path());
    ASSERT_TRUE(other);
    const auto begin = Clock::now();
    EXPECT_FALSE(connector.Attempt(begin));
    EXPECT_FALSE(connector.Attempt(begin + std::chrono::milliseconds(2999)));
    EXPECT_EQ(Text(runs), "");
    EXPECT_FALSE(connector.Attempt(begin + std::chrono::seconds(3)));
    EXPECT_TRUE(Eventually([&] { return Text(runs) == "run\n"; }));
}

TEST(Connectors, WaitForEachHolderOfTheLockAnew) {
    const TemporaryDirectory directory;
    const std::string runs = directory / "runs";
    Connector connector(directory.Path(), Program(directory, "echo run >> " + runs));
    const auto begin = Clock::now();
    {
        const auto other = StartLock::TryTake(directory.Path());
        EXPECT_FALSE(connector.Attempt(begin));
    }
    {
        const auto listening = Listen(directory / "broker.sock");
        EXPECT_TRUE(connector.Attempt(begin + std::chrono::seconds(2)));
    }
    const auto another = StartLock::TryTake(directory.Path());
    EXPECT_FALSE(connector.Attempt(begin + std::chrono::seconds(4)));
    EXPECT_FALSE(connector.Attempt(begin + std::chrono::seconds(6)));
    EXPECT_EQ(Text(runs), "");
}
