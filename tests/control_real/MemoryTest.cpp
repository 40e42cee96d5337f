// Memory that runs out inside the controller: an operation then fails, and nothing is lost.
#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <string>

#include "PlexaControl/PlexaControl.h"
#include "PrivateDesktop.h"
#include "nuocore/Trace.h"
#include "support/FailingMemory.h"

namespace orvane::plexa::control {
namespace {

using api5::IPlexaController;

// The environment is looked at once in a process, so all tests share a desktop.
PrivateDesktop& Desktop() {
    static PrivateDesktop sDesktop;
    return sDesktop;
}

class ControllerMemory : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        ::setenv("XDG_DATA_HOME", (Desktop().Folder() / "user").c_str(), 1);
        ::setenv("XDG_DATA_DIRS", (Desktop().Folder() / "system").c_str(), 1);
        Desktop().WriteEntry("a", "an app id that is longer than a string keeps without memory", "/bin/sh");
        Desktop().WriteEntry("b", "B-1", "/bin/sh");
        Desktop().WriteEntry("broken", "C-1", "'open");
        // Trouble is told, with what memory there is.
        nuocore::debug::SetTraceSink([](int, std::string_view, std::string_view) {});
        nuocore::debug::SetTraceRules("PlexaControl=1");
    }

    // Whether it succeeds, with a controller that knows nothing yet.
    static bool WithController(const std::function<bool(IPlexaController&)>& inOperation) {
        IPlexaController* controller = nullptr;
        if (IPlexaController::GetInstance(&controller) != api5::kPlexaControlErrorCode_None) return false;
        const bool succeeds = inOperation(*controller);
        IPlexaController::ReleaseInstance();
        return succeeds;
    }
    // How often it fails while ever later allocations do, and whether it then gives back all.
    static void FailEverywhere(const std::function<bool(IPlexaController&)>& inOperation, int inFailures) {
        // What is made once for good isn't to be given back.
        EXPECT_TRUE(WithController(inOperation));
        const long before = support::LiveAllocations();
        int failed = 0;
        bool succeeded = false;
        EXPECT_EQ(support::FailEverywhere(
                      [&] {
                          succeeded = WithController(inOperation);
                          if (!succeeded) ++failed;
                      },
                      inFailures),
                  0);
        EXPECT_TRUE(succeeded);
        EXPECT_GT(failed, 10);
        EXPECT_EQ(support::LiveAllocations(), before);
    }
    static void FailEverywhere(const std::function<bool(IPlexaController&)>& inOperation) {
        FailEverywhere(inOperation, 1);
        // So that there is none for telling it either.
        FailEverywhere(inOperation, std::numeric_limits<int>::max());
    }
};

TEST_F(ControllerMemory, IsGivenBackWhenAPathCannotBeTold) {
    FailEverywhere([](IPlexaController& ioController) {
        const char* path = nullptr;
        const bool succeeds = ioController.GetAppPath("B-1", &path, nullptr);
        ioController.ReleaseAppPath(path);
        return succeeds;
    });
}

TEST_F(ControllerMemory, IsGivenBackWhenTheListCannotBeMade) {
    FailEverywhere([](IPlexaController& ioController) {
        const char** list = nullptr;
        std::size_t count = 0;
        const bool succeeds = ioController.GetTargetSpecifierList(&list, &count, nullptr) && count == 2;
        ioController.ReleaseTargetSpecifierList(list, count);
        return succeeds;
    });
}

TEST_F(ControllerMemory, IsGivenBackWhenProcessesCannotBeLookedFor) {
    FailEverywhere([](IPlexaController&) {
        const char* const id = "B-1";
        int process = 0;
        return IPlexaController::GetProcessIds(&id, 1, &process) == api5::kPlexaControlErrorCode_None;
    });
}

}  // namespace
}  // namespace orvane::plexa::control
