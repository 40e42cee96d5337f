// The controller as hosts meet it.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "PlexaControl/PlexaControl.h"
#include "PrivateDesktop.h"
#include "doubles/NuocoreWatch.h"

namespace orvane::plexa::control {
namespace {

namespace fs = std::filesystem;
using api5::IPlexaController;
using testing::ElementsAre;

// The environment is looked at once in a process, so all tests share a desktop.
PrivateDesktop& Desktop() {
    static PrivateDesktop sDesktop;
    return sDesktop;
}

class Controller : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        const fs::path relative = fs::relative(Desktop().Folder() / "relative");
        fs::create_directories(Desktop().Folder() / "relative/applications");
        fs::rename(Desktop().WriteEntry("r", "R-1", "/bin/sh"),
                   Desktop().Folder() / "relative/applications/r.desktop");
        ::setenv("XDG_DATA_HOME", (Desktop().Folder() / "user").c_str(), 1);
        // What isn't absolute doesn't count, wherever this process may be.
        ::setenv("XDG_DATA_DIRS",
                 (relative.string() + ":" + (Desktop().Folder() / "system").string()).c_str(), 1);
    }
    Controller() {
        EXPECT_EQ(IPlexaController::GetInstance(&mController), api5::kPlexaControlErrorCode_None);
    }
    ~Controller() override { IPlexaController::ReleaseInstance(); }

    std::vector<std::string> Specifiers() {
        const char** list = nullptr;
        std::size_t count = 0;
        EXPECT_TRUE(mController->GetTargetSpecifierList(&list, &count, nullptr));
        std::vector<std::string> specifiers(list, list + count);
        mController->ReleaseTargetSpecifierList(list, count);
        return specifiers;
    }

    IPlexaController* mController = nullptr;
};

TEST_F(Controller, ListsApplicationsInTheOrderOfTheirIds) {
    Desktop().WriteEntry("x", "B-1", "/bin/sh");
    Desktop().WriteEntry("y", "A-1", "/bin/sh", {}, true);
    EXPECT_THAT(Specifiers(), ElementsAre("A-1", "B-1"));
    for (const std::string& id : Specifiers()) {
        EXPECT_TRUE(mController->CheckAppInstalled(id.c_str(), nullptr));
        const char* path = nullptr;
        ASSERT_TRUE(mController->GetAppPath(id.c_str(), &path, nullptr));
        EXPECT_EQ(path, fs::canonical("/bin/sh").string());
        mController->ReleaseAppPath(path);
    }
    fs::remove(Desktop().EntryPath("x"));
    fs::remove(Desktop().EntryPath("y", true));
    EXPECT_THAT(Specifiers(), testing::IsEmpty());
}

TEST_F(Controller, KnowsNothingOfWhatIsNotInstalled) {
    EXPECT_FALSE(mController->CheckAppInstalled("none", nullptr));
    EXPECT_EQ(mController->GetProcessId("none", nullptr), 0);
    EXPECT_FALSE(mController->LaunchApp("none", true, "", nullptr));
    const char* path = "left alone";
    EXPECT_FALSE(mController->GetAppPath("none", &path, nullptr));
    EXPECT_STREQ(path, "left alone");
}

TEST_F(Controller, RefusesNull) {
    Desktop().WriteEntry("x", "B-1", "/bin/true");
    EXPECT_FALSE(mController->CheckAppInstalled(nullptr, nullptr));
    EXPECT_EQ(mController->GetProcessId(nullptr, nullptr), 0);
    EXPECT_FALSE(mController->LaunchApp(nullptr, true, "", nullptr));
    EXPECT_FALSE(mController->LaunchApp("B-1", true, nullptr, nullptr));
    EXPECT_FALSE(mController->GetAppPath("B-1", nullptr, nullptr));
    const char* path = nullptr;
    EXPECT_FALSE(mController->GetAppPath(nullptr, &path, nullptr));
    const char** list = nullptr;
    std::size_t count = 0;
    EXPECT_FALSE(mController->GetTargetSpecifierList(nullptr, &count, nullptr));
    EXPECT_FALSE(mController->GetTargetSpecifierList(&list, nullptr, nullptr));
    mController->ReleaseAppPath(nullptr);
    mController->ReleaseTargetSpecifierList(nullptr, 3);
    EXPECT_EQ(IPlexaController::GetInstance(nullptr), api5::kPlexaControlErrorCode_InvalidParameter);
    fs::remove(Desktop().EntryPath("x"));
}

