// The search on this system: real environment, real files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "transport/BrokerLocation.h"

namespace nuoplexasupport {
namespace {

namespace fs = std::filesystem;
using doubles::BrokerFile;

void WriteFile(const fs::path& inPath, const std::string& inText) {
    fs::create_directories(inPath.parent_path());
    std::ofstream(inPath) << inText;
}

class BrokerKeyFile : public testing::Test {
  protected:
    fs::path UserKey() const { return mNone.Folder() / "config/orvane/plexa/5.0"; }
    fs::path SystemKey() const { return mNone.Folder() / "etc/orvane/plexa/5.0"; }
    fs::path MakeBroker(const std::string& inFolder = "opt") const {
        const fs::path path = mNone.Folder() / inFolder / "OrvaneIPCBroker.exe";
        WriteFile(path, "x");
        return path;
    }
    BrokerFile mNone{false};
};

TEST_F(BrokerKeyFile, NothingAnywhereGivesSixWithoutAWord) {
    const doubles::TraceWatch trace("*=9");
    const doubles::LogWatch log;
    const doubles::AssertionWatch assertions;
    EXPECT_EQ(LocateBroker(), 6);
    EXPECT_THAT(trace.Lines(), testing::IsEmpty());
    EXPECT_THAT(log.Records(), testing::IsEmpty());
    EXPECT_THAT(assertions.Records(), testing::IsEmpty());
}

TEST_F(BrokerKeyFile, EitherStandardLocationIsFound) {
    for (const char* variable : {"CommonProgramFiles(x86)", "CommonProgramFiles"}) {
        const BrokerFile none(false);
        const fs::path base = none.Folder() / "base";
        WriteFile(base / "Orvane/Orvane Desktop Common/IPCBox/OrvaneIPCBroker.exe", "x");
        EXPECT_EQ(LocateBroker(), 6);
        ::setenv(variable, base.c_str(), 1);
        EXPECT_EQ(LocateBroker(), 0) << variable;
    }
}

TEST_F(BrokerKeyFile, TheUsersKeyFileIsRead) {
    WriteFile(UserKey(), "# a comment\nOther=1\nOrvaneIPCBroker=" + MakeBroker().string() + "\n");
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerKeyFile, TheSystemsKeyFileIsReadWhenTheUserHasNone) {
    WriteFile(SystemKey(), "OrvaneIPCBroker=" + MakeBroker().string());
    EXPECT_EQ(LocateBroker(), 0);
    WriteFile(UserKey(), "OrvaneIPCBroker=/nowhere/OrvaneIPCBroker.exe\n");
    EXPECT_EQ(LocateBroker(), 6);
}

TEST_F(BrokerKeyFile, WithoutADirectoryOfItsOwnTheHomesIsUsed) {
    ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("HOME", mNone.Folder().c_str(), 1);
    WriteFile(mNone.Folder() / ".config/orvane/plexa/5.0", "OrvaneIPCBroker=" + MakeBroker().string() + "\n");
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerKeyFile, WithoutAHomeTheSystemsFilesAreLeft) {
    // A process that has no home must not look into the root folder or its own.
    const fs::path before = fs::current_path();
    fs::current_path(mNone.Folder());
    WriteFile(mNone.Folder() / ".config/orvane/plexa/5.0", "OrvaneIPCBroker=" + MakeBroker().string());
    ::unsetenv("XDG_CONFIG_HOME");
    for (const char* home : {"", static_cast<const char*>(nullptr), ".", "relative"}) {
        if (home != nullptr) {
            ::setenv("HOME", home, 1);
        } else {
            ::unsetenv("HOME");
        }
        fs::remove(SystemKey());
        EXPECT_EQ(LocateBroker(), 6);
        WriteFile(SystemKey(), "OrvaneIPCBroker=" + MakeBroker().string());
        EXPECT_EQ(LocateBroker(), 0);
    }
    fs::current_path(before);
}

TEST_F(BrokerKeyFile, ARelativeDirectoryOfTheUsersIsIgnored) {
    const fs::path before = fs::current_path();
    fs::current_path(mNone.Folder());
    WriteFile(UserKey(), "OrvaneIPCBroker=" + MakeBroker().string());
    ::setenv("XDG_CONFIG_HOME", "config", 1);
    EXPECT_EQ(LocateBroker(), 6);
    WriteFile(SystemKey(), "OrvaneIPCBroker=" + MakeBroker().string());
    EXPECT_EQ(LocateBroker(), 0);
    fs::current_path(before);
}

TEST_F(BrokerKeyFile, WithoutAnyVariableTheUsualFoldersAreUsed) {
    // What stands in the system's own folder is not this test's affair, so only the user's is looked at.
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"}) {
        ::unsetenv(variable);
    }
    ::setenv("HOME", mNone.Folder().c_str(), 1);
    WriteFile(mNone.Folder() / ".config/orvane/plexa/5.0", "OrvaneIPCBroker=" + MakeBroker().string());
    EXPECT_EQ(LocateBroker(), 0);
    // An empty variable counts as none.
    ::setenv("XDG_CONFIG_HOME", "", 1);
    ::setenv("XDG_CONFIG_DIRS", "", 1);
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerKeyFile, AnotherFileNameIsRefusedEvenWhenItExists) {
    const fs::path other = mNone.Folder() / "opt/orvaneipcbroker.exe";
    WriteFile(other, "x");
    WriteFile(UserKey(), "OrvaneIPCBroker=" + other.string() + "\n");
    EXPECT_EQ(LocateBroker(), 6);
}

TEST_F(BrokerKeyFile, APathOfAHundredAndThirtyUnitsIsRefused) {
    const std::size_t prefix =
        mNone.Folder().string().size() + 1 + std::string("/OrvaneIPCBroker.exe").size();
    ASSERT_LT(prefix, 129U);
    WriteFile(UserKey(), "OrvaneIPCBroker=" + MakeBroker(std::string(129 - prefix, 'd')).string() + "\n");
    EXPECT_EQ(LocateBroker(), 0);
    WriteFile(UserKey(), "OrvaneIPCBroker=" + MakeBroker(std::string(130 - prefix, 'd')).string() + "\n");
    EXPECT_EQ(LocateBroker(), 6);
    // The limit is in UTF-16 units: two bytes of one character count once.
    std::string folder;
    for (std::size_t i = 0; i < 129 - prefix; ++i) {
        folder += "\xC3\xBC";
    }
    WriteFile(UserKey(), "OrvaneIPCBroker=" + MakeBroker(folder).string() + "\n");
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerKeyFile, WhatIsNoFileIsPassedOver) {
    WriteFile(SystemKey(), "OrvaneIPCBroker=" + MakeBroker().string());
    fs::create_directories(UserKey());
    EXPECT_EQ(LocateBroker(), 0);
    fs::remove(UserKey());
    ASSERT_EQ(::mkfifo(UserKey().c_str(), 0600), 0);
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerKeyFile, RelativeFoldersAreIgnoredAndSeveralAreTriedInOrder) {
    ::setenv(
        "XDG_CONFIG_DIRS",
        ("relative:" + (mNone.Folder() / "none").string() + ":" + (mNone.Folder() / "etc").string()).c_str(),
        1);
    WriteFile(SystemKey(), "OrvaneIPCBroker=" + MakeBroker().string());
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerKeyFile, AHostileKeyFileIsReadInABoundedWay) {
    WriteFile(UserKey(), std::string(1 << 20, 'x'));
    EXPECT_EQ(LocateBroker(), 6);
    WriteFile(UserKey(), "OrvaneIPCBroker=" + std::string(100000, '/') + "OrvaneIPCBroker.exe\n");
    EXPECT_EQ(LocateBroker(), 6);
}

}  // namespace
}  // namespace nuoplexasupport
