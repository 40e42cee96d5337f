/// The base of every object that receives messages.
#pragma once

#include <boost/smart_ptr/enable_shared_from_this.hpp>

#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// Receives messages, responses and notifications. Derive from it, override what is needed, own the object
/// through a `boost::shared_ptr`, and hand weak pointers to the registering functions: the library never owns
/// a client, it holds a strong pointer during a call only.
///
/// Every client holds one `Startup` for its life. A process that has shut down fully doesn't come back (see
/// `Startup`), so a host calls `Startup` itself once and keeps it.
///
/// The receive operations are called one after another on the delivery thread, with no lock held: they may
/// send, ask, subscribe and unsubscribe, and release the last reference to their own client. What they throw
/// is written to the log and discarded; the next client is served. The default bodies do nothing. The
/// order of the virtual operations is part of the binary interface.
class NUOPLEXASUPPORT_API IPlexaClient : public boost::enable_shared_from_this<IPlexaClient> {
  public:
    /// Calls `Startup`. If that throws, so does the constructor, and nothing is left behind.
    IPlexaClient();
    // A copy would skip `Startup` and yet call `Shutdown`.
    IPlexaClient(const IPlexaClient&) = delete;
    IPlexaClient& operator=(const IPlexaClient&) = delete;
    /// Calls `Shutdown`.
    virtual ~IPlexaClient();

    /// The response to a request that this client sent with `SendClientRequest`; at most one for each
    /// request. `inPayload` is without the request id. `inErrorText` is empty unless the message library
    /// supplied one.
    virtual void ReceiveResponse(const ImmutableString& inMessageType, const Guid& inRequestId,
                                 const VariantObject& inPayload, const UTF8String& inErrorText);

    /// A message of a subscribed type whose payload is an object with at least one key besides request ids.
    virtual void ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                          const VariantObject& inPayload);

    /// A message of a subscribed type with any other payload, as it was received. `inSenderAppId` is valid
    /// during the call.
    virtual void ReceiveRawSubscribedMessage(const ImmutableString& inMessageType,
                                             const UTF8String& inPayloadText, const char* inSenderAppId);

    /// A push notification: an XML payload with a "notification-signal" element that names both types.
    virtual void ReceiveTaviNotification(const ImmutableString& inNotificationType,
                                         const ImmutableString& inNotificationSubType,
                                         const VariantObject& inPayload);
};

}  // namespace nuoplexasupport
