#include "client/PlexaClientImpl.h"

namespace nuoplexasupport {

nuocore::thread::RecursiveMutex& sRegistryLock = *new nuocore::thread::RecursiveMutex;
MessageSubscriptionClientsMap& sMessageSubscriptionClientsMap = *new MessageSubscriptionClientsMap;
NotificationSubscriptionClientsMap& sNotificationSubscriptionClientsMap =
    *new NotificationSubscriptionClientsMap;
ResponseMap& sResponseMap = *new ResponseMap;

std::uint32_t sStartupCount = 0;
bool sTransportStarted = false;

}  // namespace nuoplexasupport
