// Stands in for the desktop's service: "installs" modules, and sends one notification to each new observer.
// What becomes of a module is said by its id. Ends with SIGTERM.

#include <csignal>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <PlexaMessage5/PlexaMessage5.h>
#include <nuocore/Config.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

using namespace nuoplexasupport;
namespace api5 = orvane::plexa::api5;

namespace {

boost::property_tree::ptree Parsed(const std::vector<char>& inText) {
    std::istringstream stream(inText.data());
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(stream, tree);
    return tree;
}

void Send(const std::string& inType, const std::string& inPayload) {
    SendPlexaMessage(ImmutableString(inType), UTF8String(std::string_view(inPayload)), "");
}

void SendEvent(const std::string& inModuleId, const std::string& inEventType,
               const std::string& inMore = "") {
    Send("plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent",
         "<message><command>module-install</command><event-type>" + inEventType + "</event-type><module-id>" +
             inModuleId + "</module-id><cancellable>true</cancellable>" + inMore + "</message>");
}

void SendProgress(const std::string& inModuleId, const std::string& inPercentage) {
    SendEvent(inModuleId, "progress",
              "<progress-data><progress-value>" + inPercentage + "</progress-value></progress-data>");
}

class Service final : public api5::IPlexaMessageListener {
  public:
    explicit Service(api5::IPlexaMessageDispatcher& inDispatcher) : mDispatcher(inDispatcher) {}

    void Receive(const api5::PlexaMessage& inMessage) override {
        const auto* const message = dynamic_cast<const api5::SuiteMessage*>(&inMessage);
        if (message == nullptr) return;
        std::vector<char> envelope(message->GetMessageTextSize());
        message->GetMessageText(envelope.data());
        std::vector<char> payload(message->GetPayloadSize());
        message->GetPayload(payload.data());
        const auto type = Parsed(envelope).get<std::string>("message.type", "");
        if (type == "plexa.SuiteMessage.zarn.apps.installAppModule") {
            Install(Parsed(payload).get<std::string>("request.modules.module-id"));
        } else if (type == "plexa.SuiteMessage.zarn.notifications") {
            Register(Parsed(payload).get_child("NEMessage"));
        }
    }

    /// Says who comes and who leaves.
    static void Refresh(void* inService) { static_cast<Service*>(inService)->LookForTheHost(); }

  private:
    static void Install(const std::string& inModuleId) {
        SendProgress(inModuleId, "0");
        SendProgress(inModuleId, "55");
        if (inModuleId == "BLOCKED") {
            SendEvent(inModuleId, "error", "<error-data><error-code>131</error-code></error-data>");
        } else if (inModuleId == "CANCELLED") {
            SendEvent(inModuleId, "cancelled");
        } else {
            SendProgress(inModuleId, "100");
            SendEvent(inModuleId, "completed");
        }
    }
    static void Register(const boost::property_tree::ptree& inMessage) {
        const auto action = inMessage.get<std::string>("<xmlattr>.action");
        const auto type = inMessage.get<std::string>("type");
        const auto subType = inMessage.get<std::string>("sub-type");
        std::cout << action << " " << type << "/" << subType << std::endl;
        if (action == "RegisterObserver") {
            // The attribute of the root lets the signal, which comes first, keep its own.
            Send("plexa.SuiteMessage." + inMessage.get<std::string>("observer-namespace"),
                 "<notification version=\"1\"><notification-signal type=\"" + type + "\" sub-type=\"" +
                     subType + "\"/><text>hello</text></notification>");
        }
    }
    void LookForTheHost() {
        api5::EndPoint* list = nullptr;
        std::size_t count = 0;
        mDispatcher.GetEndPointList(&list, &count);
        bool isThere = false;
        for (std::size_t i = 0; i < count; ++i) {
            std::vector<char> appId(list[i].GetAppIdSize());
            list[i].GetAppId(appId.data());
            isThere = isThere || std::string(appId.data()) == "HOST-1.0";
        }
        mDispatcher.ReleaseEndPointList(list);
        if (isThere != mHostWasThere) {
            std::cout << (isThere ? "the host has come" : "the host has left") << std::endl;
        }
        mHostWasThere = isThere;
    }

    api5::IPlexaMessageDispatcher& mDispatcher;
    bool mHostWasThere = false;
};

}  // namespace

int main() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    nuocore::config::SetProductConfig({"SERVICE", "1.0", {}});
    Startup();
    api5::IPlexaMessageDispatcher* dispatcher = nullptr;
    api5::IPlexaMessageDispatcher::GetInstance(&dispatcher);
    if (dispatcher == nullptr) return 1;
    Service service(*dispatcher);
    dispatcher->AddListener(&service);
    dispatcher->EnableListener(&service);
    dispatcher->RegisterEndPointRefreshCallback(&Service::Refresh, &service);
    while (!dispatcher->IsDispatcherReady()) {
        const timespec pause{0, 2'000'000};
        nanosleep(&pause, nullptr);
    }
    std::cout << "ready" << std::endl;

    int signal = 0;
    sigwait(&signals, &signal);
    dispatcher->UnregisterEndPointRefreshCallback(&Service::Refresh, &service);
    dispatcher->RemoveListener(&service);
    api5::IPlexaMessageDispatcher::ReleaseInstance();
    Shutdown();
    return 0;
}
