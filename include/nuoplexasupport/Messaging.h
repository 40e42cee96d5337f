/// Lifecycle, subscriptions, sending. All functions may be called on any thread, also inside a client's
/// receive operations.
#pragma once

#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>

#include "nuoplexasupport/Constants.h"
#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/IPlexaClient.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// Text format of a dictionary payload.
enum PlexaSerializationFlavor : std::int32_t {
    kPlexaSerializationFlavor_JSON = 0,
    kPlexaSerializationFlavor_XML = 1,
};

/// Key under which a request carries its id; receivers differ in which they read. Responses are understood
/// under any of the four.
enum PlexaRequestIDKeyType : std::int32_t {
    kPlexaRequestIDKeyType_RequestId = 0,            ///< "requestId"
    kPlexaRequestIDKeyType_HyphenatedRequestId = 1,  ///< "request-id"
    kPlexaRequestIDKeyType_LowerCaseRequestId = 2,   ///< "requestid"
    kPlexaRequestIDKeyType_RequestContext = 3,       ///< "request-context"
};

/// Starts the library or adds one reference. The first call connects to the broker, in the background, if the
/// core library knows a product code; otherwise the library stays without transport. Messages sent before the
/// connection is ready are queued, without a bound.
///
/// Without a broker's file on this machine an assertion is raised, and messages stay queued. Throws what the
/// system runs out of (`std::bad_alloc`, `std::system_error`); the call then counts for nothing.
///
/// Once ready, a process is never "not ready" again: after the last `Shutdown` a new `Startup` doesn't
/// reconnect, and messages are dropped. So a host holds one `Startup` for its whole life.
NUOPLEXASUPPORT_API void Startup();

/// Gives back one `Startup`. The last one disconnects; it waits until what was sent has been handed over, 5 s
/// at most (not when it is called on the delivery thread). It writes a report to the log when subscriptions,
/// registrations or pending responses are left; they stay in place. One call too many is not guarded against.
NUOPLEXASUPPORT_API void Shutdown();

/// Has messages of a type delivered to a client, from now on. Nothing is sent: subscriptions only filter what
/// arrives. A client subscribed twice is called twice. Subscriptions may be made before `Startup` and survive
/// `Shutdown`.
NUOPLEXASUPPORT_API void SubscribeToMessage(const boost::weak_ptr<IPlexaClient>& inClient,
                                            const ImmutableString& inMessageType);

/// Removes all subscriptions of the client to the type, and those of clients that no longer exist. A message
/// whose delivery has begun on the delivery thread is still delivered to the client.
NUOPLEXASUPPORT_API void UnsubscribeFromMessage(const boost::weak_ptr<IPlexaClient>& inClient,
                                                const ImmutableString& inMessageType);

/// Sends a payload text as it is, up to its first NUL. `inTarget` is the app id of the receiver; with "", or
/// an app id that isn't on the bus, the message goes to every other process. True means that the message was
/// handed to the transport, false (after an assertion) that this failed; a null target fails. Delivery
/// failures are reported at the message library, not here. Nor is it reported here that the message library
/// refuses a payload of more than 1 MiB or a type of more than 4096 bytes: the result is true, and nothing is
/// sent.
NUOPLEXASUPPORT_API bool SendPlexaMessage(const ImmutableString& inMessageType, const UTF8String& inPayload,
                                          const char* inTarget);

/// Sends a dictionary as XML with the given root tag, or as JSON, which has no root tag; an unknown flavor
/// raises an assertion and sends JSON. Results and target as above. XML has no form for numbers and arrays:
/// put scalars in as strings. Throws `boost::bad_any_cast` when the value under `kXMLToJSONKey_Attributes` is
/// no object, `std::length_error` when XML would have more than 512 levels,
/// `nuocore::serialization::JSONError` when JSON would or can't express a value, `std::bad_alloc`.
NUOPLEXASUPPORT_API bool SendPlexaMessage(const ImmutableString& inMessageType,
                                          const VariantObject& inPayload,
                                          PlexaSerializationFlavor inSerializationFlavor,
                                          const UTF8String& inRootTag, const char* inTarget);

/// Sends a request to every other process and has the response delivered to the client: the first message of
/// type `inResponseType` that carries `inRequestId`, a fresh unique id chosen by the caller. A second request
/// with the same response type and id takes over the first one's response. The registration stays until the
/// response arrives, also when sending fails or throws. `inPayload` is sent with the id added under the key
/// of `inKeyType`; an unknown key type raises an assertion and uses "requestId". Results and exceptions as
/// for a dictionary message.
NUOPLEXASUPPORT_API bool SendClientRequest(const boost::weak_ptr<IPlexaClient>& inClient,
                                           const ImmutableString& inRequestType,
                                           const ImmutableString& inResponseType, const Guid& inRequestId,
                                           const VariantObject& inPayload,
                                           PlexaSerializationFlavor inSerializationFlavor,
                                           PlexaRequestIDKeyType inKeyType, const UTF8String& inRootTag);

}  // namespace nuoplexasupport
