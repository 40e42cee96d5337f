/// The messages that this service understands and sends; docs/modules.md describes their payloads.
#pragma once

#include <array>
#include <string_view>

namespace orvane::plexa::zarnd {

inline constexpr const char* kInstallType = "plexa.SuiteMessage.zarn.apps.installAppModule";
inline constexpr const char* kCancelType = "plexa.SuiteMessage.zarn.apps.cancelAppModule";
inline constexpr const char* kListType = "plexa.SuiteMessage.zarn.apps.listAppModules";
inline constexpr const char* kRemoveType = "plexa.SuiteMessage.zarn.apps.removeAppModule";
inline constexpr const char* kCheckType = "plexa.SuiteMessage.zarn.apps.checkAppModules";
inline constexpr std::array<const char*, 5> kQuestionTypes = {kInstallType, kCancelType, kListType,
                                                              kRemoveType, kCheckType};

inline constexpr const char* kEventType = "plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent";
/// An answer has the type of its question with this behind it.
inline constexpr const char* kAnswerSuffix = "Response";

}  // namespace orvane::plexa::zarnd
