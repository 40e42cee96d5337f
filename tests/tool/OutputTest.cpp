#include <gmock/gmock.h>

#include <csignal>

#include "ToolRun.h"

namespace tool_test {

using support::ChildProcess;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Output : public OnBus {};

}  // namespace

TEST_F(Output, AFullDiskIsAnError) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"payload", "decode"}, {"--help"}, {"send", "--help"}, {"--version"}}) {
        auto command = Command(words, "{}");
        command.mOutput = support::Command::Output::kFile;
        command.mFile = "/dev/full";
        const auto run = support::Run(command);
        EXPECT_EQ(run.mExitCode, 1) << testing::PrintToString(words);
        EXPECT_THAT(run.mErrors, HasSubstr("cannot write the output: No space left on device"));
    }
}

TEST_F(Output, AClosedOutputIsAnErrorAndNoOtherFileTakesItsPlace) {
    auto command = Command({"endpoints"});
    const std::initializer_list<std::string> shell = {"/bin/sh", "-c", "exec \"$@\" >&-", "sh"};
    command.mArguments.insert(command.mArguments.begin(), shell);
    const auto run = support::Run(command);
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("cannot write the output: Bad file descriptor"));
}

TEST_F(Output, AReaderThatHasGoneEndsTheToolQuietly) {
    auto decode = Command({"payload", "decode"}, "{}");
    decode.mOutput = support::Command::Output::kReaderGone;
    const auto run = support::Run(decode);
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_THAT(run.mErrors, IsEmpty());

    auto subscribe = Command({"subscribe", "t.news"});
    subscribe.mOutput = support::Command::Output::kReaderGone;
    ChildProcess subscriber(subscribe);
    ASSERT_TRUE(subscriber.AwaitErrors("listening"));
    EXPECT_EQ(Run({"send", "t.news", "hello"}).mExitCode, 0);
    EXPECT_EQ(subscriber.Wait(), 0);
    EXPECT_THAT(subscriber.Errors(), testing::Not(HasSubstr("cannot")));
}

TEST_F(Output, AFullPipeHoldsNeitherSendersNorTheEndUp) {
    auto command = Command({"subscribe", "t.news"});
    command.mOutput = support::Command::Output::kUnread;
    ChildProcess subscriber(command);
    ASSERT_TRUE(subscriber.AwaitErrors("listening"));
    // Each line is larger than the pipe, so the first one fills it.
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(Run({"send", "t.news"}, std::string(300'000, 'x')).mExitCode, 0);
    }
    EXPECT_EQ(subscriber.Wait(std::chrono::milliseconds(100)), std::nullopt)
        << "it doesn't wait for its reader";
    subscriber.Signal(SIGINT);
    EXPECT_EQ(subscriber.Wait(), 0);
}

TEST_F(Output, AMessageIsWrittenAtOnce) {
    ChildProcess subscriber(Command({"subscribe", "t.news"}));
    ASSERT_TRUE(subscriber.AwaitErrors("listening"));
    EXPECT_EQ(Run({"send", "t.news", "now"}).mExitCode, 0);
    EXPECT_TRUE(subscriber.AwaitOutput("\"now\" from"));
    subscriber.Signal(SIGTERM);
    EXPECT_EQ(subscriber.Wait(), 0);
}

}  // namespace tool_test
