#include "nuoplexasupport/IPlexaClient.h"

#include "nuoplexasupport/Messaging.h"

namespace nuoplexasupport {

IPlexaClient::IPlexaClient() { Startup(); }

IPlexaClient::~IPlexaClient() { Shutdown(); }

void IPlexaClient::ReceiveResponse(const ImmutableString& /*inMessageType*/, const Guid& /*inRequestId*/,
                                   const VariantObject& /*inPayload*/, const UTF8String& /*inErrorText*/) {}

void IPlexaClient::ReceiveSubscribedMessage(const ImmutableString& /*inMessageType*/,
                                            const VariantObject& /*inPayload*/) {}

void IPlexaClient::ReceiveRawSubscribedMessage(const ImmutableString& /*inMessageType*/,
                                               const UTF8String& /*inPayloadText*/,
                                               const char* /*inSenderAppId*/) {}

void IPlexaClient::ReceiveTaviNotification(const ImmutableString& /*inNotificationType*/,
                                           const ImmutableString& /*inNotificationSubType*/,
                                           const VariantObject& /*inPayload*/) {}

}  // namespace nuoplexasupport
