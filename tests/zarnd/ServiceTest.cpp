// Installations, as hosts ask for them.
#include <gmock/gmock.h>
#include <algorithm>
#include <chrono>
#include <csignal>

#include "support/ServingFixture.h"

namespace zarnd_test {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;

TEST_F(Serving, InstallsAModuleAndTellsTheWayThere) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
    EXPECT_THAT(host->Output(), StartsWith("QRTX 20.0 KQ7L progress 0\n"));
    const auto percentages = Percentages(host->Output());
    EXPECT_TRUE(std::is_sorted(percentages.begin(), percentages.end())) << host->Output();
    EXPECT_EQ(percentages.back(), 100);
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
    // Again: it is there already.
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    // And again when it isn't whole any more.
    Write(mDesk.Files("KQ7L") / "text", "other");
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
}

TEST_F(Serving, InstallsOnceWhatTwoHostsAskForAndWhatIsNeededFirst) {
    Gate gate(kArchive);
    ModuleSpec top = Named("TOP", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")));
    top.mNeeds = {"BASE"};
    mDesk.Offer({top, Named("BASE", ModuleOf(kArchive, gate.Server().Address()))});
    mDesk.StartService();
    const auto one = mDesk.Host("TOP", "ONE");
    const auto two = mDesk.Host("TOP", "TWO");
    EXPECT_TRUE(one->AwaitOutput("progress"));
    EXPECT_TRUE(two->AwaitOutput("progress"));
    EXPECT_FALSE(fs::exists(mDesk.Files("TOP")));
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*one), "QRTX 20.0 TOP completed");
    EXPECT_EQ(mDesk.EndOf(*two), "QRTX 20.0 TOP completed");
    EXPECT_LE(gate.Server().Questions(), 2);  // the second for the rest
    EXPECT_EQ(Read(mDesk.Files("BASE") / "text"), "words");
}

TEST_F(Serving, CancelsForReal) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress 50")) << host->Output();
    host->Signal(SIGINT);
    EXPECT_EQ(host->Wait(), 0);
    EXPECT_THAT(host->Output(), HasSubstr("QRTX 20.0 KQ7L cancelled\n"));
    EXPECT_THAT(host->Output(), Not(HasSubstr("completed")));
    gate.Open();
    mDesk.Service().Signal(SIGTERM);
    EXPECT_EQ(mDesk.Service().Wait(), 0);
    EXPECT_FALSE(fs::exists(mDesk.Data() / "modules" / "QRTX" / "KQ7L" / "current"));
}

TEST_F(Serving, ServesTheLibrarysOwnOperation) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    const auto download = [&](const std::string& inModule) {
        const auto run = support::Run(
            {{DOWNLOAD_PROGRAM, "QRTX", "20.0", inModule}, mDesk.Bus().Environment(BROKER_BASE)});
        EXPECT_EQ(run.mExitCode, 0) << run.mErrors;
        return run.mOutput;
    };
    EXPECT_THAT(download("KQ7L"), AllOf(StartsWith("KQ7L 0\n"), EndsWith("KQ7L 1\ninstalled\n")));
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "words");
    EXPECT_EQ(download("OTHER"), "Failed to download the requested module (0xA00F0001)\n");
    // An id that nobody has is echoed as the host wrote it, or the future would never end.
    EXPECT_THAT(download("tab\tand\nline"), HasSubstr("Failed to download"));
    EXPECT_THAT(download(std::string(8000, 'x')), HasSubstr("Failed to download"));
}

TEST_F(Serving, ShowsTheWayOfARepair) {
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    Write(mDesk.Files("KQ7L") / "text", "other");
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    const auto host = mDesk.Host("KQ7L");
    EXPECT_TRUE(host->AwaitOutput("progress 50")) << host->Output();
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
}

TEST_F(Serving, TellsAtMostTwentyStepsASecond) {
    // Some tenths of a second, in which there are a hundred steps.
    const std::string kLarge = MakeArchive({{Entry::Kind::kFile, "noise", Noise(60'000'000)}});
    mDesk.Offer({ModuleOf(kLarge, mDesk.Store(kLarge, "a.tar"))});
    mDesk.StartService();
    const auto begin = std::chrono::steady_clock::now();
    const auto host = mDesk.Host("KQ7L");
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    const auto percentages = Percentages(host->Output());
    EXPECT_LE(static_cast<double>(percentages.size()), 20 * time.count() + 2);  // and the first and the last
}

}  // namespace zarnd_test
