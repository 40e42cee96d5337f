/// The script class through which scripts hand push notifications to the native side.
#pragma once

#include <nuoscripting/ScriptObject.h>

namespace nuoplexasupport::scripting {

/// "MobileAppLayer.PushNotificationProject". Its definition registers itself when the library is loaded, and
/// is taken back when the library is unloaded.
class TaviPushClientScriptObject final : public nuoscripting::ScriptObject {
  public:
    TaviPushClientScriptObject();

    /// Hands the notification to `push::PushNotificationReceived`. Always true.
    bool PushNotificationReceived(const nuoscripting::UTF8String& inNotificationJSON);
};

}  // namespace nuoplexasupport::scripting
