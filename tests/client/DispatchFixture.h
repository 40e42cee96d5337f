/// What tests of incoming messages share.
#pragma once

#include <string>

#include "client/ClientFixture.h"

namespace nuoplexasupport {

inline constexpr const char* kId1 = "11111111-1111-1111-1111-111111111111";
inline constexpr const char* kId2 = "22222222-2222-2222-2222-222222222222";

class Dispatch : public ClientFixture {
  protected:
    boost::shared_ptr<RecordingClient> Subscribed(const char* inName, const char* inType = "T") {
        auto client = MakeClient(inName);
        SubscribeToMessage(client, ImmutableString(inType));
        return client;
    }
    /// A client waits for a response.
    static void Await(const WeakClient& inClient, const char* inId, const char* inType = "T") {
        sResponseMap[ImmutableString(inType)][*Guid::Parse(inId)] = inClient;
    }
    static std::string WithId(const char* inKey, const char* inId, const char* inRest = "") {
        return std::string("{\"") + inKey + "\":\"" + inId + "\"" + inRest + "}";
    }
};

}  // namespace nuoplexasupport
