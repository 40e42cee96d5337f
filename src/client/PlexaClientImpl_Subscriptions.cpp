#include <vector>

#include "client/PlexaClientImpl.h"
#include "nuoplexasupport/Messaging.h"

namespace nuoplexasupport {

using nuocore::thread::ScopedLock;

bool IsGoneOrSame(const WeakClient& inEntry, const StrongClient& inClient,
                  std::vector<StrongClient>& ioHeld) {
    // A place for it first: a strong pointer that finds none would go under the lock.
    StrongClient& held = ioHeld.emplace_back();
    held = inEntry.lock();
    return !held || held == inClient;
}

void RemoveSubscriptions(const StrongClient& inClient, const ImmutableString& inMessageType,
                         std::vector<StrongClient>& ioHeld) {
    const auto [begin, end] = sMessageSubscriptionClientsMap.equal_range(inMessageType);
    for (auto entry = begin; entry != end;) {
        if (IsGoneOrSame(entry->second, inClient, ioHeld)) {
            entry = sMessageSubscriptionClientsMap.erase(entry);
        } else {
            ++entry;
        }
    }
}

void SubscribeToMessage(const WeakClient& inClient, const ImmutableString& inMessageType) {
    const ScopedLock lock(sRegistryLock, "nuoplexasupport::SubscribeToMessage",
                          kRegistryLockTimeoutMilliseconds);
    sMessageSubscriptionClientsMap.emplace(inMessageType, inClient);
}

void UnsubscribeFromMessage(const WeakClient& inClient, const ImmutableString& inMessageType) {
    const StrongClient client = inClient.lock();
    std::vector<StrongClient> held;  // released after the lock
    const ScopedLock lock(sRegistryLock, "nuoplexasupport::UnsubscribeFromMessage",
                          kRegistryLockTimeoutMilliseconds);
    RemoveSubscriptions(client, inMessageType, held);
}

}  // namespace nuoplexasupport
