#include "client/MessageNames.h"

namespace nuoplexasupport {

const ImmutableString& sInstallAppModuleMessageType =
    *new ImmutableString("plexa.SuiteMessage.zarn.apps.installAppModule");
const ImmutableString& sProductModuleDeploymentEventMessageType =
    *new ImmutableString("plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent");
const ImmutableString& sNotificationsMessageType =
    *new ImmutableString("plexa.SuiteMessage.zarn.notifications");

const ImmutableString& sRequestIdKey = *new ImmutableString("requestId");
const ImmutableString& sHyphenatedRequestIdKey = *new ImmutableString("request-id");
const ImmutableString& sLowerCaseRequestIdKey = *new ImmutableString("requestid");
const ImmutableString& sRequestContextKey = *new ImmutableString("request-context");

}  // namespace nuoplexasupport
