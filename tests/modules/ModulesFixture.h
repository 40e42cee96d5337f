/// What tests of module downloads share: a host that is started, and the events it gets.
#pragma once

#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "client/ClientFixture.h"
#include "client/MessageNames.h"
#include "nuoplexasupport/ModuleDownload.h"

namespace nuoplexasupport {

using nuocore::async::Future;

class Modules : public ClientFixture {
  protected:
    struct Progress {
        std::string mCallback;
        std::string mModuleId;
        float mValue;
        friend bool operator==(const Progress&, const Progress&) = default;
        friend void PrintTo(const Progress& inProgress, std::ostream* outStream) {
            *outStream << inProgress.mCallback << " " << inProgress.mModuleId << " " << inProgress.mValue;
        }
    };

    Modules() {
        Startup();
        mDouble.Refresh();
        mDouble.ClearCalls();
    }
    /// Asks for a module; its progress is recorded under a name.
    Future<void> Request(const char* inModuleId = "KQ7L", const char* inName = "a",
                         bool inSilentMode = true) {
        return RequestModuleDownload(
            ImmutableString(inModuleId),
            [this, name = std::string(inName)](const ImmutableString& inId, float inValue) {
                mProgress.push_back({name, std::string(inId.View()), inValue});
            },
            inSilentMode);
    }
    /// The progress recorded since the last time.
    std::vector<Progress> TakeProgress() { return std::exchange(mProgress, {}); }

    /// An install event arrives, with these elements besides those that every event has.
    static void Event(const std::string& inEventType, const std::string& inModuleId = "KQ7L",
                      const std::string& inMore = "") {
        ArriveEvent("<command>module-install</command><event-type>" + inEventType +
                    "</event-type><product-sapcode>QRTX</product-sapcode><product-vardo-version>20.0"
                    "</product-vardo-version><module-id>" +
                    inModuleId + "</module-id><cancellable>true</cancellable>" + inMore);
    }
    static void ArriveEvent(const std::string& inElements) {
        Arrive("plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent",
               "<message>" + inElements + "</message>");
    }
    static void ProgressEvent(const std::string& inPercentage, const std::string& inModuleId = "KQ7L") {
        Event("progress", inModuleId,
              "<progress-data><progress-value>" + inPercentage + "</progress-value></progress-data>");
    }
    static void ErrorEvent(const std::string& inCode, const std::string& inModuleId = "KQ7L") {
        Event("error", inModuleId,
              "<error-data><error-code>" + inCode +
                  "</error-code><error-type>fatal</error-type><error-metadata>process1,process2"
                  "</error-metadata></error-data>");
    }

    /// The clients subscribed to install events; expired ones are null.
    static std::vector<StrongClient> EventClients() {
        std::vector<StrongClient> clients;
        const auto [begin, end] =
            sMessageSubscriptionClientsMap.equal_range(sProductModuleDeploymentEventMessageType);
        for (auto entry = begin; entry != end; ++entry) {
            clients.push_back(entry->second.lock());
        }
        return clients;
    }
    /// `Startup` calls that have not been given back.
    static std::uint32_t StartupCount() { return sStartupCount; }
    /// What a future has failed with: the code of a failed download, 0 for anything else.
    static int FailureOf(const Future<void>& inFuture) {
        try {
            if (inFuture.IsReady()) {
                inFuture.Get();
            }
        } catch (const ModuleDownloadFailedException& exception) {
            EXPECT_EQ(exception.GetMessageText(), "Failed to download the requested module");
            return exception.GetCode();
        } catch (...) {
        }
        return 0;
    }
    static bool Succeeded(const Future<void>& inFuture) {
        return inFuture.IsReady() && inFuture.GetException() == nullptr;
    }

    std::vector<Progress> mProgress;
};

}  // namespace nuoplexasupport
