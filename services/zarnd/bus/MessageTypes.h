/// The messages that this service understands and sends; docs/modules.md and docs/notifications.md describe
/// their payloads.
#pragma once

#include <array>
#include <string_view>

namespace orvane::plexa::zarnd {

/// What app ids of this service begin with; the version follows.
inline constexpr std::string_view kAppIdPrefix = "zarnd-";

inline constexpr const char* kInstallType = "plexa.SuiteMessage.zarn.apps.installAppModule";
inline constexpr const char* kCancelType = "plexa.SuiteMessage.zarn.apps.cancelAppModule";
inline constexpr const char* kListType = "plexa.SuiteMessage.zarn.apps.listAppModules";
inline constexpr const char* kRemoveType = "plexa.SuiteMessage.zarn.apps.removeAppModule";
inline constexpr const char* kCheckType = "plexa.SuiteMessage.zarn.apps.checkAppModules";
inline constexpr std::array<const char*, 5> kQuestionTypes = {kInstallType, kCancelType, kListType,
                                                              kRemoveType, kCheckType};

/// Observers of notifications are registered and taken back by this one, notifications handed over by the
/// second; the third asks how many observers of a kind the asking process has.
inline constexpr const char* kObserverType = "plexa.SuiteMessage.zarn.notifications";
inline constexpr const char* kPushType = "plexa.SuiteMessage.zarn.notifications.push";
inline constexpr const char* kCountObserversType = "plexa.SuiteMessage.zarn.notifications.countObservers";
inline constexpr std::array<const char*, 3> kNotificationTypes = {kObserverType, kPushType,
                                                                  kCountObserversType};
/// A notification has this with the observer's namespace behind it.
inline constexpr const char* kObserverTypePrefix = "plexa.SuiteMessage.";

inline constexpr const char* kEventType = "plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent";
/// An answer has the type of its question with this behind it.
inline constexpr const char* kAnswerSuffix = "Response";

}  // namespace orvane::plexa::zarnd
