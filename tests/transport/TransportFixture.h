/// What tests of the transport's life share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaMessage5Double.h"
#include "transport/PlexaInterface.h"

namespace nuoplexasupport {

/// A broker file, a recording message library, and the transport.
class TransportFixture : public testing::Test {
  protected:
    static void Ignore(const std::string& /*inType*/, const std::string& /*inPayload*/,
                       const std::string& /*inError*/, const std::string& /*inAppId*/) {}
    static bool Initialize() { return PlexaInterface::Instance().Initialize("QRTX", "1.0", &Ignore); }
    static std::vector<std::string> TakeCalls() {
        std::vector<std::string> calls = doubles::Message5Double::Get().Calls();
        doubles::Message5Double::Get().ClearCalls();
        return calls;
    }

    doubles::BrokerFile mBroker;
    doubles::AssertionWatch mAssertions;
    doubles::Message5Double& mDouble = doubles::Message5Double::Get();
    PlexaInterface& mTransport = PlexaInterface::Instance();
};

}  // namespace nuoplexasupport
