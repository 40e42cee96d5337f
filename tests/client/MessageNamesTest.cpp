#include "client/MessageNames.h"

#include <gtest/gtest.h>

#include "nuoplexasupport/Constants.h"

namespace nuoplexasupport {
namespace {

// Nothing of the library has been called: what the names hold was made when it was loaded.
TEST(MessageNames, AreThereAtLoadTime) {
    EXPECT_EQ(sInstallAppModuleMessageType.View(), "plexa.SuiteMessage.zarn.apps.installAppModule");
    EXPECT_EQ(sProductModuleDeploymentEventMessageType.View(),
              "plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent");
    EXPECT_EQ(sNotificationsMessageType.View(), "plexa.SuiteMessage.zarn.notifications");
    EXPECT_EQ(sRequestIdKey.View(), "requestId");
    EXPECT_EQ(sHyphenatedRequestIdKey.View(), "request-id");
    EXPECT_EQ(sLowerCaseRequestIdKey.View(), "requestid");
    EXPECT_EQ(sRequestContextKey.View(), "request-context");
    EXPECT_EQ(kXMLRootTagDefault_Message, "message");
    EXPECT_EQ(kXMLRootTagDefault_Request, "request");
    EXPECT_EQ(kXMLToJSONKey_Attributes, "__attributes__");
    EXPECT_STREQ(kXMLRootTag_ObserverRegistration, "NEMessage");
}

// Registries compare types by identity, so a host's own text has to meet the library's.
TEST(MessageNames, AreInterned) {
    EXPECT_EQ(sInstallAppModuleMessageType, ImmutableString("plexa.SuiteMessage.zarn.apps.installAppModule"));
    EXPECT_EQ(sNotificationsMessageType, ImmutableString("plexa.SuiteMessage.zarn.notifications"));
}

}  // namespace
}  // namespace nuoplexasupport
