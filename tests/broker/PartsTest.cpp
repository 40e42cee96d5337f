#include <array>
#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>
#include <boost/json.hpp>

#include "Activation.h"
#include "Log.h"
#include "Options.h"
#include "Poller.h"
#include "Process.h"
#include "RunningClock.h"
#include "StatusText.h"

using namespace orvane::plexa::broker;
namespace wire = orvane::plexa::wire;

namespace {

struct Parsed {
    ParsedOptions result;
    std::string output;
    std::string errors;
};

Parsed Parse(std::vector<const char*> inArguments) {
    inArguments.insert(inArguments.begin(), "OrvaneIPCBroker");
    std::ostringstream output;
    std::ostringstream errors;
    ParsedOptions result = ParseOptions(inArguments, output, errors);
    return {std::move(result), output.str(), errors.str()};
}

TEST(Options, WithoutArgumentsStayForEverAndLogToTheTerminal) {
    const Parsed parsed = Parse({});
    ASSERT_TRUE(parsed.result.options);
    EXPECT_EQ(parsed.result.options->idleExit.count(), 0);
    EXPECT_FALSE(parsed.result.options->onDemand);
    EXPECT_EQ(parsed.result.options->readyDescriptor, -1);
    EXPECT_EQ(parsed.result.options->logLevel, spdlog::level::info);
    EXPECT_EQ(parsed.result.options->logFile, "");
}

TEST(Options, OnDemandLeavesAfterAMinuteUnlessToldOtherwise) {
    EXPECT_EQ(Parse({"--on-demand"}).result.options->idleExit.count(), 60);
    EXPECT_EQ(Parse({"--on-demand", "--idle-exit", "0"}).result.options->idleExit.count(), 0);
    EXPECT_EQ(Parse({"--idle-exit", "7"}).result.options->idleExit.count(), 7);
}

TEST(Options, PathsBecomeAbsolute) {
    const Parsed parsed =
        Parse({"--runtime-dir", "/a/./b/", "--log-file", "x/y", "--log", "DEBUG", "--ready-fd", "5"});
    ASSERT_TRUE(parsed.result.options) << parsed.errors;
    EXPECT_EQ(parsed.result.options->runtimeDirectory, "/a/b");
    EXPECT_EQ(parsed.result.options->logFile.front(), '/');
    EXPECT_TRUE(parsed.result.options->logFile.ends_with("/x/y"));
    EXPECT_EQ(parsed.result.options->logLevel, spdlog::level::debug);
    EXPECT_EQ(parsed.result.options->readyDescriptor, 5);
}

TEST(Options, HelpAndVersionEndWithSuccess) {
    const Parsed help = Parse({"--help"});
    EXPECT_FALSE(help.result.options);
    EXPECT_EQ(help.result.exitCode, kExitSuccess);
    EXPECT_NE(help.output.find("Examples:"), std::string::npos);
    const Parsed version = Parse({"--version"});
    EXPECT_EQ(version.result.exitCode, kExitSuccess);
    EXPECT_EQ(version.output.rfind("OrvaneIPCBroker ", 0), 0U);
}

TEST(Options, WrongOnesEndWithTheUsageCodeAndAMessageThatNamesThem) {
    const std::vector<std::vector<const char*>> wrong = {
        {"--idle-exit", "-1"}, {"--idle-exit", "soon"}, {"--ready-fd", "x"}, {"--log", "loud"},
        {"--runtime-dir", ""}, {"--unheard-of"},        {"stray"},
    };
    for (const auto& arguments : wrong) {
        const Parsed parsed = Parse(arguments);
        EXPECT_FALSE(parsed.result.options) << arguments.front();
        EXPECT_EQ(parsed.result.exitCode, kExitUsage) << arguments.front();
        EXPECT_NE(parsed.errors.find(arguments.front()), std::string::npos) << parsed.errors;
    }
}

TEST(Log, ShowsClientTextInPrintableAsciiOnly) {
    EXPECT_EQ(Escaped("plain text 1"), "plain text 1");
    EXPECT_EQ(Escaped("a\"b\\c\n\x1b[31m\x7f\xc3"), "a\\x22b\\x5cc\\x0a\\x1b[31m\\x7f\\xc3");
    EXPECT_EQ(Escaped(std::string(300, 'x')), std::string(200, 'x') + "...");
}

TEST(Process, StartTimeIsFoundBehindAnyProgramName) {
    const std::string rest = " S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 4711 99 0";
    EXPECT_EQ(StartTimeOf("12 (sh)" + rest), 4711U);
    EXPECT_EQ(StartTimeOf("12 (a) S 1 (b ) c)" + rest), 4711U);
    EXPECT_EQ(StartTimeOf("12 (sh) S 1 2"), std::nullopt);
    EXPECT_EQ(StartTimeOf("no such text"), std::nullopt);
    EXPECT_EQ(StartTimeOf(""), std::nullopt);
}

TEST(Process, IsHeldWhileItLivesOnly) {
    const std::optional<HeldProcess> self = HoldProcess(::getpid());
    ASSERT_TRUE(self);
    EXPECT_EQ(self->identity.processId, static_cast<std::uint32_t>(::getpid()));
    EXPECT_GT(self->identity.startTime, 0U);
    EXPECT_FALSE(HoldProcess(0x3FFFFFFF)) << "beyond every process number";
}

TEST(Activation, TakesTheSocketMeantForThisProcessOnly) {
    EXPECT_EQ(ActivatedSocket("12", "1", 12), 3);
    EXPECT_EQ(ActivatedSocket("12", "2", 12), 3);
    EXPECT_EQ(ActivatedSocket("13", "1", 12), std::nullopt);
    EXPECT_EQ(ActivatedSocket("12", "0", 12), std::nullopt);
    EXPECT_EQ(ActivatedSocket("12", "-1", 12), std::nullopt);
    EXPECT_EQ(ActivatedSocket("12", "1x", 12), std::nullopt);
    EXPECT_EQ(ActivatedSocket(nullptr, "1", 12), std::nullopt);
    EXPECT_EQ(ActivatedSocket("12", nullptr, 12), std::nullopt);
}

TEST(Poller, DoesNotCallAHandlerThatAnotherOneRemovedInTheSameRound) {
    Poller poller;
    std::array<int, 2> first{};
    std::array<int, 2> second{};
    ASSERT_EQ(::pipe(first.data()), 0);
    ASSERT_EQ(::pipe(second.data()), 0);
    int calls = 0;
    std::array<Poller::Token, 2> tokens{};
    const auto removeBoth = [&](std::uint32_t) {
        ++calls;
        for (const Poller::Token token : tokens) poller.Remove(token);
    };
    tokens = {poller.Add(first[0], EPOLLIN, removeBoth), poller.Add(second[0], EPOLLIN, removeBoth)};
    ASSERT_EQ(::write(first[1], "x", 1), 1);
    ASSERT_EQ(::write(second[1], "x", 1), 1);
    poller.Wait(std::chrono::seconds(10));
    poller.Dispatch();
    poller.Wait(std::chrono::seconds(0));
    poller.Dispatch();
    EXPECT_EQ(calls, 1);
    for (const int descriptor : {first[0], first[1], second[0], second[1]}) ::close(descriptor);
}

TEST(StatusText, TellsMembersAndTotals) {
    StatusFacts facts;
    facts.runtimeDirectory = "/run/x";
    facts.processId = 12;
    facts.uptime = std::chrono::seconds(34);
    facts.connections = {5, 6, 7};
    facts.limits.brokerMemory = 1000;
    facts.core.memoryInUse = 900;
    facts.core.mostControlBytes = 50;
    MemberStatus member;
    member.member = 8;
    member.endPoint = {"app \"quoted\"", 2, 99};
    member.connected = true;
    member.receives = true;
    member.queuedBytes = 11;
    member.busyLanes = {{9, true, 123, 45, 44}};
    facts.core.members = {member};
    facts.core.messagesRouted = 21;
    facts.core.messagesDropped = 22;
    const boost::json::value status = boost::json::parse(StatusText(facts, 100000));
    EXPECT_EQ(status.at("pid"), 12);
    EXPECT_EQ(status.at("uptime_s"), 34);
    EXPECT_EQ(status.at("runtime_dir"), "/run/x");
    EXPECT_EQ(status.at_pointer("/members/0/app_id"), "app \"quoted\"");
    EXPECT_EQ(status.at_pointer("/members/0/state"), "up");
    EXPECT_EQ(status.at_pointer("/members/0/queued_bytes"), 11);
    EXPECT_EQ(status.at_pointer("/members/0/lanes/0/receiver"), 9);
    EXPECT_EQ(status.at_pointer("/members/0/lanes/0/in_flight_bytes"), 123);
    EXPECT_EQ(status.at_pointer("/members/0/lanes/0/consumed"), 44);
    EXPECT_EQ(status.at_pointer("/totals/messages"), 21);
    EXPECT_EQ(status.at_pointer("/totals/refused"), 6);
    EXPECT_EQ(status.at_pointer("/memory/limit"), 1000);
    EXPECT_EQ(status.at_pointer("/bounds/broker memory/limit"), 1000);
    EXPECT_EQ(status.at_pointer("/bounds/broker memory/in_use"), 900);
    EXPECT_EQ(status.at_pointer("/bounds/control queue/in_use"), 50);
    EXPECT_EQ(status.at_pointer("/bounds/members/in_use"), 1);
    EXPECT_EQ(status.at_pointer("/bounds/away/limit_ms"), 30000);
}

TEST(RunningClock, StandsStillWhileTheBrokerDoesNotRun) {
    using std::chrono::seconds;
    const wire::TimePoint start{seconds(1000)};
    RunningClock clock(start);
    EXPECT_EQ(clock.Advance(start + seconds(1), start + seconds(30)), start + seconds(1));
    const wire::TimePoint late = clock.Advance(start + seconds(100), start + seconds(30));
    EXPECT_LT(late, start + seconds(30)) << "who was to be back by then gets a chance to be heard";
    EXPECT_GT(late, start + seconds(20));
    EXPECT_EQ(clock.At(start + seconds(101)), late + seconds(1));
    EXPECT_EQ(clock.Advance(start + seconds(105), clock.At(start + seconds(105))), late + seconds(5));
}

TEST(RunningClock, NeverGoesBackAndGoesOnThoughTheBrokerIsAlwaysLate) {
    using std::chrono::seconds;
    const wire::TimePoint start{seconds(1000)};
    RunningClock clock(start);
    wire::TimePoint last = start;
    for (int i = 1; i <= 10; ++i) {
        const wire::TimePoint now = clock.Advance(start + seconds(10) * i, last);
        EXPECT_GE(now, last);
        last = now;
    }
    EXPECT_GT(last, start + seconds(30));
}

TEST(RunningClock, BelievesAWaitWithoutAnEnd) {
    using std::chrono::seconds;
    const wire::TimePoint start{seconds(1000)};
    RunningClock clock(start);
    EXPECT_EQ(clock.Advance(start + seconds(500), std::nullopt), start + seconds(500));
}

TEST(StatusText, IsCutToFitAndStaysJson) {
    StatusFacts facts;
    facts.core.members.resize(1000);
    const std::string text = StatusText(facts, 4096);
    EXPECT_LE(text.size(), 4096U);
    const boost::json::value status = boost::json::parse(text);
    EXPECT_EQ(status.at("members_total"), 1000);
    EXPECT_GT(status.at("members").as_array().size(), 5U);
    EXPECT_LT(status.at("members").as_array().size(), 1000U);
}

}  // namespace
