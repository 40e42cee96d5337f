// The end of a process: the singleton goes, and what comes later still finds one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "doubles/BrokerFile.h"
#include "doubles/PlexaMessage5Double.h"
#include "nuocore/RecursiveMutex.h"
#include "nuocore/Trace.h"
#include "transport/PlexaInterface.h"

namespace nuoplexasupport {
namespace {

using doubles::Message5Double;

enum class End { kConnected, kReady, kTerminated };

void Ignore(const std::string& /*inType*/, const std::string& /*inPayload*/, const std::string& /*inError*/,
            const std::string& /*inAppId*/) {}

// Writes everything that the end of the process does to the standard error stream.
void ExitIn(End inEnd, const char* inTraceRules) {
    nuocore::debug::SetTraceSink([](int inLevel, std::string_view inCategory, std::string_view inText) {
        std::cerr << inLevel << "|" << inCategory << "|" << inText << std::flush;
    });
    nuocore::debug::SetTraceRules(inTraceRules);
    // Registered before the singleton exists, so it runs after the singleton's end.
    std::atexit([] {
        nuocore::thread::SetLockObserver(nullptr);
        for (const std::string& call : Message5Double::Get().Calls()) {
            std::cerr << call << ";";
        }
        std::cerr << (PlexaInterface::Instance().IsReady() ? "ready" : "not ready") << std::endl;
        PlexaInterface::Instance().Terminate();
        PlexaInterface::Instance().Send("T", "p", "");
        std::cerr << "late calls are harmless" << std::endl;
    });
    {
        const doubles::BrokerFile broker;
        PlexaInterface::Instance().Initialize("QRTX", "1.0", &Ignore);
    }
    PlexaInterface::Instance().Send("QUEUED", "p", "");
    if (inEnd == End::kReady) {
        Message5Double::Get().Refresh();
    } else if (inEnd == End::kTerminated) {
        PlexaInterface::Instance().Terminate();
    }
    Message5Double::Get().ClearCalls();
    nuocore::thread::SetLockObserver(
        [](const nuocore::thread::RecursiveMutex& /*inMutex*/, const char* inAcquirer,
           std::uint32_t inTimeout) { std::cerr << inAcquirer << " " << inTimeout << std::endl; });
    std::exit(0);  // NOLINT(concurrency-mt-unsafe)
}

const std::string kTraced =
    "5\\|nuoplexasupport::PlexaInterface\\|Terminate\\(\\) should be called before destroying "
    "PlexaInterface\r\n";
const std::string kLock = "nuoplexasupport::PlexaInterface::Terminate 60000\n";
const std::string kDisconnected =
    "UnregisterEndPointRefreshCallback;DisableListener;RemoveListener;ReleaseInstance;";
const std::string kLate = "late calls are harmless\n";

class TransportExit : public testing::Test {
  protected:
    TransportExit() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(TransportExit, WhileConnectedIsTracedDisconnectsAndDropsWhatIsQueued) {
    EXPECT_EXIT(ExitIn(End::kConnected, "nuoplexasupport::PlexaInterface=5"), testing::ExitedWithCode(0),
                "^" + kTraced + kLock + kDisconnected + "not ready\n" + kLate + "$");
}

TEST_F(TransportExit, WhileConnectedDisconnectsWithoutTracesToo) {
    EXPECT_EXIT(ExitIn(End::kConnected, "nuoplexasupport::PlexaInterface=4"), testing::ExitedWithCode(0),
                "^" + kLock + kDisconnected + "not ready\n" + kLate + "$");
}

TEST_F(TransportExit, WhileReadyLeavesOneThatIsReadySoThatNothingIsQueuedForEver) {
    EXPECT_EXIT(ExitIn(End::kReady, "nuoplexasupport::PlexaInterface=4"), testing::ExitedWithCode(0),
                "^" + kLock + kDisconnected + "ready\n" + kLate + "$");
}

TEST_F(TransportExit, AfterTerminateIsSilent) {
    EXPECT_EXIT(ExitIn(End::kTerminated, "*=9"), testing::ExitedWithCode(0),
                "^" + kLock + "not ready\n" + kLate + "$");
}

}  // namespace
}  // namespace nuoplexasupport
