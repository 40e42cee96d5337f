// The one reference to the controller that outlives the calls.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "doubles/PlexaControlDouble.h"
#include "nuocore/Singleton.h"
#include "nuoplexasupport/Applications.h"

namespace nuoplexasupport {
namespace {

using nuocore::singleton::RunSingletonTerminations;
using testing::ElementsAre;
using testing::IsEmpty;

class Retain : public testing::Test {
  protected:
    std::vector<std::string> NewCalls() {
        auto calls = mControl.Calls();
        calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(mSeen));
        mSeen += calls.size();
        return calls;
    }

    doubles::ControlDouble& mControl = doubles::ControlDouble::Get();

  private:
    std::size_t mSeen = 0;
};

TEST_F(Retain, TheFirstCallTakesOneReferenceMore) {
    (void)IsAppInstalledEx("A-1");
    EXPECT_THAT(NewCalls(),
                ElementsAre("GetInstance", "GetInstance", "CheckAppInstalled A-1", "ReleaseInstance"));
    (void)GetProcessIdEx("A-1");
    EXPECT_THAT(NewCalls(), ElementsAre("GetInstance", "GetProcessId A-1", "ReleaseInstance"));
}

TEST_F(Retain, TheTerminationGivesItBackOnceAndCallsStillWork) {
    (void)IsAppInstalledEx("A-1");
    (void)NewCalls();
    RunSingletonTerminations();
    EXPECT_THAT(NewCalls(), ElementsAre("ReleaseInstance"));
    RunSingletonTerminations();
    EXPECT_THAT(NewCalls(), IsEmpty());
    EXPECT_TRUE(IsAppInstalledEx("A-1"));
    EXPECT_THAT(NewCalls(), ElementsAre("GetInstance", "CheckAppInstalled A-1", "ReleaseInstance"));
}

TEST_F(Retain, NothingIsRetainedForGoodWhenTheFirstCallFindsNoController) {
    mControl.mGetInstanceResult = orvane::plexa::api5::kPlexaControlErrorCode_Unknown;
    EXPECT_FALSE(IsAppInstalledEx("A-1"));
    EXPECT_THAT(NewCalls(), ElementsAre("GetInstance", "GetInstance"));
    mControl.mGetInstanceResult = orvane::plexa::api5::kPlexaControlErrorCode_None;
    EXPECT_TRUE(IsAppInstalledEx("A-1"));
    EXPECT_THAT(NewCalls(), ElementsAre("GetInstance", "CheckAppInstalled A-1", "ReleaseInstance"));
    RunSingletonTerminations();
    EXPECT_THAT(NewCalls(), IsEmpty());
}

TEST_F(Retain, TheTerminationGivesNothingBackWhenSuccessGaveNoController) {
    mControl.mGivesController = false;
    (void)IsAppInstalledEx("A-1");
    EXPECT_THAT(NewCalls(), ElementsAre("GetInstance", "GetInstance", "ReleaseInstance"));
    RunSingletonTerminations();
    EXPECT_THAT(NewCalls(), IsEmpty());
}

TEST_F(Retain, EveryReferenceOfACallIsGivenBackWhoeverCalls) {
    constexpr int kThreads = 8;
    constexpr int kCalls = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i != kThreads; ++i)
        threads.emplace_back([] {
            for (int call = 0; call != kCalls; ++call) (void)GetInstalledAppPath("A-1");
        });
    for (std::thread& thread : threads) thread.join();
    const auto calls = NewCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "GetInstance"), kThreads * kCalls + 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "ReleaseInstance"), kThreads * kCalls);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "ReleaseAppPath"), kThreads * kCalls);
}

// The statics of the library go first, then the core library runs what is left of the terminations.
TEST_F(Retain, NothingIsDoneAtTheProcessesEndWhenTheHolderIsGone) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            (void)IsAppInstalledEx("A-1");
            mControl.mOnCall = [](const std::string& inCall) { (void)std::fputs(inCall.c_str(), stderr); };
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
        },
        testing::ExitedWithCode(0), "^$");
}

}  // namespace
}  // namespace nuoplexasupport
