#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/ClientFailureLog.h"
#include "client/MessageNames.h"
#include "client/PlexaClientImpl.h"
#include "nuocore/Assertion.h"
#include "nuocore/JSON.h"
#include "nuocore/Variant.h"
#include "nuoplexasupport/Constants.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {

using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::ExtractTextFromObject;
using nuocore::serialization::ObjectHasProperty;
using nuocore::thread::ScopedLock;

namespace {

constexpr const char* kCallback = "nuoplexasupport::`anonymous-namespace'::PlexaMessageStaticCallback";

enum class PayloadFormat { kUnknown, kJSON, kXML };

// A payload as clients get it.
struct DecodedPayload {
    Guid mRequestId = Guid::Null();
    VariantObject mObject;
};

struct NotificationTypes {
    ImmutableString mType;
    ImmutableString mSubType;
};

bool DoesAnybodyCareAboutThisMessage(const ImmutableString& inMessageType) {
    const ScopedLock lock(sRegistryLock,
                          "nuoplexasupport::`anonymous-namespace'::DoesAnybodyCareAboutThisMessage",
                          kRegistryLockTimeoutMilliseconds);
    return sResponseMap.find(inMessageType) != sResponseMap.end() ||
           sMessageSubscriptionClientsMap.find(inMessageType) != sMessageSubscriptionClientsMap.end();
}

PayloadFormat FormatOf(const UTF8String& inPayload) {
    const auto first = std::find_if_not(inPayload.begin(), inPayload.end(), [](char inByte) {
        return inByte == ' ' || (inByte >= '\t' && inByte <= '\r');
    });
    if (first == inPayload.end()) {
        return PayloadFormat::kUnknown;
    }
    switch (*first) {
        case '{':
        case '[':  // no object, which the decoding finds out
            return PayloadFormat::kJSON;
        case '<':
            return PayloadFormat::kXML;
        default:
            return PayloadFormat::kUnknown;
    }
}

// Throws when the payload can't be decoded, holds no object, or holds a request id that is no text.
DecodedPayload Decode(const UTF8String& inPayload, PayloadFormat inFormat) {
    DecodedPayload decoded;
    if (inFormat == PayloadFormat::kUnknown) {
        return decoded;
    }
    const boost::shared_ptr<VariantValue> value = inFormat == PayloadFormat::kJSON
                                                      ? nuocore::serialization::ParseJSON(inPayload)
                                                      : ParsePlexaXMLPayload(inPayload);
    decoded.mObject = std::move(boost::any_cast<VariantObject&>(*value));
    for (const ImmutableString* key :
         {&sRequestIdKey, &sHyphenatedRequestIdKey, &sLowerCaseRequestIdKey, &sRequestContextKey}) {
        if (ObjectHasProperty(decoded.mObject, key->View(), false)) {
            const UTF8String text = ExtractTextFromObject(decoded.mObject, key->View());
            decoded.mRequestId = Guid::Parse(text).value_or(Guid::Null());
            decoded.mObject.erase(decoded.mObject.find(key->View()));
        }
    }
    return decoded;
}

// Takes the client that waits for a response out of the registry: a response is delivered at most once.
StrongClient TakeResponseClient(const ImmutableString& inMessageType, const Guid& inRequestId) {
    StrongClient client;
    const ScopedLock lock(sRegistryLock, kCallback, kRegistryLockTimeoutMilliseconds);
    const auto responses = sResponseMap.find(inMessageType);
    if (responses == sResponseMap.end()) {
        return client;
    }
    const auto waiting = responses->second.find(inRequestId);
    if (waiting != responses->second.end()) {
        client = waiting->second.lock();
        responses->second.erase(waiting);
    }
    if (responses->second.empty()) {
        sResponseMap.erase(responses);
    }
    return client;
}

// The live subscribers in the order of subscribing; entries of clients that have gone are purged.
std::vector<StrongClient> CollectSubscribers(const ImmutableString& inMessageType) {
    std::vector<StrongClient> subscribers;
    const ScopedLock lock(sRegistryLock, kCallback, kRegistryLockTimeoutMilliseconds);
    const auto [begin, end] = sMessageSubscriptionClientsMap.equal_range(inMessageType);
    subscribers.reserve(static_cast<std::size_t>(std::distance(begin, end)));
    for (auto entry = begin; entry != end;) {
        if (StrongClient client = entry->second.lock()) {
            subscribers.push_back(std::move(client));
            ++entry;
        } else {
            entry = sMessageSubscriptionClientsMap.erase(entry);
        }
    }
    return subscribers;
}

// The object under a key; null when the key is missing or holds something else.
const VariantObject* FindObject(const VariantObject& inObject, std::string_view inKey) {
    return ObjectHasProperty(inObject, inKey, false)
               ? boost::any_cast<VariantObject>(&ExtractPropertyFromObject(inObject, inKey))
               : nullptr;
}

// A notification is an XML payload with a "notification-signal" element whose attributes name type and
// sub-type. Whatever goes wrong here only means that it is none.
std::optional<NotificationTypes> FindNotification(const UTF8String& inPayload) {
    try {
        const boost::shared_ptr<VariantValue> value = ParsePlexaXMLPayload(inPayload);
        const VariantObject* signal =
            FindObject(boost::any_cast<const VariantObject&>(*value), "notification-signal");
        const VariantObject* attributes =
            signal != nullptr ? FindObject(*signal, kXMLToJSONKey_Attributes) : nullptr;
        if (attributes == nullptr || !ObjectHasProperty(*attributes, "type", false) ||
            !ObjectHasProperty(*attributes, "sub-type", false)) {
            return std::nullopt;
        }
        return NotificationTypes{ImmutableString(ExtractTextFromObject(*attributes, "type")),
                                 ImmutableString(ExtractTextFromObject(*attributes, "sub-type"))};
    } catch (...) {
        return std::nullopt;
    }
}

// Runs one client's receive operation. What a client throws is its own affair: it must not keep others from
// being served.
template <typename Call>
void Deliver(const ImmutableString& inMessageType, Call inCall) {
    try {
        inCall();
    } catch (...) {
        LogClientFailure(inMessageType, kCallback);
    }
}

}  // namespace

