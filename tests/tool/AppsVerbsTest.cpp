// The applications of the desktop, as users of the tool meet them: real entries, real programs, and no
// broker.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <thread>

#include "ToolRun.h"

namespace tool_test {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

class Apps : public OnBus {
  protected:
    Apps() { fs::create_directories(mBus.Folder() / "data/applications"); }
    ~Apps() override {
        for (std::string id; !(id = Run({"apps", "pid", "SLEEP-1"}).mOutput).empty();) {
            ::kill(std::stoi(id), SIGKILL);
            while (Run({"apps", "pid", "SLEEP-1"}).mOutput == id)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    [[nodiscard]] support::Finished Run(std::vector<std::string> inArguments) const {
        support::Command command = Command(std::move(inArguments));
        command.mEnvironment["XDG_DATA_HOME"] = (mBus.Folder() / "data").string();
        command.mEnvironment["XDG_DATA_DIRS"] = "/nowhere";
        return support::Run(command);
    }
    void WriteEntry(const std::string& inAppId, const std::string& inExec) const {
        std::ofstream(mBus.Folder() / "data/applications" / (inAppId + ".desktop"))
            << "[Desktop Entry]\nType=Application\nName=Test\nX-Plexa-AppId=" << inAppId
            << "\nExec=" << inExec << '\n';
    }
    // An application that sleeps.
    std::string InstallSleeper() const {
        const fs::path program = mBus.Folder() / "sleeper";
        fs::copy_file("/bin/sleep", program);
        WriteEntry("SLEEP-1", program.string() + " 1000");
        return program.string();
    }
    // One that writes its arguments down, each in angles.
    void InstallReporter() const {
        const fs::path program = mBus.Folder() / "reporter";
        std::ofstream(program) << "#!/bin/sh\nprintf '<%s>' \"$@\" >" << Report().string() << ".part\nmv "
                               << Report().string() << ".part " << Report().string() << '\n';
        fs::permissions(program, fs::perms::owner_all);
        WriteEntry("REPORT-1", program.string());
    }
    [[nodiscard]] fs::path Report() const { return mBus.Folder() / "report"; }
    [[nodiscard]] std::string AwaitReport() const {
        const auto end = std::chrono::steady_clock::now() + support::kPatience;
        while (!fs::exists(Report()) && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        std::ifstream file(Report(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

}  // namespace

TEST_F(Apps, AreListedWithTheirProcessesAndPaths) {
    const std::string program = InstallSleeper();
    // A file of its own: others may run the one that it is a copy of.
    fs::copy_file("/bin/sleep", mBus.Folder() / "odd");
    WriteEntry("ODD ID=2", (mBus.Folder() / "odd").string());
    const auto list = Run({"apps", "list"});
    EXPECT_EQ(list.mExitCode, 0) << list.mErrors;
    EXPECT_THAT(list.mOutput, StartsWith("APP ID    PID  PATH\n"));
    EXPECT_THAT(list.mOutput, HasSubstr("\nODD ID=2  -    /"));
    EXPECT_THAT(list.mOutput, HasSubstr("\nSLEEP-1   -    " + program + "\n"));
    const auto json = Run({"apps", "list", "--json"});
    EXPECT_THAT(json.mOutput, HasSubstr("{\"app_id\":\"SLEEP-1\",\"path\":\"" + program + "\",\"pid\":0}\n"));
    ASSERT_EQ(Run({"apps", "launch", "SLEEP-1"}).mExitCode, 0);
    std::string id = Run({"apps", "pid", "SLEEP-1"}).mOutput;
    id.pop_back();
    EXPECT_THAT(Run({"apps", "list"}).mOutput, HasSubstr("\nSLEEP-1   " + id + " "));
    // Nobody needed a broker.
    EXPECT_FALSE(mBus.BrokerId());
}

TEST_F(Apps, AreNoneOnABareDesktop) {
    const auto list = Run({"apps", "list", "--json"});
    EXPECT_EQ(list.mExitCode, 0);
    EXPECT_THAT(list.mOutput, IsEmpty());
    EXPECT_EQ(Run({"apps", "list"}).mOutput, "APP ID  PID  PATH\n");
}

TEST_F(Apps, HaveAPath) {
    const std::string program = InstallSleeper();
    EXPECT_EQ(Run({"apps", "path", "SLEEP-1"}).mOutput, program + "\n");
    const auto none = Run({"apps", "path", "NONE-1"});
    EXPECT_EQ(none.mExitCode, 1);
    EXPECT_THAT(none.mOutput, IsEmpty());
    EXPECT_THAT(none.mErrors, HasSubstr("\"NONE-1\" isn't installed"));
    EXPECT_THAT(Run({"apps", "path", "NO\nNE"}).mErrors, HasSubstr("\"NO\\nNE\" isn't installed"));
    EXPECT_EQ(Run({"apps", "path", "SLEEP-1", "--json"}).mOutput,
              "{\"app_id\":\"SLEEP-1\",\"path\":\"" + program + "\",\"pid\":0}\n");
}

TEST_F(Apps, AreListedInColumnsOfCharacters) {
    const fs::path program = mBus.Folder() / "program";
    fs::copy_file("/bin/sleep", program);
    WriteEntry("\xC3\x9C\xE2\x82\xAC\xF0\x9F\x98\x80RSICHT-1", program.string());
    EXPECT_EQ(Run({"apps", "list"}).mOutput,
              "APP ID       PID  PATH\n\xC3\x9C\xE2\x82\xAC\xF0\x9F\x98\x80RSICHT-1  -    " +
                  program.string() + "\n");
}

TEST_F(Apps, OfWhateverNamesTakeALineEach) {
    const fs::path program = mBus.Folder() / "two\nlines";
    fs::copy_file("/bin/sleep", program);
    fs::create_symlink(program, mBus.Folder() / "link");
    WriteEntry("QUOTE\"-1", (mBus.Folder() / "link").string() + " 0");
    EXPECT_EQ(Run({"apps", "list"}).mOutput,
              "APP ID    PID  PATH\nQUOTE\"-1  -    " + (mBus.Folder() / "two\\nlines").string() + "\n");
    EXPECT_THAT(Run({"apps", "pid", "QUOTE\"-1"}).mErrors, HasSubstr("\"QUOTE\"-1\" doesn't run"));
    EXPECT_THAT(Run({"apps", "launch", "QUOTE\"-1"}).mOutput, StartsWith("QUOTE\"-1: started"));
    // But for programs.
    EXPECT_EQ(Run({"apps", "path", "QUOTE\"-1"}).mOutput, program.string() + "\n");
}

TEST_F(Apps, AreStartedOnceUnlessAskedForMore) {
    InstallSleeper();
    const auto before = Run({"apps", "pid", "SLEEP-1"});
    EXPECT_EQ(before.mExitCode, 1);
    EXPECT_THAT(before.mErrors, HasSubstr("\"SLEEP-1\" doesn't run"));
    const auto none = Run({"apps", "pid", "SLEEP-1", "--json"});
    EXPECT_EQ(none.mExitCode, 1);
    EXPECT_THAT(none.mOutput, EndsWith(",\"pid\":0}\n"));
    const auto first = Run({"apps", "launch", "SLEEP-1"});
    EXPECT_EQ(first.mExitCode, 0) << first.mErrors;
    const std::string id = Run({"apps", "pid", "SLEEP-1"}).mOutput;
    EXPECT_EQ(first.mOutput, "SLEEP-1: started, process " + id);
    EXPECT_EQ(Run({"apps", "launch", "SLEEP-1"}).mOutput, "SLEEP-1: runs already, process " + id);
    EXPECT_EQ(Run({"apps", "launch", "SLEEP-1", "--new"}).mOutput, "SLEEP-1: started\n");
    EXPECT_THAT(Run({"apps", "launch", "SLEEP-1", "--new", "--json"}).mOutput, Not(HasSubstr("pid")));
    EXPECT_THAT(Run({"apps", "pid", "SLEEP-1", "--json"}).mOutput,
                EndsWith(",\"pid\":" + id.substr(0, id.size() - 1) + "}\n"));
    EXPECT_EQ(Run({"apps", "pid", "SLEEP-1"}).mOutput, id);
    EXPECT_THAT(Run({"apps", "launch", "SLEEP-1", "--json"}).mOutput,
                HasSubstr("\"pid\":" + id.substr(0, id.size() - 1) + "}"));
}

TEST_F(Apps, ThatRunGetNoArguments) {
    InstallSleeper();
    ASSERT_EQ(Run({"apps", "launch", "SLEEP-1"}).mExitCode, 0);
    const auto refused = Run({"apps", "launch", "SLEEP-1", "more"});
    EXPECT_EQ(refused.mExitCode, 1);
    std::string id = Run({"apps", "pid", "SLEEP-1"}).mOutput;
    id.pop_back();
    EXPECT_THAT(refused.mErrors, HasSubstr("\"SLEEP-1\" runs already, as process " + id +
                                           ", and can't be given arguments; --new starts another process"));
}

TEST_F(Apps, ThatRunAreNotStartedAgain) {
    InstallSleeper();
    for (int i = 0; i != 2; ++i) EXPECT_EQ(Run({"apps", "launch", "SLEEP-1"}).mExitCode, 0);
    const std::string id = Run({"apps", "pid", "SLEEP-1"}).mOutput;
    ::kill(std::stoi(id), SIGKILL);
    support::Finished next;
    do next = Run({"apps", "pid", "SLEEP-1"});
    while (next.mOutput == id);
    EXPECT_EQ(next.mExitCode, 1) << "another one runs: " << next.mOutput;
}

TEST_F(Apps, GetTheirArgumentsAsTheyAreTyped) {
    InstallReporter();
    const auto run = Run({"apps", "launch", "REPORT-1", "first", "--", "--json", "", "[a,b]", "it's",
                          "two\nlines", "$HOME", "#", "--", "\\"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_EQ(AwaitReport(), "<first><--json><><[a,b]><it's><two\nlines><$HOME><#><--><\\>");
}

TEST_F(Apps, MayHaveIdsThatBeginWithADash) {
    InstallReporter();
    WriteEntry("-X-1", (mBus.Folder() / "reporter").string());
    const std::string program = (mBus.Folder() / "reporter").string() + "\n";
    EXPECT_EQ(Run({"apps", "path", "--", "-X-1"}).mOutput, program);
    EXPECT_THAT(Run({"apps", "path", "--json", "--", "-X-1"}).mOutput, HasSubstr("{\"app_id\":\"-X-1\""));
    EXPECT_THAT(Run({"apps", "pid", "--", "-X-1"}).mErrors, HasSubstr("\"-X-1\" doesn't run"));
    EXPECT_EQ(Run({"apps", "path", "-X-1"}).mExitCode, 2);
    const auto run = Run({"apps", "launch", "--new", "--", "-X-1", "--json", "--", "x"});
    EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
    EXPECT_EQ(AwaitReport(), "<--json><--><x>");
}

TEST_F(Apps, NeedAnId) {
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"apps", "path"}, {"apps", "launch"}, {"apps", "launch", "--"}, {"apps", "launch", "--new"}}) {
        const auto run = Run(words);
        EXPECT_EQ(run.mExitCode, 2);
        EXPECT_THAT(run.mErrors, HasSubstr("ID is required"));
    }
}

TEST_F(Apps, RefuseOptionsThatThereAreNot) {
    InstallReporter();
    const auto run = Run({"apps", "launch", "REPORT-1", "--nwe"});
    EXPECT_EQ(run.mExitCode, 2);
    EXPECT_THAT(run.mErrors,
                HasSubstr("\"--nwe\" is no option; arguments that begin with a dash stand behind \"--\""));
    EXPECT_EQ(Run({"apps", "list", "more"}).mExitCode, 2);
    EXPECT_FALSE(fs::exists(Report()));
}

TEST_F(Apps, WhoseProgramCannotBeStartedAreTold) {
    const fs::path program = mBus.Folder() / "broken";
    std::ofstream(program) << "#!/no/such/interpreter\n";
    fs::permissions(program, fs::perms::owner_all);
    WriteEntry("BROKEN\"-1", program.string());
    const auto run = Run({"apps", "launch", "BROKEN\"-1"});
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors,
                HasSubstr("\"BROKEN\"-1\" can't be started; NUOCORE_TRACE=PlexaControl=1 shows why"));
}

}  // namespace tool_test
