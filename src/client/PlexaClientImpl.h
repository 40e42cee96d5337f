/// State of the messaging core: who wants which message, and how often the library has been started.
///
/// One lock guards all of it. No client, callback, transport operation (but those of `Startup`) or destructor
/// of a client runs under it: a strong pointer made under the lock may be the last one, so it is kept in
/// something that outlives the lock.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "nuocore/Guid.h"
#include "nuocore/ImmutableString.h"
#include "nuocore/RecursiveMutex.h"
#include "nuoplexasupport/IPlexaClient.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// The source file as records name it.
inline constexpr const char* kPlexaClientImplFile = "..\\..\\src\\PlexaClientImpl";
/// How long an acquisition of the registry lock waits before it complains.
inline constexpr std::uint32_t kRegistryLockTimeoutMilliseconds = 60000;

using WeakClient = boost::weak_ptr<IPlexaClient>;
using StrongClient = boost::shared_ptr<IPlexaClient>;

/// Message type to client, in the order of subscribing.
using MessageSubscriptionClientsMap = std::multimap<ImmutableString, WeakClient>;
/// (Type, sub-type) to (client, observer namespace), in the order of registering.
using NotificationSubscriptionClientsMap =
    std::multimap<std::pair<ImmutableString, ImmutableString>, std::pair<WeakClient, ImmutableString>>;
/// Response message type and request id to the client that asked.
using ResponseMap = std::map<ImmutableString, std::map<Guid, WeakClient>>;

// Made when the library is loaded and never destroyed: a client in a host's static may go after everything
// else.
extern nuocore::thread::RecursiveMutex& sRegistryLock;
extern MessageSubscriptionClientsMap& sMessageSubscriptionClientsMap NUOCORE_GUARDED_BY(sRegistryLock);
extern NotificationSubscriptionClientsMap& sNotificationSubscriptionClientsMap
    NUOCORE_GUARDED_BY(sRegistryLock);
extern ResponseMap& sResponseMap NUOCORE_GUARDED_BY(sRegistryLock);

/// `Startup` calls not yet matched by `Shutdown`; wraps when there are more of the latter.
extern std::uint32_t sStartupCount NUOCORE_GUARDED_BY(sRegistryLock);
/// Whether a `Startup` has tried to bring the transport up.
extern bool sTransportStarted NUOCORE_GUARDED_BY(sRegistryLock);

/// Whether the client of an entry has gone or is the given one. What has to be made strong to tell goes into
/// `ioHeld`, which outlives the lock. Throws `std::bad_alloc`.
bool IsGoneOrSame(const WeakClient& inEntry, const StrongClient& inClient, std::vector<StrongClient>& ioHeld)
    NUOCORE_REQUIRES(sRegistryLock);
/// Removes the subscriptions of a client to a type, and those of clients that have gone. `ioHeld` as above.
void RemoveSubscriptions(const StrongClient& inClient, const ImmutableString& inMessageType,
                         std::vector<StrongClient>& ioHeld) NUOCORE_REQUIRES(sRegistryLock);

/// Handles a message that the transport received. Runs on the delivery thread.
void PlexaMessageStaticCallback(const std::string& inMessageType, const std::string& inPayload,
                                const std::string& inErrorText, const std::string& inSenderAppId);

/// Hands a message to the transport; false, after an assertion, when that threw.
bool SendPlexaMessageImpl(const ImmutableString& inMessageType, const UTF8String& inPayload,
                          const char* inTarget);

}  // namespace nuoplexasupport