void PlexaMessageStaticCallback(const std::string& inMessageType, const std::string& inPayload,
                                const std::string& inErrorText, const std::string& inSenderAppId) {
    const ImmutableString messageType(inMessageType);
    if (!DoesAnybodyCareAboutThisMessage(messageType)) {
        return;
    }
    const UTF8String errorText(inErrorText);
    const UTF8String payload(inPayload);
    if (payload.empty()) {
        return;
    }
    const PayloadFormat format = FormatOf(payload);
    DecodedPayload decoded;
    try {
        decoded = Decode(payload, format);
    } catch (...) {
        nuocore::debug::RaiseAssertion({kPlexaClientImplFile, 406, kCallback, "false", {}});
        return;
    }

    StrongClient asker;
    if (!decoded.mRequestId.IsNull()) {
        asker = TakeResponseClient(messageType, decoded.mRequestId);
    }
    if (asker) {
        Deliver(messageType,
                [&] { asker->ReceiveResponse(messageType, decoded.mRequestId, decoded.mObject, errorText); });
    }

    const std::vector<StrongClient> subscribers = CollectSubscribers(messageType);
    const std::optional<NotificationTypes> notification =
        format == PayloadFormat::kXML ? FindNotification(payload) : std::nullopt;
    for (const StrongClient& client : subscribers) {
        Deliver(messageType, [&] {
            if (notification) {
                client->ReceiveTaviNotification(notification->mType, notification->mSubType, decoded.mObject);
            } else if (!decoded.mObject.empty()) {
                client->ReceiveSubscribedMessage(messageType, decoded.mObject);
            } else {
                client->ReceiveRawSubscribedMessage(messageType, payload, inSenderAppId.c_str());
            }
        });
    }
}

}  // namespace nuoplexasupport
