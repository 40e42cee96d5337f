/// Names that the messaging core gives to its own messages. Made when the library is loaded, never destroyed.
#pragma once

#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

// Message types of the desktop's service.
extern const ImmutableString& sInstallAppModuleMessageType;              // asks for a module to be installed
extern const ImmutableString& sProductModuleDeploymentEventMessageType;  // tells how that goes
extern const ImmutableString& sNotificationsMessageType;                 // registers observers

// Keys of request ids; of several in one payload the last counts.
extern const ImmutableString& sRequestIdKey;            // "requestId"
extern const ImmutableString& sHyphenatedRequestIdKey;  // "request-id"
extern const ImmutableString& sLowerCaseRequestIdKey;   // "requestid"
extern const ImmutableString& sRequestContextKey;       // "request-context"

/// XML root tag of messages that register observers.
inline constexpr const char* kXMLRootTag_ObserverRegistration = "NEMessage";

}  // namespace nuoplexasupport
