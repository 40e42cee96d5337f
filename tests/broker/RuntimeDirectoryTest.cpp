#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TemporaryDirectory.h"
#include "wire/RuntimeDirectory.h"

using namespace orvane::plexa::wire;

namespace {

TEST(RuntimeDirectory, IsTheOneSetForThisSystemElseTheUsersElseOneInTmp) {
    EXPECT_EQ(RuntimeDirectoryPath("/a/b", "/run/user/7", 7), "/a/b");
    EXPECT_EQ(RuntimeDirectoryPath(nullptr, "/run/user/7", 7), "/run/user/7/plexa");
    EXPECT_EQ(RuntimeDirectoryPath(nullptr, nullptr, 7), "/tmp/plexa-7");
}

TEST(RuntimeDirectory, IgnoresEmptyAndRelativeSettingsAndSlashesAtTheEnd) {
    EXPECT_EQ(RuntimeDirectoryPath("", "", 7), "/tmp/plexa-7");
    EXPECT_EQ(RuntimeDirectoryPath("here", "run", 7), "/tmp/plexa-7");
    EXPECT_EQ(RuntimeDirectoryPath("/a/b//", nullptr, 7), "/a/b");
    EXPECT_EQ(RuntimeDirectoryPath("/", nullptr, 7), "/");
}

TEST(RuntimeDirectory, IsMadeForItsOwnerOnly) {
    const TemporaryDirectory parent;
    const std::string path = parent / "plexa";
    EXPECT_EQ(EnsureRuntimeDirectory(path, ::geteuid()), "");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(EnsureRuntimeDirectory(path, ::geteuid()), "") << "the second time it is there already";
}

TEST(RuntimeDirectory, OfAnotherUserIsRefused) {
    const TemporaryDirectory directory;
    EXPECT_NE(EnsureRuntimeDirectory(directory.Path(), ::geteuid() + 1).find("belongs to user"),
              std::string::npos);
}

TEST(RuntimeDirectory, ThatOthersCanWriteToIsRefused) {
    const TemporaryDirectory directory;
    for (const mode_t mode : {0770U, 0707U}) {
        ASSERT_EQ(::chmod(directory.Path().c_str(), mode), 0);
        EXPECT_NE(EnsureRuntimeDirectory(directory.Path(), ::geteuid()).find("chmod 700"), std::string::npos);
    }
    ASSERT_EQ(::chmod(directory.Path().c_str(), 0711), 0);
    EXPECT_EQ(EnsureRuntimeDirectory(directory.Path(), ::geteuid()), "");
}

TEST(RuntimeDirectory, ThatIsALinkOrAFileOrWithoutParentIsRefused) {
    const TemporaryDirectory parent;
    std::filesystem::create_directory(parent / "real");
    std::filesystem::create_directory_symlink(parent / "real", parent / "link");
    EXPECT_NE(EnsureRuntimeDirectory(parent / "link", ::geteuid()), "");
    ASSERT_EQ(::mknod((parent / "file").c_str(), S_IFREG | 0600, 0), 0);
    EXPECT_NE(EnsureRuntimeDirectory(parent / "file", ::geteuid()), "");
    EXPECT_NE(EnsureRuntimeDirectory(parent / "missing/plexa", ::geteuid()).find("cannot make"),
              std::string::npos);
}

TEST(RuntimeDirectory, TooLongForASocketIsRefusedBeforeItIsMade) {
    const TemporaryDirectory parent;
    const std::string path = parent / std::string(100, 'x');
    EXPECT_NE(EnsureRuntimeDirectory(path, ::geteuid()).find("too long"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
