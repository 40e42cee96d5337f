#include <gmock/gmock.h>

#include <algorithm>
#include <boost/json.hpp>
#include <sstream>

#include "ToolRun.h"

namespace tool_test {

using support::ChildProcess;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Looking : public OnBus {};

}  // namespace

TEST_F(Looking, EndpointsListsWhoIsOnTheBusOldestFirst) {
    ChildProcess host(Command({"subscribe", "t.news", "--as", "HOST", "--as-version", "3"}));
    ASSERT_TRUE(host.AwaitErrors("listening"));
    const auto run = Run({"endpoints", "--json"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    std::istringstream lines(run.mOutput);
    std::string first;
    std::string second;
    std::string none;
    ASSERT_TRUE(std::getline(lines, first) && std::getline(lines, second)) << run.mOutput;
    EXPECT_FALSE(std::getline(lines, none)) << run.mOutput;
    const auto hostLine = boost::json::parse(first).as_object();
    EXPECT_EQ(hostLine.at("app_id"), "HOST-3");
    EXPECT_EQ(hostLine.at("pid"), host.Id());
    EXPECT_GT(hostLine.at("instance").as_int64(), 0);
    EXPECT_EQ(hostLine.at("self"), false);
    EXPECT_EQ(boost::json::parse(second).as_object().at("self"), true);

    const auto table = Run({"endpoints"});
    EXPECT_THAT(table.mOutput, testing::StartsWith("APP ID"));
    EXPECT_THAT(table.mOutput, HasSubstr("HOST-3"));
    EXPECT_THAT(table.mOutput, HasSubstr("this tool"));
    EXPECT_THAT(table.mOutput, testing::Not(HasSubstr("\033"))) << "colours without a terminal";
}

TEST_F(Looking, TheIdentityOfTheEnvironmentIsRespected) {
    auto command = Command({"endpoints"});
    command.mEnvironment["NUOCORE_SAP_CODE"] = "FROMENV";
    command.mEnvironment["NUOCORE_CLIENT_VERSION"] = "9.9";
    EXPECT_THAT(support::Run(command).mOutput, HasSubstr("FROMENV-9.9"));
    command.mArguments.insert(command.mArguments.end(), {"--as", "TOLD"});
    EXPECT_THAT(support::Run(command).mOutput, HasSubstr("TOLD-9.9"));
}

TEST_F(Looking, BrokerStatusShowsWhoIsConnectedAndStartsNoBroker) {
    const auto without = Run({"broker", "status"});
    EXPECT_EQ(without.mExitCode, 4);
    EXPECT_THAT(without.mErrors, HasSubstr("no broker answers"));
    EXPECT_EQ(mBus.BrokerId(), std::nullopt);

    ChildProcess host(Command({"subscribe", "t.news", "--as", "HOST", "--as-version", "3"}));
    ASSERT_TRUE(host.AwaitErrors("listening"));
    const auto json = Run({"broker", "status", "--json"});
    EXPECT_EQ(json.mExitCode, 0) << json.mErrors;
    const auto status = boost::json::parse(json.mOutput).as_object();
    EXPECT_EQ(status.at("pid"), mBus.BrokerId().value_or(-1));
    const auto& member = status.at("members").as_array().at(0).as_object();
    EXPECT_EQ(member.at("app_id"), "HOST-3");
    EXPECT_EQ(member.at("state"), "up");

    const auto table = Run({"broker", "status"});
    EXPECT_EQ(table.mExitCode, 0);
    EXPECT_THAT(table.mOutput, HasSubstr("members      1,"));
    EXPECT_THAT(table.mOutput, HasSubstr("HOST-3"));
}

TEST_F(Looking, BrokerStatusIsShownAsOftenAsAskedFor) {
    ChildProcess host(Command({"subscribe", "t.news", "--as", "HOST", "--as-version", "3"}));
    ASSERT_TRUE(host.AwaitErrors("listening"));
    const auto views = Run({"broker", "status", "--json", "--watch", "0.01", "--count", "3"});
    EXPECT_EQ(views.mExitCode, 0) << views.mErrors;
    EXPECT_EQ(std::count(views.mOutput.begin(), views.mOutput.end(), '\n'), 3) << views.mOutput;
    EXPECT_THAT(Run({"broker", "status", "--watch", "0.01", "--count", "1"}).mOutput,
                HasSubstr("broker memory"));
    EXPECT_EQ(Run({"broker", "status", "--count", "1"}).mExitCode, 2);
}

TEST_F(Looking, WatchingWithoutABrokerIsForPeopleOnly) {
    const auto run = Run({"broker", "status", "--json", "--watch", "0.01", "--count", "3"});
    EXPECT_EQ(run.mExitCode, 4);
    EXPECT_THAT(run.mOutput, IsEmpty());
}

TEST_F(Looking, ARestartReplacesTheBrokerAndKeepsWhoIsConnected) {
    EXPECT_EQ(Run({"broker", "restart"}).mExitCode, 4);
    ChildProcess host(Command({"subscribe", "t.news", "--as", "HOST", "--as-version", "3"}));
    ASSERT_TRUE(host.AwaitErrors("listening"));
    const int before = mBus.BrokerId().value_or(-1);
    const auto restart = Run({"broker", "restart", "--json", "--timeout", "60"});
    ASSERT_EQ(restart.mExitCode, 0) << restart.mErrors;
    const auto told = boost::json::parse(restart.mOutput).as_object();
    EXPECT_EQ(told.at("before"), before);
    EXPECT_EQ(told.at("after"), mBus.BrokerId().value_or(-1));
    EXPECT_NE(told.at("after"), before);
    EXPECT_EQ(told.at("members"), 1);
    EXPECT_EQ(told.at("away"), 0);
    EXPECT_GT(told.at("seconds").as_double(), 0);
    EXPECT_EQ(Run({"send", "t.news", "still here", "--to", "HOST-3"}).mExitCode, 0);
    EXPECT_TRUE(host.AwaitOutput("still here"));
}

TEST_F(Looking, ABrokerThatNobodyNeedsEndsAndIsNotAwaited) {
    ASSERT_EQ(Run({"endpoints"}).mExitCode, 0);
    ASSERT_TRUE(mBus.BrokerId().has_value());
    const auto restart = Run({"broker", "restart", "--timeout", "60"});
    EXPECT_EQ(restart.mExitCode, 0) << restart.mErrors;
    EXPECT_THAT(restart.mOutput, HasSubstr("nobody is connected"));
}

}  // namespace tool_test
