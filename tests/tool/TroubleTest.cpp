#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "ToolRun.h"

namespace tool_test {

using support::ChildProcess;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

namespace {

class Trouble : public OnBus {};

const std::vector<std::vector<std::string>> kBusVerbs = {{"send", "t", "x"},
                                                         {"subscribe", "t"},
                                                         {"request", "t", "--response", "r"},
                                                         {"answer", "t", "--response", "r"},
                                                         {"endpoints"}};

}  // namespace

TEST_F(Trouble, WithoutABrokerProgramEveryVerbSaysWhatToDo) {
    for (const std::vector<std::string>& verb : kBusVerbs) {
        auto command = Command(verb);
        command.mEnvironment["CommonProgramFiles"] = mBus.Folder().string();
        const auto run = support::Run(command);
        EXPECT_EQ(run.mExitCode, 4) << testing::PrintToString(verb);
        EXPECT_THAT(run.mErrors, HasSubstr("the broker's program was not found"))
            << testing::PrintToString(verb);
        EXPECT_THAT(run.mErrors, HasSubstr("CommonProgramFiles")) << testing::PrintToString(verb);
    }
}

TEST_F(Trouble, WhoCanNotBeOnTheBusIsToldWhy) {
    const auto expectRefusal = [](const support::Command& inCommand) {
        const auto run = support::Run(inCommand);
        EXPECT_EQ(run.mExitCode, 2) << testing::PrintToString(inCommand.mArguments);
        EXPECT_THAT(run.mErrors, AllOf(HasSubstr("cannot speak as \""), HasSubstr("255 bytes at most")));
    };
    // The version's part is "-1".
    for (const std::string& code : {std::string("a\nb"), std::string(254, 'a'), std::string("\xFF")}) {
        expectRefusal(Command({"endpoints", "--as", code, "--as-version", "1"}));
        auto command = Command({"endpoints", "--as-version", "1"});
        command.mEnvironment["NUOCORE_SAP_CODE"] = code;
        expectRefusal(command);
    }
    expectRefusal(Command({"endpoints", "--as-version", "\n"}));
    EXPECT_EQ(mBus.BrokerId(), std::nullopt);
    const auto longest = Run({"endpoints", "--as", std::string(253, 'a'), "--as-version", "1"});
    EXPECT_EQ(longest.mExitCode, 0) << longest.mErrors;
}

TEST_F(Trouble, TheBrokerBesideTheToolIsFoundWithoutSettings) {
    auto command = Command({"endpoints"});
    command.mEnvironment["CommonProgramFiles"] = std::nullopt;
    EXPECT_EQ(support::Run(command).mExitCode, 0);
}

TEST_F(Trouble, ABrokerThatIsStoppedIsWaitedForAndNoLonger) {
    ASSERT_EQ(Run({"endpoints"}).mExitCode, 0);
    const int broker = mBus.BrokerId().value();
    ASSERT_EQ(::kill(broker, SIGSTOP), 0);
    const auto run = Run({"endpoints", "--wait", "0.3"});
    EXPECT_EQ(run.mExitCode, 4);
    EXPECT_THAT(run.mErrors, HasSubstr("no broker was ready in time"));
    EXPECT_THAT(run.mErrors, HasSubstr("broker.log, if there is one, in " + mBus.Folder().string() + ","));
    const auto status = Run({"broker", "status", "--timeout", "0.3"});
    EXPECT_EQ(status.mExitCode, 1) << status.mErrors;
    ::kill(broker, SIGCONT);
    EXPECT_EQ(Run({"endpoints"}).mExitCode, 0);
}

TEST_F(Trouble, ABrokerThatWasKilledIsReplacedAndNobodyLosesAnything) {
    ChildProcess subscriber(Command({"subscribe", "t.news", "--json", "--count", "2"}));
    ASSERT_TRUE(subscriber.AwaitErrors("listening"));
    ASSERT_EQ(Run({"send", "t.news", "before"}).mExitCode, 0);
    ASSERT_TRUE(subscriber.AwaitOutput("before"));
    const int broker = mBus.BrokerId().value();
    ASSERT_EQ(::kill(broker, SIGKILL), 0);
    const auto run = Run({"send", "t.news", "after", "--wait", "30"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_EQ(subscriber.Wait(), 0) << subscriber.Errors();
    EXPECT_THAT(subscriber.Output(), HasSubstr("after"));
    EXPECT_NE(mBus.BrokerId().value_or(broker), broker);
}

TEST_F(Trouble, ARuntimeDirectoryThatCanNotBeUsedIsNamedWithTheReason) {
    fs::create_directory(mBus.Folder() / "open");
    fs::permissions(mBus.Folder() / "open", fs::perms::all);
    std::ofstream(mBus.Folder() / "file") << "no directory";
    fs::create_directory_symlink(mBus.Folder(), mBus.Folder() / "link");
    for (const auto& [name, reason] :
         {std::pair<std::string, const char*>{"open", "can be written by others; run chmod 700 on it"},
          {"file", "it has to be a directory"},
          {"link", "it has to be a directory, not a link"},
          {"none/none", "No such file or directory"},
          {std::string(100, 'l'), "is too long for a socket's address"}}) {
        const std::string directory = mBus.Folder() / name;
        auto command = Command({"endpoints", "--wait", "0.1"});
        command.mEnvironment["PLEXA_RUNTIME_DIR"] = directory;
        const auto run = support::Run(command);
        EXPECT_EQ(run.mExitCode, 4) << name;
        EXPECT_THAT(run.mErrors, AllOf(HasSubstr(directory), HasSubstr(reason), Not(HasSubstr("--wait"))));
    }
}

TEST_F(Trouble, TheStatusOfNoBrokerSaysWhyThereCanBeNone) {
    fs::permissions(mBus.Folder(), fs::perms::all);
    const auto refused = Run({"broker", "status"});
    EXPECT_EQ(refused.mExitCode, 4);
    EXPECT_THAT(refused.mErrors, HasSubstr("can be written by others; run chmod 700 on it"));
    EXPECT_THAT(refused.mErrors, Not(HasSubstr("starts one")));

    auto command = Command({"broker", "status"});
    command.mEnvironment["PLEXA_RUNTIME_DIR"] = (mBus.Folder() / "none").string();
    const auto absent = support::Run(command);
    EXPECT_EQ(absent.mExitCode, 4);
    EXPECT_THAT(absent.mErrors,
                HasSubstr("the first application on the bus starts one, or says why it can't"));
    EXPECT_FALSE(fs::exists(mBus.Folder() / "none")) << "looking has made a directory";
}

TEST_F(Trouble, AMessageThatCouldNotBeHandedOverIsTold) {
    ChildProcess subscriber(Command({"subscribe", "t.news", "--as", "STUCK", "--as-version", "1"}));
    ASSERT_TRUE(subscriber.AwaitErrors("listening"));
    subscriber.Signal(SIGSTOP);
    const auto run = Run({"send", "t.news", "hello", "--to", "STUCK-1"});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("STUCK-1"));
    subscriber.Signal(SIGCONT);
}

}  // namespace tool_test
