#include <stdexcept>
#include <string>
#include <utility>

#include "client/MessageNames.h"
#include "client/PlexaClientImpl.h"
#include "nuocore/Assertion.h"
#include "nuocore/JSON.h"
#include "nuocore/Variant.h"
#include "nuoplexasupport/Messaging.h"
#include "transport/PlexaInterface.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {

using nuocore::debug::RaiseAssertion;
using nuocore::thread::ScopedLock;

namespace {

UTF8String SerializeMessagePayload(const VariantValue& inPayload,
                                   PlexaSerializationFlavor inSerializationFlavor,
                                   const UTF8String& inRootTag) {
    if (inSerializationFlavor == kPlexaSerializationFlavor_XML) {
        return CreateXMLPayload(inPayload, inRootTag);
    }
    // An unknown flavor must not fail the send: it degrades to JSON.
    if (inSerializationFlavor != kPlexaSerializationFlavor_JSON) {
        RaiseAssertion({kPlexaClientImplFile,
                        508,
                        "nuoplexasupport::`anonymous-namespace'::SerializeMessagePayload",
                        "inSerializationFlavor == kPlexaSerializationFlavor_JSON",
                        {}});
    }
    return nuocore::serialization::GetJSONUTF8String(inPayload, false);
}

ImmutableString GetRequestIDKey(PlexaRequestIDKeyType inKeyType) {
    switch (inKeyType) {
        case kPlexaRequestIDKeyType_RequestId:
            return sRequestIdKey;
        case kPlexaRequestIDKeyType_HyphenatedRequestId:
            return sHyphenatedRequestIdKey;
        case kPlexaRequestIDKeyType_LowerCaseRequestId:
            return sLowerCaseRequestIdKey;
        case kPlexaRequestIDKeyType_RequestContext:
            return sRequestContextKey;
    }
    RaiseAssertion(
        {kPlexaClientImplFile, 543, "nuoplexasupport::`anonymous-namespace'::GetRequestIDKey", "false",
         "Unrecognized request ID key type: " + std::to_string(static_cast<std::int32_t>(inKeyType))});
    return sRequestIdKey;
}

// Without memory for its text the record goes without one.
std::string FailureText(const ImmutableString& inMessageType) noexcept {
    try {
        return std::string("Exception caught for request type ").append(inMessageType.View());
    } catch (...) {
        return {};
    }
}

}  // namespace

bool SendPlexaMessageImpl(const ImmutableString& inMessageType, const UTF8String& inPayload,
                          const char* inTarget) {
    try {
        if (inTarget == nullptr) {
            // It must not become a message to all.
            throw std::invalid_argument("null target");
        }
        PlexaInterface::Instance().Send(std::string(inMessageType.View()), std::string(inPayload),
                                        std::string(inTarget));
        return true;
    } catch (...) {
        RaiseAssertion({kPlexaClientImplFile, 572,
                        "nuoplexasupport::`anonymous-namespace'::SendPlexaMessageImpl", "false",
                        FailureText(inMessageType)});
        return false;
    }
}

bool SendPlexaMessage(const ImmutableString& inMessageType, const UTF8String& inPayload,
                      const char* inTarget) {
    return SendPlexaMessageImpl(inMessageType, inPayload, inTarget);
}

bool SendPlexaMessage(const ImmutableString& inMessageType, const VariantObject& inPayload,
                      PlexaSerializationFlavor inSerializationFlavor, const UTF8String& inRootTag,
                      const char* inTarget) {
    const VariantValue payload(inPayload);
    return SendPlexaMessageImpl(inMessageType,
                                SerializeMessagePayload(payload, inSerializationFlavor, inRootTag), inTarget);
}

bool SendClientRequest(const WeakClient& inClient, const ImmutableString& inRequestType,
                       const ImmutableString& inResponseType, const Guid& inRequestId,
                       const VariantObject& inPayload, PlexaSerializationFlavor inSerializationFlavor,
                       PlexaRequestIDKeyType inKeyType, const UTF8String& inRootTag) {
    {
        // Before the send, and not undone if that fails: the response may come before this returns.
        const ScopedLock lock(sRegistryLock, "nuoplexasupport::SendClientRequest",
                              kRegistryLockTimeoutMilliseconds);
        sResponseMap[inResponseType][inRequestId] = inClient;
    }
    VariantValue payload(inPayload);
    nuocore::serialization::AddToObject(payload, GetRequestIDKey(inKeyType).CStr(),
                                        inRequestId.AsUTF8String(), false);
    return SendPlexaMessage(inRequestType, boost::any_cast<const VariantObject&>(payload),
                            inSerializationFlavor, inRootTag, "");
}

}  // namespace nuoplexasupport
