// Which files are entries.
#include "EntryFiles.h"

#include <gmock/gmock.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "PrivateDesktop.h"
#include "SmallFile.h"
#include "doubles/NuocoreWatch.h"

namespace orvane::plexa::control {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class EntryFiles : public testing::Test {
  protected:
    // The paths of the entries below the desktop's folder.
    std::vector<std::string> List() const {
        std::vector<std::string> paths;
        for (const EntryFile& file : ListEntries(mDesktop.DataFolders()).mFiles)
            paths.push_back(fs::path(file.mPath).lexically_relative(mDesktop.Folder()).string());
        return paths;
    }
    void Touch(const std::string& inPath) const {
        fs::create_directories((mDesktop.Folder() / inPath).parent_path());
        WriteFile(mDesktop.Folder() / inPath, "");
    }

    PrivateDesktop mDesktop;
};

TEST_F(EntryFiles, AreListedTheUsersFirst) {
    Touch("system/applications/a.desktop");
    Touch("user/applications/c.desktop");
    Touch("user/applications/b.desktop");
    Touch("user/applications/b.desktop.bak");
    Touch("user/b.desktop");
    EXPECT_THAT(List(), ElementsAre("user/applications/b.desktop", "user/applications/c.desktop",
                                    "system/applications/a.desktop"));
}

TEST_F(EntryFiles, OfOneNameCountOnce) {
    Touch("user/applications/vendor/a.desktop");
    Touch("system/applications/vendor-a.desktop");
    Touch("system/applications/vendor/b.desktop");
    EXPECT_THAT(List(),
                ElementsAre("user/applications/vendor/a.desktop", "system/applications/vendor/b.desktop"));
}

TEST_F(EntryFiles, InFoldersThatLeadBackAreListedOnce) {
    Touch("user/applications/sub/a.desktop");
    fs::create_symlink("..", mDesktop.Folder() / "user/applications/sub/up");
    fs::create_symlink("loop.desktop", mDesktop.Folder() / "user/applications/loop.desktop");
    EXPECT_THAT(List(), ElementsAre("user/applications/loop.desktop", "user/applications/sub/a.desktop"));
}

TEST_F(EntryFiles, OfOneDataFolderDoNotCrowdOutThoseOfAnother) {
    Touch("system/applications/a.desktop");
    Touch("tree/z.desktop");
    for (int i = 0; i != 2001; ++i) fs::create_directory(mDesktop.Folder() / "tree" / std::to_string(i));
    fs::create_directory_symlink(mDesktop.Folder() / "system", mDesktop.Folder() / "user/applications/a");
    fs::create_directory_symlink(mDesktop.Folder() / "tree", mDesktop.Folder() / "user/applications/tree");
    const doubles::TraceWatch watch("PlexaControl=1");
    EXPECT_THAT(List(), ElementsAre("user/applications/a/applications/a.desktop",
                                    "user/applications/tree/z.desktop", "system/applications/a.desktop"));
    EXPECT_THAT(watch.Lines(),
                ElementsAre("1|PlexaControl|of \"" + (mDesktop.Folder() / "user/applications").string() +
                            "\" a part is left out: there are more than 20000 entries or 2000 folders below "
                            "it\r\n"));
}

TEST_F(EntryFiles, AreTakenOnlySoManyOfEachDataFolder) {
    constexpr std::size_t kMost = 20000;
    Touch("user/applications/0.desktop");
    Touch("system/applications/a.desktop");
    const fs::path user = mDesktop.Folder() / "user/applications";
    const doubles::TraceWatch watch("PlexaControl=1");
    for (std::size_t i = 1; i != kMost; ++i)
        fs::create_hard_link(user / "0.desktop", user / (std::to_string(i) + ".desktop"));
    EXPECT_THAT(List(), testing::SizeIs(kMost + 1));
    EXPECT_THAT(watch.Lines(), testing::IsEmpty());
    fs::create_hard_link(user / "0.desktop", user / "more.desktop");
    EXPECT_THAT(List(), testing::SizeIs(kMost + 1));
    EXPECT_THAT(watch.Lines(), ElementsAre(testing::HasSubstr("a part is left out")));
}

TEST_F(EntryFiles, AreNotLookedForInTheSystemsState) {
    Touch("user/applications/z.desktop");
    for (const char* const folder : {"/proc", "/sys"})
        fs::create_directory_symlink(folder, mDesktop.Folder() / "user/applications" / (folder + 1));
    const EntryListing listing = ListEntries(mDesktop.DataFolders());
    EXPECT_THAT(List(), ElementsAre("user/applications/z.desktop"));
    // Those that are given, and the two, which aren't read.
    EXPECT_THAT(listing.mFolders, testing::SizeIs(4));
}

TEST_F(EntryFiles, MayBeLinks) {
    Touch("elsewhere/a.desktop");
    fs::create_symlink(mDesktop.Folder() / "elsewhere/a.desktop", mDesktop.EntryPath("link"));
    fs::create_directory_symlink(mDesktop.Folder() / "elsewhere",
                                 mDesktop.Folder() / "user/applications/more");
    EXPECT_THAT(List(), ElementsAre("user/applications/link.desktop", "user/applications/more/a.desktop"));
}

TEST_F(EntryFiles, AreLookedForOnlySoDeep) {
    std::string folder = "user/applications";
    for (int i = 0; i != 10; ++i) {
        folder += "/d";
        Touch(folder + "/x.desktop");
    }
    EXPECT_EQ(List().size(), 7U);
}

TEST_F(EntryFiles, FoldersThatAreNotThereAreRemembered) {
    const auto listing = ListEntries({(mDesktop.Folder() / "none").string()});
    ASSERT_EQ(listing.mFolders.size(), 1U);
    EXPECT_EQ(listing.mFolders[0].mState, FileState());
}

TEST_F(EntryFiles, ThatAreNoRegularFilesAreNotRead) {
    const std::string pipe = (mDesktop.Folder() / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ReadSmallFile(pipe, 100), std::nullopt);
    EXPECT_EQ(ReadSmallFile(mDesktop.Folder().string(), 100), std::nullopt);
    EXPECT_EQ(ReadSmallFile((mDesktop.Folder() / "none").string(), 100), std::nullopt);
}

TEST_F(EntryFiles, AreNotTakenForMissingWhenTheyCannotBeReadNow) {
    const std::string file = mDesktop.WriteEntry("a", "A-1", "app").string();
    const NoDescriptors none;
    EXPECT_THROW((void)ReadSmallFile(file, 1000), std::system_error);
    EXPECT_THROW((void)ReadBeginning(file, 10), std::system_error);
}

TEST_F(EntryFiles, InFoldersThatCannotBeReadNowAreNotDoneWith) {
    Touch("user/applications/a.desktop");
    ASSERT_TRUE(Await([&] { return ListEntries(mDesktop.DataFolders()).mFolders.front().mIsSettled; }));
    const NoDescriptors none;
    EXPECT_FALSE(ListEntries(mDesktop.DataFolders()).mFolders.front().mIsSettled);
}

TEST_F(EntryFiles, InFoldersOfOthersAreDoneWith) {
    Touch("user/applications/a.desktop");
    fs::permissions(mDesktop.Folder(), fs::perms{0711});
    fs::permissions(mDesktop.Folder() / "user/applications", fs::perms::none);
    // The superuser may read everything, so it becomes somebody else here.
    ::setfsuid(65534);
    EXPECT_TRUE(Await([&] { return ListEntries(mDesktop.DataFolders()).mFolders.front().mIsSettled; }));
    EXPECT_THAT(List(), testing::IsEmpty());
    ::setfsuid(::geteuid());
    fs::permissions(mDesktop.Folder() / "user/applications", fs::perms::owner_all);
}

TEST_F(EntryFiles, ThatAreTooLargeAreNotRead) {
    const fs::path file = mDesktop.Folder() / "file";
    WriteFile(file, std::string(20000, 'x'));
    EXPECT_EQ(ReadSmallFile(file.string(), 20000), std::string(20000, 'x'));
    EXPECT_EQ(ReadSmallFile(file.string(), 19999), std::nullopt);
}

}  // namespace
}  // namespace orvane::plexa::control
