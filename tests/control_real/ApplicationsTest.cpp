// The applications that are installed: answers are those of the moment.
#include "Applications.h"

#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "PrivateDesktop.h"
#include "doubles/NuocoreWatch.h"

namespace orvane::plexa::control {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class InstalledApplications : public testing::Test {
  protected:
    // Empty when it isn't installed.
    std::string PathOf(const std::string& inAppId) {
        const auto application = mApplications.Find(inAppId);
        return application ? application->mPath : "";
    }
    std::string Program(const std::string& inName) {
        return mDesktop.MakeScript(inName, "#!/bin/sh\n").string();
    }
    // What is changed from now on shows by its time.
    static void Settle() { std::this_thread::sleep_for(std::chrono::milliseconds(80)); }

    PrivateDesktop mDesktop;
    Applications mApplications{mDesktop.DataFolders()};
};

TEST_F(InstalledApplications, AreFoundByTheirAppIds) {
    const std::string first = Program("first");
    const std::string second = Program("second");
    mDesktop.WriteEntry("a", "B-2", second);
    mDesktop.WriteEntry("b", "A-1", first);
    EXPECT_EQ(PathOf("A-1"), first);
    EXPECT_EQ(PathOf("B-2"), second);
    EXPECT_EQ(PathOf("C-3"), "");
    EXPECT_EQ(PathOf(""), "");
    EXPECT_THAT(mApplications.AppIds(), ElementsAre("A-1", "B-2"));
}

TEST_F(InstalledApplications, HaveTheFileBehindTheLinkAsTheirPath) {
    const std::string program = Program("program");
    fs::create_symlink(program, mDesktop.Folder() / "link");
    mDesktop.WriteEntry("a", "A-1", (mDesktop.Folder() / "link").string());
    EXPECT_EQ(PathOf("A-1"), program);
    EXPECT_EQ(mApplications.Find("A-1")->mProgram, (mDesktop.Folder() / "link").string());
}

TEST_F(InstalledApplications, AreLookedForInTheSearchPath) {
    mDesktop.WriteEntry("a", "A-1", "env LANG=C sh -c x");
    EXPECT_EQ(PathOf("A-1"), fs::canonical("/bin/sh").string());
}

TEST_F(InstalledApplications, WhoseRealPathIsNoTextAreKnownByTheNameInTheEntry) {
    fs::create_directory(mDesktop.Folder() / "\xFF");
    const fs::path odd = mDesktop.Folder() / "\xFF" / "app";
    fs::rename(Program("app"), odd);
    fs::create_symlink(odd, mDesktop.Folder() / "link");
    mDesktop.WriteEntry("a", "A-1", (mDesktop.Folder() / "link").string());
    EXPECT_EQ(PathOf("A-1"), (mDesktop.Folder() / "link").string());
}

TEST_F(InstalledApplications, WhoseProgramIsGoneAreNotInstalled) {
    const std::string program = Program("app");
    mDesktop.WriteEntry("a", "A-1", program);
    EXPECT_EQ(PathOf("A-1"), program);
    fs::remove(program);
    EXPECT_EQ(PathOf("A-1"), "");
    EXPECT_THAT(mApplications.AppIds(), IsEmpty());
    EXPECT_EQ(Program("app"), program);
    EXPECT_EQ(PathOf("A-1"), program);
    fs::permissions(program, fs::perms::owner_read);
    EXPECT_EQ(PathOf("A-1"), "");
}

TEST_F(InstalledApplications, NeedTheOtherProgramThatTheirEntryNames) {
    const std::string program = Program("app");
    const fs::path other = mDesktop.Folder() / "bin/other";
    mDesktop.WriteEntry("a", "A-1", program, "TryExec=" + other.string() + "\n");
    EXPECT_EQ(PathOf("A-1"), "");
    (void)Program("other");
    EXPECT_EQ(PathOf("A-1"), program);
}

TEST_F(InstalledApplications, AreTheUsersBeforeTheSystems) {
    const std::string users = Program("users");
    const std::string systems = Program("systems");
    mDesktop.WriteEntry("z", "A-1", users);
    mDesktop.WriteEntry("a", "A-1", systems, {}, true);
    EXPECT_EQ(PathOf("A-1"), users);
    EXPECT_THAT(mApplications.AppIds(), ElementsAre("A-1"));
    // The next one counts as long as the first one's program is gone.
    fs::remove(users);
    EXPECT_EQ(PathOf("A-1"), systems);
}

TEST_F(InstalledApplications, AreHiddenByAnEntryOfTheSameName) {
    const std::string program = Program("app");
    mDesktop.WriteEntry("a", "A-1", program, {}, true);
    EXPECT_EQ(PathOf("A-1"), program);
    mDesktop.WriteEntry("a", "A-1", program, "Hidden=true\n");
    EXPECT_EQ(PathOf("A-1"), "");
    fs::remove(mDesktop.EntryPath("a"));
    EXPECT_EQ(PathOf("A-1"), program);
}

TEST_F(InstalledApplications, SeeEachChangeAtOnce) {
    const std::string first = Program("first");
    const std::string second = Program("other2");
    Settle();
    EXPECT_EQ(PathOf("A-1"), "");
    mDesktop.WriteEntry("a", "A-1", first);
    EXPECT_EQ(PathOf("A-1"), first);
    Settle();
    EXPECT_EQ(PathOf("A-1"), first);
    // In place.
    mDesktop.WriteEntry("a", "A-1", second);
    EXPECT_EQ(PathOf("A-1"), second);
    Settle();
    EXPECT_EQ(PathOf("A-1"), second);
    // By another file.
    fs::rename(mDesktop.WriteEntry("new", "A-1", first), mDesktop.EntryPath("a"));
    EXPECT_EQ(PathOf("A-1"), first);
    Settle();
    EXPECT_EQ(PathOf("A-1"), first);
    // In place, to another app id.
    mDesktop.WriteEntry("a", "B-1", first);
    EXPECT_EQ(PathOf("A-1"), "");
    EXPECT_EQ(PathOf("B-1"), first);
    fs::remove(mDesktop.EntryPath("a"));
    EXPECT_EQ(PathOf("B-1"), "");
}

TEST_F(InstalledApplications, SeeTwoChangesInOneMoment) {
    const std::string first = Program("one");
    const std::string second = Program("two");
    // The same size, and times that the file system may not tell apart.
    for (int i = 0; i != 50; ++i) {
        mDesktop.WriteEntry("a", "A-1", first);
        ASSERT_EQ(PathOf("A-1"), first);
        mDesktop.WriteEntry("a", "A-1", second);
        ASSERT_EQ(PathOf("A-1"), second);
    }
}

TEST_F(InstalledApplications, SeeFoldersThatComeAndGo) {
    const std::string program = Program("app");
    fs::remove_all(mDesktop.Folder() / "user");
    Settle();
    EXPECT_EQ(PathOf("A-1"), "");
    fs::create_directories(mDesktop.Folder() / "user/applications/sub");
    Settle();
    EXPECT_EQ(PathOf("A-1"), "");
    fs::rename(mDesktop.WriteEntry("a", "A-1", program),
               mDesktop.Folder() / "user/applications/sub/a.desktop");
    EXPECT_EQ(PathOf("A-1"), program);
    fs::remove_all(mDesktop.Folder() / "user");
    EXPECT_EQ(PathOf("A-1"), "");
}

TEST_F(InstalledApplications, SeeAnEntryThatTakesAnothersAppIdSoon) {
    const std::string first = Program("first");
    const std::string second = Program("second");
    mDesktop.WriteEntry("a", "A-2", second);
    mDesktop.WriteEntry("b", "A-1", first);
    Settle();
    EXPECT_EQ(PathOf("A-1"), first);
    mDesktop.WriteEntry("a", "A-1", second);
    EXPECT_TRUE(Await([&] { return PathOf("A-1") == second; }));
}

TEST_F(InstalledApplications, ThatAreBrokenAreToldOnce) {
    const doubles::TraceWatch watch("PlexaControl=1");
    mDesktop.WriteEntry("a", "A-1", "'open");
    Settle();
    for (int i = 0; i != 3; ++i) EXPECT_THAT(mApplications.AppIds(), IsEmpty());
    EXPECT_THAT(watch.Lines(), ElementsAre("1|PlexaControl|\"" + mDesktop.EntryPath("a").string() +
                                           "\" is left out: it has no command that can be read\r\n"));
}

TEST_F(InstalledApplications, HaveEntriesOfOneMebibyteAtMost) {
    const std::string program = Program("app");
    const auto pad = [](const fs::path& inEntry, std::size_t inSize) {
        std::string text = ReadFile(inEntry) + "#";
        text.resize(inSize, 'x');
        WriteFile(inEntry, text);
    };
    constexpr std::size_t kMebibyte = 1048576;
    pad(mDesktop.WriteEntry("a", "A-1", program), kMebibyte);
    pad(mDesktop.WriteEntry("b", "B-1", program), kMebibyte + 1);
    EXPECT_THAT(mApplications.AppIds(), ElementsAre("A-1"));
}

TEST_F(InstalledApplications, AreNotLookedForWhereTheHostIs) {
    const std::string program = Program("app");
    const fs::path before = fs::current_path();
    fs::current_path(mDesktop.Folder());
    EXPECT_EQ(FindProgram("bin/app").mName, "");
    EXPECT_EQ(FindProgram(program).mName, program);
    fs::current_path(before);
}

TEST_F(InstalledApplications, AreNotDisturbedByEntriesThatNobodyCanRead) {
    const std::string program = Program("app");
    mDesktop.WriteEntry("b", "A-1", program);
    WriteFile(mDesktop.EntryPath("a"), std::string(std::size_t{2} << 20U, 'x'));
    WriteFile(mDesktop.EntryPath("c\xFF"), "\xFF\xFE");
    fs::create_symlink("nowhere", mDesktop.EntryPath("d"));
    EXPECT_EQ(PathOf("A-1"), program);
}

TEST_F(InstalledApplications, AreFoundAgainOnceTheirFolderCanBeRead) {
    const std::string program = Program("app");
    mDesktop.WriteEntry("a", "A-1", program);
    Settle();
    const doubles::TraceWatch watch("PlexaControl=1");
    {
        const NoDescriptors none;
        EXPECT_EQ(PathOf("A-1"), "");
    }
    EXPECT_THAT(watch.Lines(), Contains(HasSubstr("user/applications\" can't be read now: ")));
    EXPECT_EQ(PathOf("A-1"), program);
}

TEST_F(InstalledApplications, WhoseEntryCannotBeReadNowAreTriedAgain) {
    // A regular file whose first byte is never to be had.
    fs::create_symlink("/proc/self/mem", mDesktop.EntryPath("a"));
    ASSERT_TRUE(Await([&] { return IsSettled(StateOf(mDesktop.EntryPath("a").string())); }));
    const doubles::TraceWatch watch("PlexaControl=1");
    for (int i = 0; i != 3; ++i) EXPECT_THAT(mApplications.AppIds(), IsEmpty());
    EXPECT_THAT(watch.Lines(), SizeIs(3));
    EXPECT_THAT(watch.Lines(), Each(HasSubstr("user/applications/a.desktop\" can't be read now: ")));
}

TEST_F(InstalledApplications, AreSeenInAFolderThatALinkLeadsToLater) {
    const std::string program = Program("app");
    const fs::path folder = mDesktop.Folder() / "elsewhere";
    fs::create_directory(folder);
    fs::rename(mDesktop.WriteEntry("a", "A-1", program), folder / "a.desktop");
    fs::create_directory_symlink(mDesktop.Folder() / "later", mDesktop.Folder() / "user/applications/link");
    Settle();
    EXPECT_EQ(PathOf("A-1"), "");
    fs::rename(folder, mDesktop.Folder() / "later");
    EXPECT_EQ(PathOf("A-1"), program);
}

TEST_F(InstalledApplications, AreNotLookedForInPipes) {
    const std::string program = Program("app");
    mDesktop.WriteEntry("b", "A-1", program);
    const std::string pipe = mDesktop.EntryPath("a").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, pipe.c_str(), IN_OPEN), 0);
    EXPECT_EQ(PathOf("A-1"), program);
    // It isn't even opened, which a writer would see.
    std::array<char, 512> events{};
    EXPECT_EQ(::read(watch, events.data(), events.size()), -1);
    EXPECT_EQ(errno, EAGAIN);
    ::close(watch);
}

TEST_F(InstalledApplications, AreNotHeldUpByDevicesAndFoldersNamedLikeEntries) {
    const std::string program = Program("app");
    mDesktop.WriteEntry("z", "A-1", program);
    mDesktop.WriteEntry("masked", "B-1", program, {}, true);
    fs::create_symlink("/dev/zero", mDesktop.EntryPath("a"));
    fs::create_symlink("/dev/null", mDesktop.EntryPath("masked"));
    fs::create_directory(mDesktop.EntryPath("folder"));
    EXPECT_THAT(mApplications.AppIds(), ElementsAre("A-1"));
}

}  // namespace
}  // namespace orvane::plexa::control
