// Starting applications.
#include "Launch.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "PrivateDesktop.h"
#include "Processes.h"
#include "doubles/NuocoreWatch.h"

namespace orvane::plexa::control {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class LaunchedApplication : public testing::Test {
  protected:
    // An application that writes what a line of a script prints.
    Application Reporter(const std::string& inLine, const std::string& inMore = {},
                         const std::string& inArguments = {}) const {
        const fs::path script =
            mDesktop.MakeScript("reporter", "#!/bin/sh\nreport=" + mReport.string() + "\n{ " + inLine +
                                                "; } >$report.part\nmv $report.part $report\n");
        return PrivateDesktop::Read(
            mDesktop.WriteEntry("reporter", "R-1", script.string() + inArguments, inMore));
    }
    std::string Report() const {
        EXPECT_TRUE(Await([&] { return fs::exists(mReport); }));
        return ReadFile(mReport);
    }

    // Not even one that has ended.
    static void ExpectNoChild() {
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }

    PrivateDesktop mDesktop;
    fs::path mReport = mDesktop.Folder() / "report";
};

TEST_F(LaunchedApplication, GetsItsArgumentsAsTheyAre) {
    const Application application = Reporter("printf '<%s>' \"$@\"", {}, " --fixed");
    ASSERT_TRUE(Launch(application, {"a b", "", "'\"$HOME`", "two\nlines", "\xFF", "-x", "%f"}));
    EXPECT_EQ(Report(), "<--fixed><a b><><'\"$HOME`><two\nlines><\xFF><-x><%f>");
}

TEST_F(LaunchedApplication, IsNobodysChildAndLeadsASessionOfItsOwn) {
    const Application application =
        Reporter("set -- $(cat /proc/$$/stat | sed 's/.*) //'); echo \"$$ $2 $4\"");
    ASSERT_TRUE(Launch(application, {}));
    int id = 0;
    int parent = 0;
    int session = 0;
    ASSERT_EQ(std::sscanf(Report().c_str(), "%d %d %d", &id, &parent, &session), 3);
    EXPECT_NE(parent, ::getpid());
    EXPECT_EQ(session, id);
    ExpectNoChild();
}

TEST_F(LaunchedApplication, LeavesNoChildBehindWhenItCannotBeStarted) {
    const fs::path broken = mDesktop.MakeScript("broken", "#!/no/such/interpreter\n");
    EXPECT_FALSE(Launch(PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", broken.string())), {}));
    ExpectNoChild();
}

TEST_F(LaunchedApplication, IsStartedThoughItsHostWantsToKnowOfNoChild) {
    const auto before = ::signal(SIGCHLD, SIG_IGN);
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program + " 1000"));
    EXPECT_TRUE(Launch(application, {}));
    const int id = FindProcess(application);
    EXPECT_NE(id, 0);
    // What it starts itself it must be able to wait for.
    EXPECT_THAT(ReadFile("/proc/" + std::to_string(id) + "/status"),
                HasSubstr("SigIgn:\t0000000000000000\n"));
    const fs::path broken = mDesktop.MakeScript("broken", "#!/no/such/interpreter\n");
    EXPECT_FALSE(Launch(PrivateDesktop::Read(mDesktop.WriteEntry("b", "B-1", broken.string())), {}));
    ::signal(SIGCHLD, before);
}

TEST_F(LaunchedApplication, InheritsNothingThatItsHostHasOpen) {
    // One that isn't closed by itself when a program is started.
    const int leaking = ::open("/dev/zero", O_RDONLY);
    const int high = ::dup2(leaking, 200);
    ASSERT_EQ(high, 200);
    ASSERT_TRUE(Launch(Reporter("for i in /proc/$$/fd/*; do readlink $i; done"), {}));
    EXPECT_THAT(Report(), testing::Not(HasSubstr("/dev/zero")));
    EXPECT_THAT(Report(), HasSubstr("/dev/null"));
    ::close(high);
    ::close(leaking);
}

TEST_F(LaunchedApplication, HasNoInputAndNoOutput) {
    ASSERT_TRUE(Launch(Reporter("for i in 0 2; do readlink /proc/$$/fd/$i; done"), {}));
    EXPECT_EQ(Report(), "/dev/null\n/dev/null\n");
}

TEST_F(LaunchedApplication, HasNoSignalBlockedOrIgnored) {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGUSR1, SIG_IGN);
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program + " 1000"));
    EXPECT_TRUE(Launch(application, {}));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const std::string status = ReadFile("/proc/" + std::to_string(FindProcess(application)) + "/status");
    EXPECT_THAT(status, HasSubstr("SigBlk:\t0000000000000000\n"));
    EXPECT_THAT(status, HasSubstr("SigIgn:\t0000000000000000\n"));
}

TEST_F(LaunchedApplication, StartsWhereItsEntrySays) {
    ASSERT_TRUE(Launch(Reporter("pwd", "Path=/usr\n"), {}));
    EXPECT_EQ(Report(), "/usr\n");
}

