#include <string>
#include <utility>
#include <vector>

#include "client/MessageNames.h"
#include "client/PlexaClientImpl.h"
#include "nuocore/Variant.h"
#include "nuoplexasupport/Constants.h"
#include "nuoplexasupport/Notifications.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {

using nuocore::serialization::MakeValue;
using nuocore::thread::ScopedLock;

namespace {

// The message type under which one registration's notifications arrive.
ImmutableString ObserverMessageType(const ImmutableString& inObserverNamespace) {
    return ImmutableString(std::string("plexa.SuiteMessage.").append(inObserverNamespace.View()));
}

// Tells the notification service what becomes of a registration.
bool SendObserverRegistration(const ImmutableString& inAction, const ImmutableString& inNotificationType,
                              const ImmutableString& inNotificationSubType,
                              const ImmutableString& inObserverNamespace) {
    VariantObject attributes;
    attributes["action"] = MakeValue(inAction);
    VariantObject registration;
    registration[kXMLToJSONKey_Attributes] = MakeValue(std::move(attributes));
    registration["type"] = MakeValue(inNotificationType);
    registration["sub-type"] = MakeValue(inNotificationSubType);
    registration["observer-namespace"] = MakeValue(inObserverNamespace);
    return SendPlexaMessageImpl(
        sNotificationsMessageType,
        CreateXMLPayload(VariantValue(std::move(registration)), kXMLRootTag_ObserverRegistration), "");
}

}  // namespace

bool RegisterTaviNotificationObserver(const WeakClient& inClient, const ImmutableString& inNotificationType,
                                      const ImmutableString& inNotificationSubType) {
    static const ImmutableString& sAction = *new ImmutableString("RegisterObserver");
    const ImmutableString observerNamespace(Guid().AsUTF8String());
    {
        // Both at once, and before the service hears of it: a notification may come before this returns.
        const ScopedLock lock(sRegistryLock, "nuoplexasupport::RegisterTaviNotificationObserver",
                              kRegistryLockTimeoutMilliseconds);
        sMessageSubscriptionClientsMap.emplace(ObserverMessageType(observerNamespace), inClient);
        sNotificationSubscriptionClientsMap.emplace(std::pair(inNotificationType, inNotificationSubType),
                                                    std::pair(inClient, observerNamespace));
    }
    return SendObserverRegistration(sAction, inNotificationType, inNotificationSubType, observerNamespace);
}

bool UnregisterTaviNotificationObserver(const WeakClient& inClient, const ImmutableString& inNotificationType,
                                        const ImmutableString& inNotificationSubType) {
    static const ImmutableString& sAction = *new ImmutableString("UnregisterObserver");
    const StrongClient client = inClient.lock();
    std::vector<StrongClient> held;  // released after the lock
    std::vector<ImmutableString> observerNamespaces;
    {
        const ScopedLock lock(sRegistryLock, "nuoplexasupport::UnregisterTaviNotificationObserver",
                              kRegistryLockTimeoutMilliseconds);
        const auto [begin, end] = sNotificationSubscriptionClientsMap.equal_range(
            std::pair(inNotificationType, inNotificationSubType));
        for (auto entry = begin; entry != end;) {
            const auto& [weakObserver, observerNamespace] = entry->second;
            if (!IsGoneOrSame(weakObserver, client, held)) {
                ++entry;
                continue;
            }
            if (!observerNamespace.IsNull()) {
                observerNamespaces.push_back(observerNamespace);
                RemoveSubscriptions(client, ObserverMessageType(observerNamespace), held);
            }
            entry = sNotificationSubscriptionClientsMap.erase(entry);
        }
    }
    for (const ImmutableString& observerNamespace : observerNamespaces) {
        SendObserverRegistration(sAction, inNotificationType, inNotificationSubType, observerNamespace);
    }
    return true;
}

}  // namespace nuoplexasupport
