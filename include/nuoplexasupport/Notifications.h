/// Push notifications of one kind. Both functions may be called on any thread, also inside a client's receive
/// operations.
#pragma once

#include <boost/smart_ptr/weak_ptr.hpp>

#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/IPlexaClient.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// Has notifications of a type and sub-type delivered to a client (`ReceiveTaviNotification`): subscribes it
/// to a message type of this registration's own, and asks the notification service to send them there. Every
/// call adds a registration, also for the same client and kind: that client is then called once for each.
///
/// True means that the message to the service was handed to the transport, false (after an assertion) that
/// this failed; the registration stays in place either way, and `UnregisterTaviNotificationObserver` removes
/// it. A notification may come before this returns. Throws `std::bad_alloc`, and `std::runtime_error` when
/// the system gives no randomness.
NUOPLEXASUPPORT_API bool RegisterTaviNotificationObserver(const boost::weak_ptr<IPlexaClient>& inClient,
                                                          const ImmutableString& inNotificationType,
                                                          const ImmutableString& inNotificationSubType);

/// Removes all registrations of the client for the kind, and those of clients that no longer exist, and tells
/// the notification service of each. Always true. Throws `std::bad_alloc`.
NUOPLEXASUPPORT_API bool UnregisterTaviNotificationObserver(const boost::weak_ptr<IPlexaClient>& inClient,
                                                            const ImmutableString& inNotificationType,
                                                            const ImmutableString& inNotificationSubType);

}  // namespace nuoplexasupport
