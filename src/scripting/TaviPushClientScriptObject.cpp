#include "scripting/TaviPushClientScriptObject.h"

#include <memory>

#include <nuoscripting/nuoscripting.h>

#include "nuoplexasupport/PushHooks.h"

template <>
void nuoscripting::ScriptObjectDefinition<nuoplexasupport::scripting::TaviPushClientScriptObject>::
    DefineObject(ScriptDefinitionContext& /*ioContext*/) {
    AddOrModifyNamespace("MobileAppLayer", 0x10000);
    AddMethod("pushNotificationReceived", {ParameterType::UTF8Text("notificationJSON")}, PropertyType::Bool(),
              &nuoplexasupport::scripting::TaviPushClientScriptObject::PushNotificationReceived, true,
              0x80000, "Called when push notification is received", 0);
}

namespace nuoplexasupport::scripting {

namespace {

constexpr const char* kClassName = "PushNotificationProject";
constexpr const char* kClassDescription = "PushNotificationProject class";

using Definition = nuoscripting::ScriptObjectDefinition<TaviPushClientScriptObject>;

class Initiator final : public nuoscripting::ScriptObjectDefinitionInitiatorBase {
    void Initiate(nuoscripting::ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(kClassName,
                                          std::make_shared<Definition>(kClassName, kClassDescription));
    }
};

const nuoscripting::ScriptObjectDefinitionRegistrar sRegistrar(std::make_unique<Initiator>());

}  // namespace

TaviPushClientScriptObject::TaviPushClientScriptObject() : ScriptObject(kClassName) {}

bool TaviPushClientScriptObject::PushNotificationReceived(
    const nuoscripting::UTF8String& inNotificationJSON) {
    push::PushNotificationReceived(ImmutableString(inNotificationJSON));
    return true;
}

}  // namespace nuoplexasupport::scripting
