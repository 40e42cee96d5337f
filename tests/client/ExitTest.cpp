// A client that goes at the very end of the process, after the transport.
#include <cstdlib>
#include <iostream>

#include "client/ClientFixture.h"
#include "nuocore/Log.h"

namespace nuoplexasupport {
namespace {

std::vector<std::string> sCalls;
boost::shared_ptr<IPlexaClient> sClient;

void ExitWithAClient() {
    nuocore::config::SetProductConfig({"QRTX", "20.0", "20.0.1", false});
    nuocore::log::SetLogSink(
        [](const nuocore::log::LogRecord& inRecord) { std::cerr << inRecord.mMessage << std::endl; });
    // Registered before the transport exists, so it runs after the transport's end.
    std::atexit([] {
        std::cerr << doubles::Message5Double::Get().Calls().back() << std::endl;
        doubles::Message5Double::Get().ClearCalls();
        SendPlexaMessage(ImmutableString("T"), "late", "");
        sClient.reset();
        Startup();
        Shutdown();
        std::cerr << doubles::Message5Double::Get().Calls().size() << " late calls" << std::endl;
    });
    {
        const doubles::BrokerFile broker;
        sClient = boost::make_shared<RecordingClient>("a", sCalls);
    }
    SubscribeToMessage(sClient, ImmutableString("T"));
    doubles::Message5Double::Get().Refresh();
    std::exit(0);  // NOLINT(concurrency-mt-unsafe)
}

TEST(ClientExit, AClientInAStaticOfTheHostMayGoAfterTheTransport) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(ExitWithAClient(), testing::ExitedWithCode(0),
                "^ReleaseInstance\nAll clients did not unregister at shutdown\n"
                "All clients did not unregister at shutdown\n0 late calls\n$");
}

}  // namespace
}  // namespace nuoplexasupport
