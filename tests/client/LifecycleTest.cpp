#include <chrono>
#include <stdexcept>
#include <thread>

#include "client/ClientFixture.h"
#include "nuocore/JSON.h"

namespace nuoplexasupport {
namespace {

using doubles::LockWatch;
using doubles::TraceWatch;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::string> kUp = {"SetConfig QRTX 20.0", "GetInstance", "RegisterEndPointRefreshCallback",
                                      "AddListener", "EnableListener"};
const std::vector<std::string> kDown = {"UnregisterEndPointRefreshCallback", "DisableListener",
                                        "RemoveListener", "ReleaseInstance"};
constexpr const char* kExpression =
    "!sMessageSubscriptionClientsMap.empty() || !sNotificationSubscriptionClientsMap.empty() || !sResponseMap.empty()";

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

TEST_F(Lifecycle, TheLastShutdownReportsWhatIsLeftInTheLog) {
    auto client = MakeClient("a");
    SubscribeToMessage(client, ImmutableString("T"));
    SubscribeToMessage(client, ImmutableString("U"));
    SendClientRequest(client, ImmutableString("T"), ImmutableString("R"), Guid(), {},
                      kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, "");
    SendClientRequest(client, ImmutableString("T"), ImmutableString("R"), Guid(), {},
                      kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, "");
    client.reset();

    ASSERT_EQ(mLog.Records().size(), 1U);
    const nuocore::log::LogRecord record = mLog.Records().front();
    EXPECT_EQ(record.mCategory, "PlexaClientImpl");
    EXPECT_EQ(record.mFile, "..\\..\\src\\PlexaClientImpl");
    EXPECT_EQ(record.mFunction, "nuoplexasupport::Shutdown");
    EXPECT_EQ(record.mMessage, "All clients did not unregister at shutdown");
    std::vector<std::string> fields;
    for (const auto& [name, value] : record.mFields) {
        fields.push_back(name + "=" + std::string(nuocore::serialization::GetJSONUTF8String(value, false)));
    }
    EXPECT_THAT(fields, ElementsAre("messageClients=2", "notificationClients=0", "responseClients=1",
                                    "expression=\"" + std::string(kExpression) + "\""));
    // Left as it is.
    EXPECT_EQ(sMessageSubscriptionClientsMap.size(), 2U);
    EXPECT_EQ(sResponseMap.size(), 1U);
}

TEST_F(Lifecycle, TheReportIsWrittenBeforeTheTransportGoesDown) {
    const TraceWatch trace("PlexaClientImpl=4");
    nuocore::log::SetLogSink(
        [](const nuocore::log::LogRecord& /*inRecord*/) { doubles::Message5Double::Get().Record("log"); });
    nuocore::debug::SetTraceSink(
        [](int /*inLevel*/, std::string_view /*inCategory*/, std::string_view /*inText*/) {
            doubles::Message5Double::Get().Record("trace");
        });
    SubscribeToMessage({}, ImmutableString("T"));
    Startup();
    TakeDispatcherCalls();
    Shutdown();
    std::vector<std::string> expected = {"log", "trace"};
    expected.insert(expected.end(), kDown.begin(), kDown.end());
    EXPECT_EQ(TakeDispatcherCalls(), expected);
}

TEST_F(Lifecycle, TheReportIsTracedAsOneLine) {
    const TraceWatch trace("PlexaClientImpl=4");
    sNotificationSubscriptionClientsMap.emplace(std::pair(ImmutableString("T"), ImmutableString("S")),
                                                std::pair(WeakClient(), ImmutableString("N")));
    Startup();
    Shutdown();
    EXPECT_THAT(trace.Lines(), ElementsAre("4|PlexaClientImpl|All clients did not unregister at shutdown, "
                                           "messageClients: 0, notificationClients: 1, responseClients: 0, "
                                           "expression: \"" +
                                           std::string(kExpression) + "\"\r\n"));
}

TEST_F(Lifecycle, NeitherLogNorTraceAreWrittenWhileOff) {
    const TraceWatch trace("PlexaClientImpl=3");
    nuocore::log::SetLoggingEnabled(false);
    SubscribeToMessage({}, ImmutableString("T"));
    Startup();
    Shutdown();
    EXPECT_THAT(trace.Lines(), IsEmpty());
    EXPECT_THAT(mLog.Records(), IsEmpty());
    nuocore::log::SetLoggingEnabled(true);
    Startup();
    Shutdown();
    EXPECT_EQ(mLog.Records().size(), 1U);
}

TEST_F(Lifecycle, WithoutTransportTheReportIsWrittenToo) {
    nuocore::config::SetProductConfig({});
    SubscribeToMessage({}, ImmutableString("T"));
    Startup();
    Shutdown();
    EXPECT_EQ(mLog.Records().size(), 1U);
    EXPECT_THAT(TakeDispatcherCalls(), IsEmpty());
}

}  // namespace
}  // namespace nuoplexasupport