TEST_F(Controller, StartsWhatDoesNotRunAndKeepsWhatDoes) {
    const std::string program = Desktop().MakeSleeper("sleeper").string();
    Desktop().WriteEntry("x", "B-1", program + " 1000");
    const auto find = [&] { return mController->GetProcessId("B-1", nullptr); };
    EXPECT_TRUE(mController->LaunchApp("B-1", false, "", nullptr));
    const int first = find();
    EXPECT_NE(first, 0);
    EXPECT_TRUE(mController->LaunchApp("B-1", false, " ", nullptr));
    // Nobody would get the argument.
    EXPECT_FALSE(mController->LaunchApp("B-1", false, "1001", nullptr));
    EXPECT_FALSE(mController->LaunchApp("B-1", true, "'open", nullptr));
    ::kill(first, SIGKILL);
    EXPECT_TRUE(Await([&] { return find() == 0; }));
    EXPECT_TRUE(mController->LaunchApp("B-1", true, "", nullptr));
    EXPECT_TRUE(mController->LaunchApp("B-1", true, "", nullptr));
    const int second = find();
    ::kill(second, SIGKILL);
    EXPECT_TRUE(Await([&] { return find() != 0 && find() != second; }));
    ::kill(find(), SIGKILL);
    EXPECT_TRUE(Await([&] { return find() == 0; }));
    fs::remove(Desktop().EntryPath("x"));
}

TEST_F(Controller, TellsTheProcessesOfSeveralApplicationsAtOnce) {
    const std::string program = Desktop().MakeSleeper("several").string();
    Desktop().WriteEntry("x", "B-1", program + " 1000");
    ASSERT_TRUE(mController->LaunchApp("B-1", false, "", nullptr));
    const int id = mController->GetProcessId("B-1", nullptr);
    const std::array<const char*, 4> ids{"none", "B-1", nullptr, "B-1"};
    std::array<int, 4> processes{1, 1, 1, 1};
    EXPECT_EQ(IPlexaController::GetProcessIds(ids.data(), ids.size(), processes.data()),
              api5::kPlexaControlErrorCode_None);
    EXPECT_THAT(processes, ElementsAre(0, id, 0, id));
    EXPECT_EQ(IPlexaController::GetProcessIds(nullptr, 0, nullptr), api5::kPlexaControlErrorCode_None);
    EXPECT_EQ(IPlexaController::GetProcessIds(nullptr, 1, processes.data()),
              api5::kPlexaControlErrorCode_InvalidParameter);
    EXPECT_EQ(IPlexaController::GetProcessIds(ids.data(), 1, nullptr),
              api5::kPlexaControlErrorCode_InvalidParameter);
    {
        const NoDescriptors none;
        EXPECT_EQ(IPlexaController::GetProcessIds(ids.data(), ids.size(), processes.data()),
                  api5::kPlexaControlErrorCode_Unknown);
    }
    EXPECT_THAT(processes, ElementsAre(0, id, 0, id));
    ::kill(id, SIGKILL);
    EXPECT_TRUE(Await([&] { return mController->GetProcessId("B-1", nullptr) == 0; }));
    fs::remove(Desktop().EntryPath("x"));
}

TEST_F(Controller, TellsApplicationsThatShareAProgramApart) {
    const std::string program = Desktop().MakeSleeper("shared").string();
    Desktop().WriteEntry("x", "B-1", program + " 1000");
    Desktop().WriteEntry("y", "C-1", program + " 1000");
    ASSERT_TRUE(mController->LaunchApp("C-1", false, "", nullptr));
    EXPECT_EQ(mController->GetProcessId("B-1", nullptr), 0);
    ASSERT_TRUE(mController->LaunchApp("B-1", false, "", nullptr));
    const std::array<const char*, 2> ids{"B-1", "C-1"};
    std::array<int, 2> processes{};
    EXPECT_EQ(IPlexaController::GetProcessIds(ids.data(), ids.size(), processes.data()),
              api5::kPlexaControlErrorCode_None);
    EXPECT_NE(processes[0], processes[1]);
    for (std::size_t i = 0; i != ids.size(); ++i) {
        ASSERT_NE(processes.at(i), 0);
        EXPECT_EQ(mController->GetProcessId(ids.at(i), nullptr), processes.at(i));
        ::kill(processes.at(i), SIGKILL);
        EXPECT_TRUE(Await([&] { return mController->GetProcessId(ids.at(i), nullptr) == 0; }));
    }
    fs::remove(Desktop().EntryPath("x"));
    fs::remove(Desktop().EntryPath("y"));
}

