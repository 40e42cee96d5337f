// Installations that fail, are cancelled, or killed.
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>

#include "support/ChildProcess.h"
#include "support/HttpServer.h"
#include "support/InstallFixture.h"

namespace zarnd_test {

using testing::IsEmpty;
namespace fs = std::filesystem;

// No descriptor is to be had any more: the folder can't be opened to wait for the disk.
TEST_F(Installing, IsDoneOnceItHasBeenSwitched) {
    const std::string old = Address(kOld, "old.tar");
    const std::string fresh = Address(kNew, "new.tar");
    Run(ModuleOf(kOld, old));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    mOnStep = [&](InstallStep inStep) {
        rlimit limit = before;
        if (inStep == InstallStep::kSwitching) limit.rlim_cur = 0;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    };
    EXPECT_EQ(CodeOf(ModuleOf(kNew, fresh)), std::nullopt);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(Text(), "new");
    EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty());
}

TEST_F(Installing, LeavesNoFolderWhenTheFirstOneFails) {
    const std::string broken = kNew.substr(0, 40'000);
    EXPECT_EQ(CodeOf(ModuleOf(broken, Address(broken))), ErrorCode::kArchiveBroken);
    EXPECT_TRUE(fs::is_empty(mRoot));
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_TRUE(mStore.Remove("QRTX", "KQ7L"));
    EXPECT_TRUE(fs::is_empty(mRoot));
}

TEST_F(Installing, LeavesTheOldStateWhateverFails) {
    Run(ModuleOf(kOld, Address(kOld)));
    const auto expect = [&](const ModuleSpec& inModule, ErrorCode inCode) {
        EXPECT_EQ(CodeOf(inModule), inCode);
        EXPECT_EQ(Text(), "old");
        EXPECT_EQ(CountEntries(), 2U);
    };
    ModuleSpec module = ModuleOf(kNew, Address(kNew));
    module.mSha256[0] = module.mSha256[0] == 'a' ? 'b' : 'a';
    expect(module, ErrorCode::kOtherDigest);
    module = ModuleOf(kNew, Address(kNew));
    module.mSize += 1;
    expect(module, ErrorCode::kOtherSize);
    module = ModuleOf(kNew, Address(kNew));
    module.mUnpackedSize = 1000;
    expect(module, ErrorCode::kArchiveTooLarge);
    expect(ModuleOf(kNew, "file:///nonexistent"), ErrorCode::kRefused);
    const std::string evil =
        MakeArchive({{Entry::Kind::kFile, "text", "evil"}, {Entry::Kind::kFile, "../../../x", "x"}});
    expect(ModuleOf(evil, Address(evil)), ErrorCode::kArchiveUnsafe);
    const std::string half = kNew.substr(0, 40'000);
    expect(ModuleOf(half, Address(half)), ErrorCode::kArchiveBroken);
    EXPECT_FALSE(fs::exists(mRoot / "QRTX" / "x"));
}

TEST_F(Installing, BlamesTheDigestWhereItExplainsTheRest) {
    ModuleSpec module = ModuleOf(kNew, Address(Noise(kNew.size())));
    EXPECT_EQ(CodeOf(module), ErrorCode::kOtherDigest);
}

TEST_F(Installing, IsCancelledAtAnyTimeBeforeTheSwitch) {
    Run(ModuleOf(kOld, Address(kOld)));
    for (const InstallStep step : {InstallStep::kFetching, InstallStep::kCompleting}) {
        std::stop_source stop;
        mOnStep = [&](InstallStep inStep) {
            if (inStep == step) stop.request_stop();
        };
        EXPECT_THROW(Run(ModuleOf(kNew, Address(kNew)), stop.get_token()), Cancelled);
        EXPECT_EQ(Text(), "old");
        EXPECT_EQ(CountEntries(), 2U);
    }
}

TEST_F(Installing, IsCancelledInTheMiddleOfAStreamThatStands) {
    HttpServer server(Stalled(kNew, 50'000));
    std::stop_source stop;
    const InstallWatch watch{[](InstallStep) {}, [&](double) { stop.request_stop(); }};
    EXPECT_THROW(Install("QRTX", ModuleOf(kNew, server.Address()), mStore, mSettings, mConflicts, watch,
                         stop.get_token()),
                 Cancelled);
    EXPECT_EQ(CountEntries(), 0U);
}

TEST_F(Installing, SaysThatTheDiskIsFullAndLeavesNothing) {
    const std::string archive = MakeArchive({{Entry::Kind::kFile, "big", Noise(std::size_t{32} << 20U)}});
    fs::create_directories(mRoot);
    if (::mount("none", mRoot.c_str(), "tmpfs", 0, "size=4m") != 0) {
        GTEST_SKIP()
            << "NOT TESTED: what becomes of a full disk. A small file system must be mounted for it, which "
               "only root may";
    }
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_EQ(CodeOf(ModuleOf(archive, Address(archive))), ErrorCode::kDiskFull);
    EXPECT_EQ(Text(), "old");
    // It doesn't bring the rest for nothing, and so never learns that the digest would have been wrong.
    ModuleSpec wrong = ModuleOf(archive, Address(archive));
    wrong.mSha256 = std::string(64, '0');
    EXPECT_EQ(CodeOf(wrong), ErrorCode::kDiskFull);
    EXPECT_EQ(CountEntries(), 2U);
    EXPECT_EQ(::umount(mRoot.c_str()), 0);
}

// A process that installs and is killed at a step, or in the middle of the archive.
TEST_F(Installing, LeavesTheOldOrTheNewStateWhenItIsKilled) {
    const std::string old = Address(kOld, "old.tar");
    const std::string fresh = Address(kNew, "new.tar");
    for (const char* const step : {"fetching", "middle", "completing", "switching", "installed"}) {
        Run(ModuleOf(kOld, old));
        const auto killed = support::Run(
            {{INSTALL_PROGRAM, mRoot.string(), fresh, DigestOf(kNew), std::to_string(kNew.size()), step}});
        ASSERT_EQ(killed.mExitCode, 128 + SIGKILL) << step << killed.mErrors;
        EXPECT_EQ(Text(), std::string(step) == "installed" ? "new" : "old") << step;
        EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty()) << step;
        mStore.Sweep();
        EXPECT_EQ(CountEntries(), 2U) << step;
        Run(ModuleOf(kNew, fresh));
        EXPECT_EQ(Text(), "new") << step;
    }
}

}  // namespace zarnd_test
