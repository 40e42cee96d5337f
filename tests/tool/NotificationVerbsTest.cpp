// Notifications, as users of the tool meet them: with the real service.
#include <gmock/gmock.h>

#include <csignal>

#include "Desktop.h"

namespace tool_test {

using support::ChildProcess;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Notifying : public OnDesktop {
  protected:
    std::unique_ptr<ChildProcess> Observer(const std::string& inCode, std::vector<std::string> inMore = {}) {
        std::vector<std::string> arguments = {"observe", "mail", "new", "--as", inCode};
        arguments.insert(arguments.end(), inMore.begin(), inMore.end());
        auto observer = std::make_unique<ChildProcess>(Command(arguments));
        EXPECT_TRUE(observer->AwaitErrors("observing as " + inCode)) << observer->Errors();
        return observer;
    }
};

}  // namespace

TEST_F(Notifying, ANotificationReachesEverybodyWhoObservesItsKindAndNobodyElse) {
    StartService();
    const auto one = Observer("ONE", {"--count", "1", "--json"});
    const auto two = Observer("TWO", {"--count", "1"});
    const auto other = std::make_unique<ChildProcess>(Command({"observe", "mail", "gone", "--as", "OTHER"}));
    ASSERT_TRUE(other->AwaitErrors("observing as OTHER"));

    const auto run = Run({"notify", "mail", "new", "from=Ada & <Bob>", "read:=false"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_EQ(run.mOutput, "sent to 2 observers\n");
    EXPECT_EQ(one->Wait(), 0) << one->Errors();
    EXPECT_EQ(
        one->Output(),
        "{\"notification\":\"mail\",\"payload\":{\"notification-signal\":{\"__attributes__\":{"
        "\"sub-type\":\"new\",\"type\":\"mail\"}},\"values\":{\"from\":\"Ada & <Bob>\",\"read\":\"false\"}}"
        ",\"sub-type\":\"new\"}\n");
    EXPECT_EQ(two->Wait(), 0) << two->Errors();
    EXPECT_THAT(two->Output(), HasSubstr("notification mail new {"));
    // Those have taken themselves back, and the third hears of its own kind only.
    EXPECT_EQ(Run({"notify", "mail", "new", "--json"}).mOutput, "{\"observers\":0}\n");
    EXPECT_EQ(Run({"notify", "mail", "gone"}).mOutput, "sent to 1 observer\n");
    EXPECT_EQ(Run({"notify", "mail", "gone", "--json"}).mOutput, "{\"observers\":1}\n");
    EXPECT_TRUE(other->AwaitOutput("mail gone"));
    EXPECT_EQ(other->Output().find("new"), std::string::npos);
    other->Signal(SIGINT);
    EXPECT_EQ(other->Wait(), 0);
}

TEST_F(Notifying, WhoIsKilledIsForgotten) {
    StartService();
    const auto observer = Observer("ONE");
    EXPECT_EQ(Run({"notify", "mail", "new"}).mOutput, "sent to 1 observer\n");
    observer->Signal(SIGKILL);
    observer->Wait();
    AwaitGone("ONE-");
    EXPECT_EQ(Run({"notify", "mail", "new"}).mOutput, "sent to 0 observers\n");
}

TEST_F(Notifying, AServiceThatWasKilledKnowsItsObserversAgain) {
    StartService();
    const auto observer = Observer("ONE");
    AwaitIn("observers.json", "ONE-");
    KillService();
    StartService();
    EXPECT_EQ(Run({"notify", "mail", "new", "after=all"}).mOutput, "sent to 1 observer\n");
    EXPECT_TRUE(observer->AwaitOutput("after"));
}

TEST_F(Notifying, AnObserverOutlivesTheBroker) {
    StartService();
    const auto observer = Observer("ONE");
    ASSERT_TRUE(mBus.BrokerId());
    ::kill(*mBus.BrokerId(), SIGKILL);
    const auto run = Run({"notify", "mail", "new", "--wait", "30"});
    EXPECT_EQ(run.mOutput, "sent to 1 observer\n") << run.mErrors;
    EXPECT_TRUE(observer->AwaitOutput("mail new"));
}

TEST_F(Notifying, TheServiceIsStartedWhenItIsNotThere) {
    const auto observer = Observer("ONE", {"--count", "1"});
    EXPECT_NE(ServiceOnBus(), 0);
    EXPECT_EQ(Run({"notify", "mail", "new"}).mOutput, "sent to 1 observer\n");
    EXPECT_EQ(observer->Wait(), 0) << observer->Errors();
}

TEST_F(Notifying, ADefectiveServiceIsNamedAsTheReason) {
    // Its data folder can't be made.
    support::Command command = Command({"notify", "mail", "new"});
    command.mEnvironment["XDG_DATA_HOME"] = "/dev/null";
    const auto run = support::Run(command);
    EXPECT_EQ(run.mExitCode, 4) << run.mErrors;
    EXPECT_THAT(run.mErrors, HasSubstr("zarnd.log"));
}

TEST_F(Notifying, WhatXmlHasNoFormForIsRefused) {
    StartService();
    const auto run = Run({"notify", "mail", "new", "a key=x"});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("it has no form in XML"));
    EXPECT_THAT(run.mErrors, HasSubstr("(error 211)"));
    EXPECT_THAT(run.mOutput, IsEmpty());
}

TEST_F(Notifying, TooFewInTimeAreAnError) {
    StartService();
    const auto run = Run({"observe", "mail", "new", "--count", "1", "--timeout", "0.1"});
    EXPECT_EQ(run.mExitCode, 3);
    EXPECT_THAT(run.mErrors, HasSubstr("0 of 1 notifications came in time"));
}

}  // namespace tool_test
