// Memory that runs out inside the six functions. A program of its own, because every allocation passes here.
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "PlexaControl/Controller.h"
#include "doubles/NuocoreWatch.h"
#include "nuoplexasupport/Applications.h"

namespace {

/// So many allocations of this thread succeed, then one fails; none does while it is negative.
thread_local int sCountdown = -1;

void* Allocate(std::size_t inBytes) {
    void* memory = sCountdown >= 0 && sCountdown-- == 0 ? nullptr : std::malloc(inBytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

// Not inlined: the compiler would see one half of a pair and take it for a mistake.
[[gnu::noinline]] void* operator new(std::size_t inBytes) { return Allocate(inBytes + 1); }
[[gnu::noinline]] void operator delete(void* inMemory) noexcept { std::free(inMemory); }
[[gnu::noinline]] void operator delete(void* inMemory, std::size_t) noexcept { std::free(inMemory); }

namespace nuoplexasupport {
namespace {

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

// How often inCall threw, while ever later allocations fail.
int FailEverywhere(const std::function<void()>& inCall) {
    int thrown = 0;
    for (int successes = 0;; ++successes) {
        sCountdown = successes;
        bool threw = false;
        try {
            inCall();
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        const bool ranOut = std::exchange(sCountdown, -1) < 0;
        if (threw) ++thrown;
        // The timer's own failures aren't told.
        if (!ranOut) return thrown;
    }
}

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
