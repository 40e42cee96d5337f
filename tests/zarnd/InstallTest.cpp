#include <gmock/gmock.h>

#include <algorithm>
#include <mutex>

#include "support/HttpServer.h"
#include "support/InstallFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

TEST_F(Installing, BringsFilesAndARecordOfThem) {
    ModuleSpec module = ModuleOf(kNew, Address(kNew));
    module.mNeeds = {"BASE"};
    Run(module);
    EXPECT_EQ(Text(), "new");
    const auto manifest = mStore.Installed("QRTX", "KQ7L");
    ASSERT_TRUE(manifest);
    EXPECT_EQ(manifest->mVersion, "1.0");
    EXPECT_EQ(manifest->mArchiveSha256, module.mSha256);
    EXPECT_THAT(manifest->mNeeds, ElementsAre("BASE"));
    EXPECT_EQ(manifest->Size(), 90'003U);
    EXPECT_EQ(ReadManifest(WriteManifest(*manifest)), *manifest);
    EXPECT_EQ(mStore.List("").size(), 1U);
    EXPECT_EQ(mStore.List("OTHER").size(), 0U);
}

TEST_F(Installing, ReplacesWhatWasBeforeAndKeepsThatForHostsThatRun) {
    Run(ModuleOf(kNew, Address(kNew)));
    const fs::path before = fs::canonical(mStore.Files("QRTX", "KQ7L"));
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_EQ(Text(), "old");
    EXPECT_FALSE(fs::exists(mStore.Files("QRTX", "KQ7L") / "more"));
    EXPECT_EQ(Read(before / "text"), "new");
    EXPECT_EQ(CountEntries(), 3U);
    const fs::path then = fs::canonical(mStore.Files("QRTX", "KQ7L"));
    Run(ModuleOf(kNew, Address(kNew)));
    EXPECT_FALSE(fs::exists(before));
    EXPECT_TRUE(fs::exists(then));
    EXPECT_EQ(CountEntries(), 3U);
    mStore.Sweep();
    EXPECT_EQ(Text(), "new");
    EXPECT_EQ(CountEntries(), 2U);
}

TEST_F(Installing, GoesOnAndBeginsAnewAsTheServerAllows) {
    for (const bool hasRanges : {true, false}) {
        HttpServer server([&](const Question& inQuestion) {
            Answer answer = hasRanges ? Content(inQuestion, kNew) : Answer{200, kNew, {"ETag: \"one\""}};
            if (inQuestion.mNumber == 0) answer.mCutAfter = 50'000;
            return answer;
        });
        mSettings.mRetry.mFirstDelay = std::chrono::milliseconds(1);
        Run(ModuleOf(kNew, server.Address()));
        EXPECT_EQ(server.Questions(), 2);
        EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty());
        mStore.Remove("QRTX", "KQ7L");
    }
}

TEST_F(Installing, TellsSharesThatReachTheWhole) {
    const std::string archive = MakeArchive({{Entry::Kind::kFile, "a", Noise(2'000'000)}});
    std::mutex mutex;
    double most = 0;
    const InstallWatch watch{[](InstallStep) {},
                             [&](double inShare) {
                                 const std::lock_guard lock(mutex);
                                 most = std::max(most, inShare);
                             }};
    Install("QRTX", ModuleOf(archive, Address(archive)), mStore, mSettings, mConflicts, watch, {});
    EXPECT_GT(most, 0.9);
    EXPECT_LE(most, 1.0);
}

TEST_F(Installing, RefusesBesideConflictingProgramsAtTheBeginAndBeforeTheSwitch) {
    ModuleSpec module = ModuleOf(kNew, Address(kNew));
    module.mConflicts = {"editor", "viewer", "player"};
    bool isRunning = true;
    mConflicts = [&](const std::vector<std::string>& inNames) {
        return isRunning ? std::vector{inNames[0], inNames[2]} : std::vector<std::string>();
    };
    EXPECT_EQ(CodeOf(module), ErrorCode::kConflictingProcesses);
    EXPECT_EQ(mSentence, "editor,player");
    isRunning = false;
    mOnStep = [&](InstallStep inStep) { isRunning = inStep == InstallStep::kCompleting; };
    EXPECT_EQ(CodeOf(module), ErrorCode::kConflictingProcesses);
    EXPECT_FALSE(mStore.Installed("QRTX", "KQ7L"));
    mOnStep = nullptr;
    isRunning = false;
    EXPECT_EQ(CodeOf(module), std::nullopt);
}

}  // namespace zarnd_test
