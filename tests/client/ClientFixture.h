/// What tests of the messaging core share: a product code, a broker file, a recording message library.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "client/PlexaClientImpl.h"
#include "client/RecordingClient.h"
#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaMessage5Double.h"
#include "nuocore/Config.h"
#include "nuoplexasupport/Messaging.h"
#include "transport/PlexaInterface.h"

// Tests look at the registries while nobody else uses them, without the lock.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#endif

namespace nuoplexasupport {

class ClientFixture : public testing::Test {
  protected:
    ClientFixture() { nuocore::config::SetProductConfig({"QRTX", "20.0", "20.0.1", false}); }

    boost::shared_ptr<RecordingClient> MakeClient(const char* inName) {
        return boost::make_shared<RecordingClient>(inName, mCalls);
    }
    /// The calls recorded since the last time.
    std::vector<std::string> TakeCalls() { return std::exchange(mCalls, {}); }
    /// The messages sent since the last time.
    std::vector<std::string> TakeSends() {
        std::vector<std::string> sends;
        for (const std::string& call : mDouble.Calls()) {
            if (call.rfind("SendMessage", 0) == 0) {
                sends.push_back(call.substr(std::string("SendMessage ").size()));
            }
        }
        mDouble.ClearCalls();
        return sends;
    }
    /// A message arrives.
    static void Arrive(const char* inType, const std::string& inPayload, const std::string& inError = "",
                       const std::string& inAppId = "PEER-1") {
        PlexaMessageStaticCallback(inType, inPayload, inError, inAppId);
    }

    std::vector<std::string> mCalls;
    doubles::BrokerFile mBroker;
    doubles::AssertionWatch mAssertions;
    doubles::LogWatch mLog;
    doubles::Message5Double& mDouble = doubles::Message5Double::Get();
};

}  // namespace nuoplexasupport
