// Which processes are those of an application.
#include "Processes.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "LaunchMark.h"
#include "PrivateDesktop.h"
#include "Process.h"
#include "support/ChildProcess.h"

namespace orvane::plexa::control {
namespace {

namespace fs = std::filesystem;
using support::ChildProcess;

class ApplicationProcesses : public testing::Test {
  protected:
    // A program that takes options, and waits for good behind "-f /dev/null".
    [[nodiscard]] std::string MakeSuite() const {
        const fs::path path = mDesktop.Folder() / "bin/suite";
        fs::copy_file("/usr/bin/tail", path);
        return path.string();
    }
    // A process as an entry would have started it.
    [[nodiscard]] static support::Command Marked(const Application& inApplication,
                                                 const std::vector<std::string>& inWords) {
        // The shell replaces itself, and so keeps its id.
        support::Command command{{"/bin/sh", "-c",
                                  "GIO_LAUNCHED_DESKTOP_FILE_PID=$$; export GIO_LAUNCHED_DESKTOP_FILE_PID; "
                                  "exec \"$@\"",
                                  "sh"},
                                 {{"GIO_LAUNCHED_DESKTOP_FILE", inApplication.mEntryFile}}};
        command.mArguments.insert(command.mArguments.end(), inWords.begin(), inWords.end());
        return command;
    }
    [[nodiscard]] static std::vector<KnownEntry> Entries(const std::vector<Application>& inApplications) {
        std::vector<KnownEntry> entries;
        for (const Application& application : inApplications)
            entries.push_back({application.mEntry, application.mEntryFile});
        return entries;
    }
    static void AwaitProgram(const ChildProcess& inProcess, const std::string& inProgram) {
        std::error_code error;
        ASSERT_TRUE(Await([&] {
            const std::string process = "/proc/" + std::to_string(inProcess.Id());
            // Its words come a moment after its program.
            return fs::read_symlink(process + "/exe", error) == inProgram &&
                   !ReadFile(process + "/cmdline").empty();
        }));
    }

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

TEST_F(ApplicationProcesses, OfApplicationsThatShareAProgramAreToldApartByTheirOptions) {
    const std::string suite = MakeSuite();
    const std::vector<Application> all{
        PrivateDesktop::Read(mDesktop.WriteEntry("suite", "SUITE-1", suite + " %F")),
        PrivateDesktop::Read(mDesktop.WriteEntry("viewer", "VIEWER-1", suite + " --retry %F")),
        PrivateDesktop::Read(mDesktop.WriteEntry("both", "BOTH-1", suite + " --retry --verbose %F"))};
    const auto entries = Entries(all);
    ChildProcess viewer({{suite, "--retry", "-f", "/dev/null"}});
    AwaitProgram(viewer, suite);
    EXPECT_THAT(FindProcesses(all, entries), testing::ElementsAre(0, viewer.Id(), 0));
    // Of one alone the same is said as of all.
    EXPECT_EQ(FindProcess(all[0], entries), 0);
    EXPECT_EQ(FindProcess(all[1], entries), viewer.Id());
    ChildProcess both({{suite, "-f", "--verbose", "--retry", "/dev/null"}});
    ChildProcess plain({{suite, "-f", "/dev/null"}});
    AwaitProgram(both, suite);
    AwaitProgram(plain, suite);
    EXPECT_THAT(FindProcesses(all, entries), testing::ElementsAre(plain.Id(), viewer.Id(), both.Id()));
}

TEST_F(ApplicationProcesses, OfAProgramThatNobodySharesMayLackItsOptions) {
    const std::string suite = MakeSuite();
    const std::vector<Application> all{
        PrivateDesktop::Read(mDesktop.WriteEntry("suite", "SUITE-1", suite + " --retry %F")),
        // It shares the program, but not what the process is given.
        PrivateDesktop::Read(mDesktop.WriteEntry("other", "OTHER-1", suite + " other %F"))};
    ChildProcess process({{suite, "-f", "/dev/null"}});
    AwaitProgram(process, suite);
    EXPECT_THAT(FindProcesses(all, Entries(all)), testing::ElementsAre(process.Id(), 0));
}

TEST_F(ApplicationProcesses, OfScriptsThatAreSharedAreToldApartToo) {
    const std::string script = mDesktop.MakeScript("app", "#!/bin/sh\ntail -f $0\n").string();
    const std::vector<Application> all{
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", script + " %F")),
        PrivateDesktop::Read(mDesktop.WriteEntry("b", "B-1", script + " --viewer %F"))};
    ChildProcess process({{script, "--viewer"}});
    ASSERT_TRUE(process.AwaitOutput("tail -f"));
    EXPECT_THAT(FindProcesses(all, Entries(all)), testing::ElementsAre(0, process.Id()));
}

TEST_F(ApplicationProcesses, AreThoseOfTheEntryThatStartedThem) {
    const std::string suite = MakeSuite();
    const std::vector<Application> all{
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", suite + " %F")),
        PrivateDesktop::Read(mDesktop.WriteEntry("b", "B-1", "env LANG=C " + suite + " %F"))};
    ChildProcess process(Marked(all[1], {suite, "-f", "/dev/null"}));
    AwaitProgram(process, suite);
    EXPECT_THAT(FindProcesses(all, Entries(all)), testing::ElementsAre(0, process.Id()));
    EXPECT_EQ(FindProcess(all[0], Entries(all)), 0);
    // One that nobody knows tells nothing.
    EXPECT_EQ(FindProcess(all[0]), process.Id());
}

TEST_F(ApplicationProcesses, OfAnEntryThatWantsATerminalAreNotTheTerminals) {
    const std::string suite = MakeSuite();
    const std::string terminal = mDesktop.MakeSleeper("terminal").string();
    const std::vector<Application> all{
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", suite + " %F", "Terminal=true\n")),
        PrivateDesktop::Read(mDesktop.WriteEntry("b", "B-1", terminal))};
    // Other launchers mark the terminal.
    ChildProcess process(Marked(all[0], {terminal, "1000"}));
    AwaitProgram(process, terminal);
    EXPECT_THAT(FindProcesses(all, Entries(all)), testing::ElementsAre(0, process.Id()));
    ChildProcess inside({{suite, "-f", "/dev/null"}});
    AwaitProgram(inside, suite);
    EXPECT_THAT(FindProcesses(all, Entries(all)), testing::ElementsAre(inside.Id(), process.Id()));
}

TEST_F(ApplicationProcesses, OfAScriptAreNotThoseThatAnotherScriptIsGivenItsPath) {
    const std::string script = mDesktop.MakeScript("app", "#!/bin/sh\n").string();
    const std::string opener = mDesktop.MakeScript("open", "#!/bin/sh\ntail -f $1\n").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", script));
    ChildProcess process({{opener, script}});
    ASSERT_TRUE(process.AwaitOutput("#!/bin/sh"));
    EXPECT_EQ(FindProcess(application), 0);
}

TEST_F(ApplicationProcesses, OfAScriptMayHaveOptionsForItsInterpreter) {
    const std::string script = mDesktop.MakeScript("app", "#!/bin/sh\ntail -f $0\n").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", script));
    ChildProcess process({{"/bin/sh", "-e", "-u", script, "more"}});
    ASSERT_TRUE(process.AwaitOutput("tail -f"));
    EXPECT_EQ(FindProcess(application), process.Id());
}

TEST_F(ApplicationProcesses, OfAScriptAreKnownWithTheWordsOfItsFirstLine) {
    // "tail" shows the script itself, and waits for more; of the line's rest the system makes one word.
    const std::string words = (mDesktop.Folder() / "two words").string();
    WriteFile(words, "first file");
    const std::string script = mDesktop.MakeScript("app", "#!" + MakeSuite() + " " + words + " \n").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", script));
    ChildProcess process({{script, "-f"}});
    ASSERT_TRUE(process.AwaitOutput("first file"));
    EXPECT_EQ(FindProcess(application), process.Id());
}

TEST_F(ApplicationProcesses, OfAScriptAreKnownThoughAnotherProgramFindsItsInterpreter) {
    for (const std::string line : {"/usr/bin/env sh", "/usr/bin/env -S sh -u", "/usr/bin/env -S A=b sh"}) {
        const std::string script = mDesktop.MakeScript("through", "#!" + line + "\ntail -f $0\n").string();
        const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("b", "B-1", script));
        ChildProcess process({{script}});
        ASSERT_TRUE(process.AwaitOutput("tail -f")) << line;
        EXPECT_EQ(FindProcess(application), process.Id()) << line;
    }
}

TEST_F(ApplicationProcesses, AreFoundThoughTheirRealPathIsNoText) {
    fs::create_directory(mDesktop.Folder() / "\xFF");
    const fs::path odd = mDesktop.Folder() / "\xFF" / "app";
    fs::rename(mDesktop.MakeSleeper("app"), odd);
    fs::create_symlink(odd, mDesktop.Folder() / "link");
    const Application application =
        PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", (mDesktop.Folder() / "link").string()));
    ChildProcess process({{odd.string(), "1000"}});
    AwaitProgram(process, odd.string());
    EXPECT_EQ(FindProcess(application), process.Id());
}

TEST_F(ApplicationProcesses, AreFoundThoughAnotherProgramCannotBeRead) {
    const std::string program = mDesktop.MakeSleeper("app").string();
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", program));
    Application odd = application;
    // A regular file whose first byte is never to be had.
    odd.mResolved = "/proc/self/mem";
    ChildProcess process({{program, "1000"}});
    AwaitProgram(process, program);
    EXPECT_THAT(FindProcesses(std::vector{odd, application}), testing::ElementsAre(0, process.Id()));
}

TEST_F(ApplicationProcesses, AreNotSaidToBeNoneWhenTheyCannotBeLookedAt) {
    const Application application = PrivateDesktop::Read(mDesktop.WriteEntry("a", "A-1", "/bin/true"));
    const NoDescriptors none;
    EXPECT_THROW((void)FindProcess(application), std::system_error);
}

TEST_F(ApplicationProcesses, AreNotSaidToBeOddWhenNothingCanBeRead) {
    // Each file by itself: one of many may be the first that finds no descriptor.
    Process process(::getpid());
    {
        const NoDescriptors none;
        EXPECT_THROW((void)process.CommandLine(), std::system_error);
        EXPECT_THROW((void)process.Entry(), std::system_error);
        EXPECT_THROW((void)process.Start(), std::system_error);
    }
    // Nothing of that is kept.
    EXPECT_THAT(process.CommandLine(), testing::Not(testing::IsEmpty()));
    for (const int shortage : {EMFILE, ENFILE, ENOMEM}) {
        const auto fail = [&]() -> std::string {
            throw std::system_error(shortage, std::generic_category());
        };
        EXPECT_THROW((void)ReadUnlessOdd(fail), std::system_error) << shortage;
    }
    const auto odd = []() -> std::string { throw std::system_error(EIO, std::generic_category()); };
    EXPECT_EQ(ReadUnlessOdd(odd), "");
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
