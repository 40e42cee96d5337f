// Memory that runs out inside the six functions.
#include <gmock/gmock.h>

#include <array>
#include <string>

#include "PlexaControl/Controller.h"
#include "doubles/NuocoreWatch.h"
#include "nuoplexasupport/Applications.h"
#include "support/FailingMemory.h"

namespace nuoplexasupport {
namespace {

using support::FailEverywhere;

/// A control library that needs no memory and counts what is out.
class Control final : public orvane::plexa::api5::IPlexaController {
  public:
    void Reserved0() override {}
    void Reserved1() override {}
    void Reserved3() override {}
    void Reserved9() override {}
    bool LaunchApp(const char*, bool, const char*, void*) override { return true; }
    int GetProcessId(const char*, void*) override { return 1; }
    bool CheckAppInstalled(const char*, void*) override { return true; }
    bool GetAppPath(const char*, const char** outPath, void*) override {
        ++mPaths;
        *outPath = mPath;
        return true;
    }
    void ReleaseAppPath(const char*) override { --mPaths; }
    bool GetTargetSpecifierList(const char*** outSpecifiers, std::size_t* outCount, void*) override {
        ++mLists;
        *outSpecifiers = mSpecifiers.data();
        *outCount = mSpecifiers.size();
        return true;
    }
    void ReleaseTargetSpecifierList(const char**, std::size_t) override { --mLists; }

    long mInstances = 0;
    long mPaths = 0;
    long mLists = 0;
    const char* mPath = "/opt/a path that is longer than any string keeps without memory of its own";
    std::array<const char*, 2> mSpecifiers{
        "an app id that is longer than any string keeps without memory of its own",
        "another app id that is longer than any string keeps without memory"};
} sControl;

TEST(Memory, EverythingIsGivenBackWhicheverAllocationFails) {
    TargetSpecifiers specifiers;
    const std::string id = "A-1";
    EXPECT_GT(FailEverywhere([&] { GetTargetSpecifiers(specifiers); }), 3);
    EXPECT_GT(FailEverywhere([&] { (void)GetInstalledAppPath(id); }), 0);
    // One is retained.
    EXPECT_EQ(sControl.mInstances, 1);
    EXPECT_EQ(sControl.mPaths, 0);
    EXPECT_EQ(sControl.mLists, 0);
}

TEST(Memory, ATimerThatCannotWriteItsEndLeavesThePathAlone) {
    const doubles::TraceWatch watch("nuoplexasupport.GetAppPath=6");
    sControl.mPath = "/opt";
    int complete = 0;
    FailEverywhere([&] {
        if (GetInstalledAppPath("A-1") == u"/opt") ++complete;
    });
    // Once with all the memory, and more than once without the line.
    EXPECT_GT(complete, 1);
    EXPECT_EQ(sControl.mInstances, 1);
    EXPECT_EQ(sControl.mPaths, 0);
}

}  // namespace
}  // namespace nuoplexasupport

namespace orvane::plexa::api5 {

PlexaControlErrorCode IPlexaController::GetInstance(IPlexaController** outController) noexcept {
    ++nuoplexasupport::sControl.mInstances;
    *outController = &nuoplexasupport::sControl;
    return kPlexaControlErrorCode_None;
}

void IPlexaController::ReleaseInstance() noexcept { --nuoplexasupport::sControl.mInstances; }

}  // namespace orvane::plexa::api5