TEST_F(LaunchedApplication, MayStandBehindVariablesThatAreSetForIt) {
    const Application reporter = Reporter("echo \"$LAUNCH_TEST\"");
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry(
        "a", "A-1", "env LAUNCH_TEST=set " + reporter.mProgram, "Path=" + mDesktop.Folder().string() + "\n"));
    ASSERT_TRUE(Launch(application, {}));
    EXPECT_EQ(Report(), "set\n");
}

TEST_F(LaunchedApplication, InheritsTheEnvironment) {
    ::setenv("LAUNCH_TEST", "a value", 1);
    ASSERT_TRUE(Launch(Reporter("echo \"$LAUNCH_TEST\""), {}));
    EXPECT_EQ(Report(), "a value\n");
}

TEST_F(LaunchedApplication, IsFoundThoughItsScriptReplacedItself) {
    ::setenv("GIO_LAUNCHED_DESKTOP_FILE", "/of/the/host.desktop", 1);
    ::setenv("GIO_LAUNCHED_DESKTOP_FILE_PID", "1", 1);
    const fs::path program = mDesktop.MakeSleeper("hidden");
    const fs::path script = mDesktop.MakeScript("wrapper", "#!/bin/sh\nexec " + program.string() + " 1000\n");
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", script.string()));
    ASSERT_TRUE(Launch(application, {}));
    const auto runsProgram = [&](int inId) {
        std::error_code error;
        return inId != 0 && fs::read_symlink("/proc/" + std::to_string(inId) + "/exe", error) == program;
    };
    EXPECT_TRUE(Await([&] { return runsProgram(FindProcess(application)); }));
}

TEST_F(LaunchedApplication, OutlivesWhoStartedIt) {
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program + " 1000"));
    const pid_t host = ::fork();
    if (host == 0) {
        ::setsid();
        if (!Launch(application, {})) ::_exit(1);
        // As when its terminal is closed.
        ::kill(0, SIGHUP);
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(host, &status, 0), host);
    ASSERT_TRUE(WIFSIGNALED(status));
    const int id = FindProcess(application);
    EXPECT_NE(id, 0);
    EXPECT_EQ(::kill(id, 0), 0);
}

TEST_F(LaunchedApplication, ThatCannotBeStartedIsRefused) {
    const doubles::TraceWatch watch("PlexaControl=1");
    const fs::path broken = mDesktop.MakeScript("broken", "#!/no/such/interpreter\n");
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", broken.string()));
    EXPECT_FALSE(Launch(application, {}));
    EXPECT_THAT(watch.Lines(), ElementsAre(HasSubstr("1|PlexaControl|\"A-1\" isn't started: ")));
    // More than the system takes.
    const Application reporter = Reporter("true");
    EXPECT_FALSE(Launch(reporter, {std::string(std::size_t{8} << 20U, 'x')}));
}

TEST_F(LaunchedApplication, GetsATerminalWhenItsEntryWantsOne) {
    const fs::path terminal =
        mDesktop.MakeScript("x-terminal-emulator", "#!/bin/sh\n[ \"$1\" = -e ] && shift && exec \"$@\"\n");
    const Application application = Reporter("echo in a terminal: \"$@\"", "Terminal=true\n");
    const std::string before = std::getenv("PATH");
    ::setenv("PATH", "/nowhere", 1);
    EXPECT_FALSE(Launch(application, {"x"}));
    ::setenv("PATH", (terminal.parent_path().string() + ":" + before).c_str(), 1);
    EXPECT_TRUE(Launch(application, {"x"}));
    EXPECT_EQ(Report(), "in a terminal: x\n");
    ::setenv("PATH", before.c_str(), 1);
}

TEST_F(LaunchedApplication, InATerminalIsTheProcessOfItsOwnProgram) {
    // It stays, and so is the older one.
    const fs::path terminal = mDesktop.MakeScript(
        "x-terminal-emulator", "#!/bin/sh\ntouch " + mReport.string() + "\nshift\n\"$@\"\n:\n");
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application =
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program + " 1000", "Terminal=true\n"));
    const std::string before = std::getenv("PATH");
    ::setenv("PATH", (terminal.parent_path().string() + ":" + before).c_str(), 1);
    EXPECT_TRUE(Launch(application, {}));
    ::setenv("PATH", before.c_str(), 1);
    ASSERT_TRUE(Await([&] { return FindProcess(application) != 0; }));
    const std::string process = "/proc/" + std::to_string(FindProcess(application));
    EXPECT_EQ(fs::read_symlink(process + "/exe"), program);
    EXPECT_THAT(ReadFile(process + "/environ"), testing::Not(HasSubstr("GIO_LAUNCHED_DESKTOP_FILE")));
}

}  // namespace
}  // namespace orvane::plexa::control
