// A host that uses all three libraries from outside: goes on the bus, says who it is, leaves.

#include <chrono>
#include <cstdio>
#include <future>
#include <string>
#include <vector>

#include <PlexaMessage5/PlexaMessage5.h>
#include <nuocore/Config.h>
#include <nuocore/JSON.h>
#include <nuoplexasupport/nuoplexasupport.h>

namespace api5 = orvane::plexa::api5;

namespace {

std::promise<void> sReady;
bool sIsReady = false;

void OnRefresh(void* inContext) {
    auto* const dispatcher = static_cast<api5::IPlexaMessageDispatcher*>(inContext);
    if (!sIsReady && dispatcher->IsDispatcherReady()) {
        sIsReady = true;
        sReady.set_value();
    }
}

// Whether the core library's exceptions are recognised on this side of its border.
bool CatchesErrors() {
    try {
        nuocore::serialization::ParseJSON("{");
    } catch (const nuocore::serialization::JSONError&) {
        return true;
    }
    return false;
}

}  // namespace

int main() {
    if (!CatchesErrors() || nuoplexasupport::kXMLRootTagDefault_Message != "message") return 1;

    nuocore::config::SetProductConfig({"CONSUMER", "1.0", {}});
    nuoplexasupport::Startup();
    api5::IPlexaMessageDispatcher* dispatcher = nullptr;
    if (api5::IPlexaMessageDispatcher::GetInstance(&dispatcher); dispatcher == nullptr) return 2;
    dispatcher->RegisterEndPointRefreshCallback(&OnRefresh, dispatcher);
    const bool isReady = sReady.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    dispatcher->UnregisterEndPointRefreshCallback(&OnRefresh, dispatcher);
    if (isReady) {
        const api5::EndPoint self = dispatcher->GetSelfEndPoint();
        std::vector<char> appId(self.GetAppIdSize());
        self.GetAppId(appId.data());
        std::puts(appId.data());
    }
    api5::IPlexaMessageDispatcher::ReleaseInstance();
    nuoplexasupport::Shutdown();
    return isReady ? 0 : 3;
}
