#include <chrono>
#include <stdexcept>
#include <thread>

#include "client/ClientFixture.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::string> kUp = {"SetConfig QRTX 20.0", "GetInstance", "RegisterEndPointRefreshCallback",
                                      "AddListener", "EnableListener"};
const std::vector<std::string> kDown = {"UnregisterEndPointRefreshCallback", "DisableListener",
                                        "RemoveListener", "ReleaseInstance"};
class Lifecycle : public ClientFixture {
  protected:
    std::vector<std::string> TakeDispatcherCalls() {
        std::vector<std::string> calls = mDouble.Calls();
        mDouble.ClearCalls();
        return calls;
    }
};

TEST_F(Lifecycle, OnlyTheFirstStartupAndTheLastShutdownAct) {
    Startup();
    EXPECT_EQ(TakeDispatcherCalls(), kUp);
    Startup();
    Shutdown();
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
    Shutdown();
    EXPECT_EQ(TakeDispatcherCalls(), kDown);
    EXPECT_THAT(mLog.Records(), IsEmpty());
}

TEST_F(Lifecycle, StartupAsksForReadinessAndInitializesUnderTheRegistryLock) {
    const LockWatch locks;
    Startup();
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::Startup|60000",
                                                  "nuoplexasupport::PlexaInterface::IsReady|60000",
                                                  "nuoplexasupport::PlexaInterface::Initialize|60000"));
}

TEST_F(Lifecycle, TheRegistryLockIsHeldDuringInitialize) {
    // A thread that wants the lock meanwhile complains of who holds it, and then gets it.
    std::thread other;
    mDouble.mOnGetInstance = [&] {
        other = std::thread([] {
            sRegistryLock.Lock("probe", 1);
            sRegistryLock.Unlock();
        });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (mAssertions.Records().empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    };
    Startup();
    other.join();
    ASSERT_EQ(mAssertions.Records().size(), 1U);
    EXPECT_THAT(mAssertions.Records().front(), testing::HasSubstr("nuoplexasupport::Startup"));
    EXPECT_THAT(mAssertions.Records().front(), testing::HasSubstr("probe"));
}

TEST_F(Lifecycle, TerminateRunsOutsideTheRegistryLock) {
    Startup();
    const LockWatch locks;
    Shutdown();
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::Shutdown|60000",
                                                  "nuoplexasupport::PlexaInterface::Terminate|60000"));
}

TEST_F(Lifecycle, AClientAloneBringsTheTransportUpAndDown) {
    auto client = MakeClient("a");
    EXPECT_EQ(TakeDispatcherCalls(), kUp);
    client.reset();
    EXPECT_EQ(TakeDispatcherCalls(), kDown);
}

TEST_F(Lifecycle, WithoutAProductCodeThereIsNoTransport) {
    nuocore::config::SetProductConfig({});
    Startup();
    Startup();
    Shutdown();
    Shutdown();
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
}

TEST_F(Lifecycle, AProductCodeThatComesLaterIsSeenByTheNextFirstStartup) {
    nuocore::config::SetProductConfig({});
    Startup();
    nuocore::config::SetProductConfig({"QRTX", "20.0", "", false});
    Startup();
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
    Shutdown();
    Shutdown();
    Startup();
    EXPECT_EQ(TakeDispatcherCalls(), kUp);
}

TEST_F(Lifecycle, OnceReadyAProcessThatShutDownDoesNotComeBack) {
    Startup();
    mDouble.Refresh();
    Shutdown();
    TakeDispatcherCalls();
    Startup();
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), "payload", ""));
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
    // The flag stays set, so the last shutdown terminates a transport that has nothing to undo.
    const LockWatch locks;
    Shutdown();
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::Shutdown|60000",
                                                  "nuoplexasupport::PlexaInterface::Terminate|60000"));
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
}

TEST_F(Lifecycle, ShutDownBeforeReadyItComesBack) {
    Startup();
    Shutdown();
    TakeDispatcherCalls();
    Startup();
    EXPECT_EQ(TakeDispatcherCalls(), kUp);
}

TEST_F(Lifecycle, OneShutdownTooManyWrapsTheCount) {
    Shutdown();
    Startup();
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
    Startup();
    EXPECT_EQ(TakeDispatcherCalls(), kUp);
}

TEST_F(Lifecycle, AStartupThatThrowsInAClientsConstructorLeavesNothingBehind) {
    mDouble.mOnGetInstance = [] { throw std::runtime_error("no dispatcher"); };
    EXPECT_THROW(MakeClient("a"), std::runtime_error);
    mDouble.mOnGetInstance = nullptr;
    TakeDispatcherCalls();
    Startup();
    EXPECT_EQ(TakeDispatcherCalls(), kUp);
    Shutdown();
    EXPECT_EQ(TakeDispatcherCalls(), kDown);
}

TEST_F(Lifecycle, TheBrokersNamesAreHandedOverInUTF8) {
    nuocore::config::SetProductConfig(
        {"PR\xC3\x9C"
         "F",
         "20.\xE2\x82\xAC", "", false});
    Startup();
    EXPECT_EQ(TakeDispatcherCalls().front(),
              "SetConfig PR\xC3\x9C"
              "F 20.\xE2\x82\xAC");
}

TEST_F(Lifecycle, WithoutABrokerFileMessagesAreQueuedAndTheLastShutdownTerminatesAllTheSame) {
    const doubles::BrokerFile none(false);
    Startup();
    EXPECT_EQ(mAssertions.Records().size(), 1U);
    EXPECT_TRUE(SendPlexaMessage(ImmutableString("T"), "payload", ""));
    const LockWatch locks;
    Shutdown();
    EXPECT_THAT(locks.Acquisitions(), ElementsAre("nuoplexasupport::Shutdown|60000",
                                                  "nuoplexasupport::PlexaInterface::Terminate|60000"));
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
}

TEST_F(Lifecycle, TheRegistryLockHasNoName) { EXPECT_EQ(sRegistryLock.GetName(), nullptr); }

}  // namespace
}  // namespace nuoplexasupport
