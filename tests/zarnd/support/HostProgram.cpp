// A host that asks for one module through the library, and prints what it hears: APPLICATION PRODUCT VERSION
// MODULE. At SIGINT it asks for the request to be cancelled. Ends after the end of the installation.
#include <semaphore.h>

#include <atomic>
#include <csignal>
#include <iostream>
#include <string>

#include <nuocore/Config.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <boost/smart_ptr/make_shared.hpp>

#include "bus/MessageTypes.h"

using namespace nuoplexasupport;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::ExtractTextFromObject;
using nuocore::serialization::MakeValue;
using nuocore::serialization::ObjectHasProperty;
namespace zarnd = orvane::plexa::zarnd;

namespace {

sem_t sWoken;
std::atomic<bool> sHasEnded{false};

UTF8String Part(const VariantObject& inPayload, const char* inObject, const char* inKey) {
    return ExtractTextFromObject(ExtractPropertyFromObject<VariantObject>(inPayload, inObject), inKey);
}

class Listener : public IPlexaClient {
    void ReceiveSubscribedMessage(const ImmutableString&, const VariantObject& inPayload) override {
        const UTF8String type = ExtractTextFromObject(inPayload, "event-type");
        std::cout << ExtractTextFromObject(inPayload, "product-sapcode") << " "
                  << ExtractTextFromObject(inPayload, "product-vardo-version") << " "
                  << ExtractTextFromObject(inPayload, "module-id") << " " << type;
        if (type == "progress") std::cout << " " << Part(inPayload, "progress-data", "progress-value");
        if (type == "error") {
            std::cout << " " << Part(inPayload, "error-data", "error-code") << " "
                      << Part(inPayload, "error-data", "error-metadata");
        }
        std::cout << std::endl;
        if (type != "progress") {
            sHasEnded = true;
            ::sem_post(&sWoken);
        }
    }
    void ReceiveResponse(const ImmutableString&, const Guid&, const VariantObject& inPayload,
                         const UTF8String&) override {
        if (ObjectHasProperty(inPayload, "result", true)) {
            std::cout << "answer " << ExtractTextFromObject(inPayload, "result") << std::endl;
        }
    }
};

void Ask(const boost::shared_ptr<IPlexaClient>& inClient, const char* inType, const std::string& inAnswerType,
         char** inArguments) {
    VariantObject module;
    module["module-id"] = MakeValue(UTF8String(inArguments[4]));
    VariantObject payload;
    payload["modules"] = MakeValue(module);
    payload["product-sapcode"] = MakeValue(UTF8String(inArguments[2]));
    payload["product-vardo-version"] = MakeValue(UTF8String(inArguments[3]));
    payload["silent-mode"] = MakeValue(true);
    SendClientRequest(inClient, ImmutableString(inType), ImmutableString(inAnswerType), Guid(), payload,
                      kPlexaSerializationFlavor_XML, kPlexaRequestIDKeyType_RequestId,
                      kXMLRootTagDefault_Request);
}

}  // namespace

int main(int inCount, char** inArguments) {
    if (inCount != 5) return 2;
    ::sem_init(&sWoken, 0, 0);
    std::signal(SIGINT, [](int) { ::sem_post(&sWoken); });
    nuocore::config::SetProductConfig({UTF8String(inArguments[1]), "1.0", {}});
    Startup();
    {
        const auto listener = boost::make_shared<Listener>();
        SubscribeToMessage(listener, ImmutableString(zarnd::kEventType));
        Ask(listener, zarnd::kInstallType, zarnd::kEventType, inArguments);
        for (;;) {
            while (::sem_wait(&sWoken) != 0) {
            }
            if (sHasEnded) break;
            Ask(listener, zarnd::kCancelType, std::string(zarnd::kCancelType) + zarnd::kAnswerSuffix,
                inArguments);
        }
        UnsubscribeFromMessage(listener, ImmutableString(zarnd::kEventType));
    }
    Shutdown();
    return 0;
}
