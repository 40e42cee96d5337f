// How the service starts, ends, is killed, and outlives the broker.
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>

#include "support/ServingFixture.h"

namespace zarnd_test {

using support::ChildProcess;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;

TEST_F(Serving, GoesOnWhenTheBrokerHasBeenKilled) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress")) << host->Output();
    const auto broker = mDesk.Bus().BrokerId();
    ASSERT_TRUE(broker);
    ::kill(*broker, SIGKILL);
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
}

TEST_F(Serving, LeavesTheOldStateWhenItIsKilledAndServesAgain) {
    Gate gate(kArchive);
    const std::string before = MakeArchive({{Entry::Kind::kFile, "text", "before"}});
    mDesk.Offer({ModuleOf(before, mDesk.Store(before, "before.tar"))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress 50")) << host->Output();
    mDesk.Service().Signal(SIGKILL);
    mDesk.Service().Wait();
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "before");
    gate.Open();
    mDesk.StartService();
    const fs::path module = mDesk.Data() / "modules" / "QRTX" / "KQ7L";
    EXPECT_EQ(std::distance(fs::directory_iterator(module), fs::directory_iterator()), 2);
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L", "NEXT")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
}

TEST_F(Serving, TellsWhoIsOwedAModuleThatItEnds) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress")) << host->Output();
    mDesk.Service().Signal(SIGTERM);
    EXPECT_THAT(mDesk.EndOf(*host), StartsWith("QRTX 20.0 KQ7L error 361 "));
    EXPECT_EQ(mDesk.Service().Wait(), 0);
    gate.Open();
}

TEST_F(Serving, ServesOneDataFolderOnce) {
    mDesk.StartService();
    const auto second = support::Run(mDesk.ServiceCommand());
    EXPECT_EQ(second.mExitCode, 0);
    EXPECT_THAT(second.mErrors, HasSubstr("another service has"));
}

TEST_F(Serving, ServesOneBusOnce) {
    mDesk.StartService();
    const ScratchFolder other;
    support::Command command = mDesk.ServiceCommand();
    command.mArguments = {ZARND_PROGRAM, "--data-dir", other.Path().string()};
    const auto second = support::Run(command);
    EXPECT_EQ(second.mExitCode, 3);
    EXPECT_THAT(second.mErrors, AllOf(HasSubstr("serves this bus already"), Not(HasSubstr("serving as"))));
    EXPECT_EQ(mDesk.Service().Wait(std::chrono::seconds(0)), std::nullopt);
}

TEST_F(Serving, LeavesTheBusToAnOlderServiceThatComesLater) {
    const ScratchFolder other;
    support::Command command = mDesk.ServiceCommand();
    command.mArguments = {
        "/bin/sh",           "-c",          R"(until [ -e "$0" ]; do sleep 0.1; done; exec "$@")",
        other.Path() / "go", ZARND_PROGRAM, "--data-dir",
        other.Path()};
    ChildProcess older(command);
    mDesk.StartService();
    Write(other.Path() / "go", "");
    EXPECT_EQ(mDesk.Service().Wait(), 3);
    EXPECT_TRUE(older.AwaitErrors("serving as")) << older.Errors();
    older.Signal(SIGTERM);
    EXPECT_EQ(older.Wait(), 0);
}

TEST_F(Serving, DoesNotStartWithAuthoritiesThatItCannotUse) {
    const ScratchFolder other;
    Write(other.Path() / "words", "no certificate");
    support::Command command = mDesk.ServiceCommand();
    command.mEnvironment["ZARND_CA_FILE"] = (other.Path() / "words").string();
    const auto run = support::Run(command);
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("the file of certificates to trust has none in the form PEM"));
}

TEST_F(Serving, LeavesWhenItHasNothingToDo) {
    mDesk.StartService({"--idle-exit", "1"});
    EXPECT_EQ(mDesk.Service().Wait(), 0) << mDesk.Service().Errors();
}

TEST_F(Serving, StartedOnDemandHasASessionAndALogOfItsOwn) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    // As a program starts it: without a process group of its own.
    support::Command command = mDesk.ServiceCommand({"--on-demand", "--idle-exit", "1"});
    const std::string held = (mDesk.Bus().Folder() / "held").string();
    const std::initializer_list<std::string> starter = {
        "/bin/sh", "-c", "exec 9>'" + held + R"(' <&-; "$@" & echo $!; exec 9>&-; wait $!)", "sh"};
    command.mArguments.insert(command.mArguments.begin(), starter);
    ChildProcess service(command);
    const auto observer = std::make_unique<ChildProcess>(
        support::Command{{PLEXA_PROGRAM, "observe", "mail", "new"}, mDesk.Bus().Environment(BROKER_BASE)});
    ASSERT_TRUE(observer->AwaitErrors("observing as")) << observer->Errors();
    ASSERT_TRUE(service.AwaitOutput("\n"));
    const pid_t id = std::stoi(service.Output());
    EXPECT_EQ(::getsid(id), id);
    const fs::path descriptors = "/proc/" + std::to_string(id) + "/fd";
    EXPECT_EQ(fs::read_symlink(descriptors / "0"), "/dev/null");
    for (const auto& entry : fs::directory_iterator(descriptors)) {
        std::error_code ignored;
        EXPECT_NE(fs::read_symlink(entry.path(), ignored), held);
    }
    // Somebody counts on it for longer than it would stay.
    EXPECT_EQ(service.Wait(std::chrono::seconds(3)), std::nullopt);
    observer->Signal(SIGINT);
    EXPECT_EQ(observer->Wait(), 0);
    EXPECT_EQ(service.Wait(), 0);
    EXPECT_EQ(service.Errors(), "");
    EXPECT_THAT(Read(mDesk.Data() / "zarnd.log"),
                AllOf(HasSubstr("serving as zarnd-"), EndsWith("ended [, ]\n")));
}

TEST(CommandLine, ExplainsItselfAndRefusesWhatItDoesNotKnow) {
    const auto run = [](const std::vector<std::string>& inArguments) {
        support::Command command{{ZARND_PROGRAM}};
        command.mArguments.insert(command.mArguments.end(), inArguments.begin(), inArguments.end());
        command.mEnvironment = {{"HOME", std::nullopt}, {"XDG_DATA_HOME", std::nullopt}};
        return support::Run(command);
    };
    EXPECT_THAT(run({"--help"}).mOutput, AllOf(HasSubstr("Examples:"), HasSubstr("--idle-exit")));
    EXPECT_EQ(run({"--help"}).mExitCode, 0);
    EXPECT_THAT(run({"--version"}).mOutput, StartsWith("zarnd "));
    EXPECT_EQ(run({"--nonsense"}).mExitCode, 2);
    EXPECT_EQ(run({"--idle-exit", "-1"}).mExitCode, 2);
    const auto homeless = run({});
    EXPECT_EQ(homeless.mExitCode, 2);
    EXPECT_THAT(homeless.mErrors, HasSubstr("set HOME, XDG_DATA_HOME or --data-dir"));
}

}  // namespace zarnd_test
