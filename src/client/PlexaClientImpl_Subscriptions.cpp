#include <iterator>
#include <vector>

#include "client/PlexaClientImpl.h"
#include "nuoplexasupport/Messaging.h"

namespace nuoplexasupport {

using nuocore::thread::ScopedLock;

void SubscribeToMessage(const WeakClient& inClient, const ImmutableString& inMessageType) {
    const ScopedLock lock(sRegistryLock, "nuoplexasupport::SubscribeToMessage",
                          kRegistryLockTimeoutMilliseconds);
    sMessageSubscriptionClientsMap.emplace(inMessageType, inClient);
}

void UnsubscribeFromMessage(const WeakClient& inClient, const ImmutableString& inMessageType) {
    const StrongClient client = inClient.lock();
    std::vector<StrongClient> others;  // released after the lock
    const ScopedLock lock(sRegistryLock, "nuoplexasupport::UnsubscribeFromMessage",
                          kRegistryLockTimeoutMilliseconds);
    const auto [begin, end] = sMessageSubscriptionClientsMap.equal_range(inMessageType);
    others.reserve(static_cast<std::size_t>(std::distance(begin, end)));
    for (auto entry = begin; entry != end;) {
        StrongClient subscriber = entry->second.lock();
        if (!subscriber || subscriber == client) {
            entry = sMessageSubscriptionClientsMap.erase(entry);
        } else {
            ++entry;
        }
        others.push_back(std::move(subscriber));
    }
}

}  // namespace nuoplexasupport
