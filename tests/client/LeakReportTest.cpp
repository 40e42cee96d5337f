// What the last shutdown says of registrations that were left.
#include "client/ClientFixture.h"
#include "nuocore/JSON.h"

namespace nuoplexasupport {
namespace {

using doubles::TraceWatch;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::string> kDown = {"UnregisterEndPointRefreshCallback", "DisableListener",
                                        "RemoveListener", "ReleaseInstance"};
constexpr const char* kExpression =
    "!sMessageSubscriptionClientsMap.empty() || !sNotificationSubscriptionClientsMap.empty() || !sResponseMap.empty()";

using LeakReport = ClientFixture;

TEST_F(LeakReport, SaysInTheLogWhatTheLastShutdownLeaves) {
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

TEST_F(LeakReport, IsWrittenBeforeTheTransportGoesDown) {
    const TraceWatch trace("PlexaClientImpl=4");
    nuocore::log::SetLogSink(
        [](const nuocore::log::LogRecord& /*inRecord*/) { doubles::Message5Double::Get().Record("log"); });
    nuocore::debug::SetTraceSink(
        [](int /*inLevel*/, std::string_view /*inCategory*/, std::string_view /*inText*/) {
            doubles::Message5Double::Get().Record("trace");
        });
    SubscribeToMessage({}, ImmutableString("T"));
    Startup();
    mDouble.ClearCalls();
    Shutdown();
    std::vector<std::string> expected = {"log", "trace"};
    expected.insert(expected.end(), kDown.begin(), kDown.end());
    EXPECT_EQ(mDouble.Calls(), expected);
}

TEST_F(LeakReport, IsTracedAsOneLine) {
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

TEST_F(LeakReport, IsNeitherLoggedNorTracedWhileThatIsOff) {
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

TEST_F(LeakReport, IsWrittenWithoutTransportToo) {
    nuocore::config::SetProductConfig({});
    SubscribeToMessage({}, ImmutableString("T"));
    Startup();
    Shutdown();
    EXPECT_EQ(mLog.Records().size(), 1U);
    EXPECT_THAT(mDouble.Calls(), IsEmpty());
}

TEST_F(LeakReport, ComesForEachOfTheRegistries) {
    const auto lastShutdown = [this](const std::function<void()>& inRegister) {
        inRegister();
        Startup();
        Startup();
        const std::size_t before = mLog.Records().size();
        Shutdown();
        EXPECT_EQ(mLog.Records().size(), before) << "reported before the last one";
        Shutdown();
        const std::size_t reports = mLog.Records().size() - before;
        sMessageSubscriptionClientsMap.clear();
        sNotificationSubscriptionClientsMap.clear();
        sResponseMap.clear();
        return reports;
    };
    EXPECT_EQ(lastShutdown([] {}), 0U);
    EXPECT_EQ(lastShutdown([] { SubscribeToMessage({}, ImmutableString("T")); }), 1U);
    EXPECT_EQ(lastShutdown([] {
                  sNotificationSubscriptionClientsMap.emplace(
                      std::pair(ImmutableString("T"), ImmutableString("S")),
                      std::pair(WeakClient(), ImmutableString("N")));
              }),
              1U);
    EXPECT_EQ(lastShutdown([] { sResponseMap[ImmutableString("T")][Guid()] = WeakClient(); }), 1U);
}

TEST_F(LeakReport, LeavesTheSubscriptionOfALiveClient) {
    const auto client = MakeClient("a");
    SubscribeToMessage(client, ImmutableString("T"));
    // Gives back the client's own start, too early.
    Shutdown();
    EXPECT_EQ(mLog.Records().size(), 1U);
    Arrive("T", "words");
    EXPECT_THAT(TakeCalls(), ElementsAre("a: raw T 'words' from PEER-1"));
}

}  // namespace
}  // namespace nuoplexasupport