TEST_F(Controller, MayBeAskedByWhoIsToldOfTrouble) {
    const std::string broken = Desktop().MakeScript("broken", "#!/no/such/interpreter\n").string();
    Desktop().WriteEntry("x", "B-1", broken);
    Desktop().WriteEntry("z", "Z-1", "'open");
    struct Seen {
        std::atomic<int> mTold{0};
        std::atomic<bool> mIsDone{false};
    };
    const auto seen = std::make_shared<Seen>();
    const doubles::TraceWatch watch("PlexaControl=1");
    nuocore::debug::SetTraceSink([seen, this](int, std::string_view, std::string_view) {
        EXPECT_TRUE(mController->CheckAppInstalled("B-1", nullptr));
        EXPECT_FALSE(mController->LaunchApp("B-1", true, "", nullptr));
        ++seen->mTold;
    });
    // Not waited for, since it would never end if it hung.
    std::thread([seen, this] {
        EXPECT_FALSE(mController->LaunchApp("B-1", true, "", nullptr));
        seen->mIsDone = true;
    }).detach();
    if (!Await([&] { return seen->mIsDone.load(); })) {
        ADD_FAILURE() << "whoever is told of trouble and asks hangs";
        fs::remove_all(Desktop().Folder());
        // At once: whatever else used the controller, its release among it, would hang too.
        std::_Exit(EXIT_FAILURE);
    }
    // Of the broken entry, and of the program that can't be started.
    EXPECT_EQ(seen->mTold, 2);
    fs::remove(Desktop().EntryPath("x"));
    fs::remove(Desktop().EntryPath("z"));
}

TEST_F(Controller, StartsNothingWhenItCannotSeeWhatRuns) {
    const std::string program = Desktop().MakeSleeper("unseen").string();
    Desktop().WriteEntry("x", "B-1", program + " 1000");
    ASSERT_TRUE(mController->CheckAppInstalled("B-1", nullptr));
    {
        const NoDescriptors none;
        EXPECT_FALSE(mController->LaunchApp("B-1", false, "", nullptr));
    }
    EXPECT_EQ(mController->GetProcessId("B-1", nullptr), 0);
    fs::remove(Desktop().EntryPath("x"));
}

TEST_F(Controller, IsOneAsLongAsAReferenceIsHeld) {
    IPlexaController* other = nullptr;
    ASSERT_EQ(IPlexaController::GetInstance(&other), api5::kPlexaControlErrorCode_None);
    EXPECT_EQ(other, mController);
    IPlexaController::ReleaseInstance();
    EXPECT_FALSE(mController->CheckAppInstalled("none", nullptr));
}

TEST_F(Controller, MayBeReleasedOnceTooOften) {
    IPlexaController::ReleaseInstance();
    IPlexaController::ReleaseInstance();
    ASSERT_EQ(IPlexaController::GetInstance(&mController), api5::kPlexaControlErrorCode_None);
    EXPECT_FALSE(mController->CheckAppInstalled("none", nullptr));
}

TEST_F(Controller, ServesManyThreadsThatComeAndGo) {
    Desktop().WriteEntry("x", "B-1", "/bin/sh");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread != 4; ++thread)
        threads.emplace_back([&] {
            for (int call = 0; call != 50; ++call) {
                IPlexaController* controller = nullptr;
                IPlexaController::GetInstance(&controller);
                if (!controller->CheckAppInstalled("B-1", nullptr)) ++wrong;
                IPlexaController::ReleaseInstance();
            }
        });
    // The thread's own reference comes and goes meanwhile.
    for (int call = 0; call != 50; ++call) {
        IPlexaController::ReleaseInstance();
        IPlexaController::GetInstance(&mController);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    fs::remove(Desktop().EntryPath("x"));
}

}  // namespace
}  // namespace orvane::plexa::control
