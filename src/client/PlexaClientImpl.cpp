#include "client/PlexaClientImpl.h"

namespace nuoplexasupport {

nuocore::thread::RecursiveMutex& sRegistryLock = *new nuocore::thread::RecursiveMutex;
MessageSubscriptionClientsMap& sMessageSubscriptionClientsMap = *new MessageSubscriptionClientsMap;
NotificationSubscriptionClientsMap& sNotificationSubscriptionClientsMap =
    *new NotificationSubscriptionClientsMap;
ResponseMap& sResponseMap = *new ResponseMap;

std::uint32_t sStartupCount = 0;
bool sTransportStarted = false;

const ImmutableString& sRequestIdKey = *new ImmutableString("requestId");
const ImmutableString& sHyphenatedRequestIdKey = *new ImmutableString("request-id");
const ImmutableString& sLowerCaseRequestIdKey = *new ImmutableString("requestid");
const ImmutableString& sRequestContextKey = *new ImmutableString("request-context");

}  // namespace nuoplexasupport
