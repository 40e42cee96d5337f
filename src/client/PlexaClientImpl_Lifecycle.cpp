#include <string>

#include "client/PlexaClientImpl.h"
#include "nuocore/Config.h"
#include "nuocore/JSON.h"
#include "nuocore/Log.h"
#include "nuocore/StringConversion.h"
#include "nuocore/Trace.h"
#include "nuoplexasupport/Messaging.h"
#include "transport/PlexaInterface.h"

namespace nuoplexasupport {

using nuocore::thread::ScopedLock;

namespace {

constexpr const char* kCategory = "PlexaClientImpl";
constexpr const char* kLeakMessage = "All clients did not unregister at shutdown";
constexpr const char* kLeakExpression =
    "!sMessageSubscriptionClientsMap.empty() || !sNotificationSubscriptionClientsMap.empty() || !sResponseMap.empty()";

void StartTransport() {
    PlexaInterface& transport = PlexaInterface::Instance();
    if (!transport.IsReady()) {
        const UTF8String code = nuocore::string::UTF16to8(nuocore::config::GetSAPCode());
        const UTF8String version = nuocore::string::UTF16to8(nuocore::config::GetClientVersion());
        transport.Initialize(code.c_str(), version.c_str(), &PlexaMessageStaticCallback);
    }
}

// Says what is left in the registries at the last shutdown; the registries themselves stay as they are.
void ReportLeaks() NUOCORE_REQUIRES(sRegistryLock) {
    const nuocore::log::LogRecord record{
        kCategory,
        kPlexaClientImplFile,
        "nuoplexasupport::Shutdown",
        kLeakMessage,
        {{"messageClients", VariantValue(static_cast<std::uint64_t>(sMessageSubscriptionClientsMap.size()))},
         {"notificationClients",
          VariantValue(static_cast<std::uint64_t>(sNotificationSubscriptionClientsMap.size()))},
         {"responseClients", VariantValue(static_cast<std::uint64_t>(sResponseMap.size()))},
         {"expression", VariantValue(UTF8String(kLeakExpression))}}};
    if (nuocore::log::IsLoggingEnabled()) {
        nuocore::log::Log(record);
    }
    static nuocore::debug::TraceSwitch sTrace(kCategory, 4);
    if (sTrace.IsEnabled()) {
        std::string line = record.mMessage;
        for (const auto& [name, value] : record.mFields) {
            line.append(", ").append(name).append(": ");
            line.append(nuocore::serialization::GetJSONUTF8String(value, false));
        }
        sTrace.Trace(line.append("\r\n"));
    }
}

}  // namespace

void Startup() {
    const ScopedLock lock(sRegistryLock, "nuoplexasupport::Startup", kRegistryLockTimeoutMilliseconds);
    if (sStartupCount++ != 0) {
        return;
    }
    try {
        if (nuocore::config::IsSAPCodeAvailable()) {
            sTransportStarted = true;
            StartTransport();
        }
    } catch (...) {
        // The caller, a client's constructor for one, won't give back a start that failed.
        --sStartupCount;
        throw;
    }
}

void Shutdown() {
    bool terminates = false;
    {
        const ScopedLock lock(sRegistryLock, "nuoplexasupport::Shutdown", kRegistryLockTimeoutMilliseconds);
        if (--sStartupCount == 0) {
            terminates = sTransportStarted;
            if (!sMessageSubscriptionClientsMap.empty() || !sNotificationSubscriptionClientsMap.empty() ||
                !sResponseMap.empty()) {
                ReportLeaks();
            }
        }
    }
    if (terminates) {
        PlexaInterface::Instance().Terminate();
    }
}

}  // namespace nuoplexasupport
