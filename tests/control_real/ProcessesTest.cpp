// Which processes are those of an application.
#include "Processes.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "LaunchMark.h"
#include "PrivateDesktop.h"
#include "support/ChildProcess.h"

namespace orvane::plexa::control {
namespace {

namespace fs = std::filesystem;
using support::ChildProcess;

class ApplicationProcesses : public testing::Test {
  protected:
    PrivateDesktop mDesktop;
};

TEST_F(ApplicationProcesses, AreKnownByTheirExecutable) {
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program));
    EXPECT_EQ(FindProcess(application), 0);
    ChildProcess process({{program, "1000"}});
    EXPECT_EQ(FindProcess(application), process.Id());
    process.Signal(SIGKILL);
    // Dead, and dead but not yet waited for, is the same.
    EXPECT_TRUE(Await([&] { return FindProcess(application) == 0; }));
    process.Wait();
    EXPECT_EQ(FindProcess(application), 0);
}

TEST_F(ApplicationProcesses, TheOldestCounts) {
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program));
    ChildProcess first({{program, "1000"}});
    // The clock of starts ticks a hundred times a second.
    ::usleep(30000);
    ChildProcess second({{program, "1000"}});
    EXPECT_EQ(FindProcess(application), first.Id());
    first.Signal(SIGKILL);
    first.Wait();
    EXPECT_EQ(FindProcess(application), second.Id());
}

TEST_F(ApplicationProcesses, StayKnownWhenTheirExecutableIsReplacedOrRemoved) {
    const fs::path program = mDesktop.MakeSleeper("app");
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program));
    ChildProcess process({{program.string(), "1000"}});
    fs::rename(mDesktop.MakeSleeper("app.new"), program);
    EXPECT_EQ(FindProcess(application), process.Id());
    fs::remove(program);
    EXPECT_EQ(FindProcess(application), process.Id());
}

TEST_F(ApplicationProcesses, OfAScriptAreKnownByTheInterpretersWords) {
    const fs::path script = mDesktop.MakeScript("app", "#!/bin/sh\nread line\n");
    fs::create_symlink(script, mDesktop.Folder() / "link");
    const Application application =
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", (mDesktop.Folder() / "link").string()));
    ChildProcess direct({{script.string()}, {}, {}});
    // It ends at once, as its input does.
    direct.Wait();
    EXPECT_EQ(FindProcess(application), 0);
    const fs::path waits = mDesktop.MakeScript("waits", "#!/bin/sh -e\nsleep 1000\n");
    const Application waiting = PrivateDesktop::Read(mDesktop.WriteEntry("b", "B-1", waits.string()));
    ChildProcess process({{waits.string()}});
    EXPECT_TRUE(Await([&] { return FindProcess(waiting) == process.Id(); }));
}

TEST_F(ApplicationProcesses, OfAScriptBehindItsInterpreterMustHaveThatScript) {
    const fs::path script = mDesktop.MakeScript("app.sh", "sleep 1000\n");
    const Application application =
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", "sh " + script.string() + " %F"));
    ChildProcess other({{"/bin/sh", "-c", "sleep 1000; true"}});
    ChildProcess process({{"/bin/sh", script.string()}});
    EXPECT_TRUE(Await([&] { return FindProcess(application) == process.Id(); }));
}

TEST_F(ApplicationProcesses, OfOtherUsersDoNotCount) {
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can become another user";
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program));
    fs::permissions(mDesktop.Folder(), fs::perms{0711});
    fs::permissions(mDesktop.Folder() / "bin", fs::perms{0711});
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setuid(65534) == 0) ::execl(program.c_str(), program.c_str(), "1000", nullptr);
        ::_exit(1);
    }
    ASSERT_TRUE(Await([&] { return ReadFile("/proc/" + std::to_string(child) + "/comm") == "app\n"; }));
    EXPECT_EQ(FindProcess(application), 0);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST_F(ApplicationProcesses, OfAScriptAreNotThoseThatLookIntoIt) {
    const fs::path script = mDesktop.MakeScript("app", "#!/bin/sh\nread line\n");
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", script.string()));
    ChildProcess reader({{"/usr/bin/tail", "-f", script.string()}});
    ASSERT_TRUE(reader.AwaitOutput("read line"));
    EXPECT_EQ(FindProcess(application), 0);
}

TEST_F(ApplicationProcesses, HaveTheWordsThatTheCommandAlwaysGives) {
    const std::string program = mDesktop.MakeSleeper("runner").string();
    const Application application =
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program + " --verbose 1000 %F"));
    ChildProcess other({{program, "1001"}});
    EXPECT_EQ(FindProcess(application), 0);
    ChildProcess process({{program, "1000"}});
    EXPECT_EQ(FindProcess(application), process.Id());
}

TEST_F(ApplicationProcesses, TheWordsOfAnotherProgramDoNotCount) {
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program));
    ChildProcess other({{"/bin/sh", "-c", "sleep 1000; true", "x", program}});
    EXPECT_EQ(FindProcess(application), 0);
}

TEST_F(ApplicationProcesses, OfSeveralApplicationsAreFoundAtOnce) {
    const auto application = [&](const std::string& inName) {
        return PrivateDesktop::Read(
            mDesktop.WriteEntry(inName, inName + "-1", mDesktop.MakeSleeper(inName).string()));
    };
    const std::vector<Application> applications{application("a"), application("b"), application("c")};
    ChildProcess first({{applications[0].mPath, "1000"}});
    ChildProcess third({{applications[2].mPath, "1000"}});
    EXPECT_THAT(FindProcesses(applications), testing::ElementsAre(first.Id(), 0, third.Id()));
    EXPECT_THAT(FindProcesses({}), testing::IsEmpty());
}

TEST_F(ApplicationProcesses, AreNotSaidToBeNoneWhenTheyCannotBeLookedAt) {
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", "/bin/true"));
    const NoDescriptors none;
    EXPECT_THROW((void)FindProcess(application), std::system_error);
}

TEST(LaunchMark, CountsOnlyWithTheProcessItself) {
    const std::string mark = LaunchMark("/a.desktop");
    using std::string_literals::operator""s;
    EXPECT_EQ(LaunchedEntryFile("A=b\0"s + mark + "\0GIO_LAUNCHED_DESKTOP_FILE_PID=12\0"s, 12), "/a.desktop");
    EXPECT_EQ(LaunchedEntryFile(mark + "\0GIO_LAUNCHED_DESKTOP_FILE_PID=12\0"s, 123), "");
    EXPECT_EQ(LaunchedEntryFile(mark + "\0GIO_LAUNCHED_DESKTOP_FILE_PID=123\0"s, 12), "");
    EXPECT_EQ(LaunchedEntryFile("GIO_LAUNCHED_DESKTOP_FILE_PID=12\0"s, 12), "");
    EXPECT_EQ(LaunchedEntryFile("", 12), "");
}

}  // namespace
}  // namespace orvane::plexa::control
