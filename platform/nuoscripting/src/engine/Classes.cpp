#include "Classes.h"

#include <algorithm>
#include <string>

#include "EngineContext.h"
#include "Exceptions.h"
#include "Strings.h"

namespace nuoscripting::engine {

namespace {

constexpr JSPropertyAttributes kFixed = kJSPropertyAttributeReadOnly | kJSPropertyAttributeDontDelete;
constexpr JSPropertyAttributes kHidden = kFixed | kJSPropertyAttributeDontEnum;

void Put(JSContextRef inContext, JSObjectRef inObject, std::string_view inName, JSValueRef inValue,
         JSPropertyAttributes inAttributes) {
    JSValueRef exception = nullptr;
    JSObjectSetProperty(inContext, inObject, MakeString(inName).get(), inValue, inAttributes, &exception);
    if (exception != nullptr) {
        throw ScriptError("cannot define \"" + std::string(inName) + "\" in the script context: " +
                          std::string(TextOf(StringOf(inContext, exception, nullptr).get())));
    }
}

ClassInfo& ClassOf(JSObjectRef inConstructor) {
    return *static_cast<ClassInfo*>(JSObjectGetPrivate(inConstructor));
}

JSObjectRef Construct(JSContextRef /*inContext*/, JSObjectRef inConstructor, std::size_t /*inCount*/,
                      const JSValueRef /*inArguments*/[], JSValueRef* outException) {
    ClassInfo& info = ClassOf(inConstructor);
    EngineContext& context = info.mContext;
    context.ReleaseLost();
    if (context.GetLimits().HasStopped()) {
        return inConstructor;
    }
    JSObjectRef made = nullptr;
    try {
        RefPtr<ScriptObject> object =
            info.mDefinition.CreateInstance(RefPtr<ScriptContext>(&context.GetOwner()));
        made = MakeInstance(info, std::move(object));
    } catch (...) {
        *outException = MakeErrorOfCurrent(context);
    }
    return context.GetLimits().StopAfterCall(outException) ? inConstructor : made;
}

JSValueRef CallConstructor(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef /*inThis*/,
                           std::size_t /*inCount*/, const JSValueRef /*inArguments*/[],
                           JSValueRef* outException) {
    const ClassInfo& info = ClassOf(inFunction);
    try {
        const std::string path(info.mDefinition.GetPath());
        *outException = MakeTypeError(inContext, info.mContext.GetTypeError(),
                                      path + " is a class: use \"new " + path + "()\"");
    } catch (...) {
        *outException = MakeErrorOfCurrent(info.mContext);
    }
    return nullptr;
}

bool HasInstance(JSContextRef inContext, JSObjectRef inConstructor, JSValueRef inValue,
                 JSValueRef* /*outException*/) {
    JSObjectRef object =
        JSValueIsObject(inContext, inValue) ? JSValueToObject(inContext, inValue, nullptr) : nullptr;
    const ClassInfo& info = ClassOf(inConstructor);
    const InstanceInfo* const instance =
        object != nullptr ? info.mContext.GetInstances().Find(object) : nullptr;
    return instance != nullptr && &instance->mClass == &info;
}

JSClassRef ConstructorClass() {
    static JSClassRef sClass = [] {
        JSClassDefinition definition = kJSClassDefinitionEmpty;
        definition.className = "Function";
        definition.attributes = kJSClassAttributeNoAutomaticPrototype;
        definition.callAsConstructor = &Construct;
        definition.callAsFunction = &CallConstructor;
        definition.hasInstance = &HasInstance;
        return JSClassCreate(&definition);
    }();
    return sClass;
}

// What "Object.prototype.toString" calls them.
void NameInstances(JSContextRef inContext, JSObjectRef inPrototype, std::string_view inName) {
    JSObjectRef symbols = ObjectNamed(inContext, JSContextGetGlobalObject(inContext), "Symbol");
    JSObjectSetPropertyForKey(inContext, inPrototype, PropertyOf(inContext, symbols, "toStringTag"),
                              JSValueMakeString(inContext, MakeString(inName).get()), kHidden, nullptr);
}

JSObjectRef MakeConstructor(JSContextRef inContext, ClassInfo& ioClass) {
    JSObjectRef constructor = JSObjectMake(inContext, ConstructorClass(), &ioClass);
    ioClass.mContext.GetProperties().DefineFunction(constructor, ioClass.mDefinition.GetName(), 0);
    return constructor;
}

// The object that a path of namespaces stands for.
JSObjectRef FindNamespace(JSContextRef inContext, const ScriptObjectDefinitionBase& inDefinition) {
    JSObjectRef place = JSContextGetGlobalObject(inContext);
    const JSPropertyAttributes attributes =
        (inDefinition.GetNamespaceFlags() & kNamespaceFlag_Enumerable) != 0 ? kFixed : kHidden;
    std::string_view rest = inDefinition.GetNamespace();
    while (!rest.empty()) {
        const std::string_view part = rest.substr(0, rest.find('.'));
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
        JSValueRef value = PropertyOf(inContext, place, std::string(part).c_str());
        if (!JSValueIsObject(inContext, value)) {
            value = JSObjectMake(inContext, nullptr, nullptr);
            Put(inContext, place, part, value, attributes);
        }
        place = JSValueToObject(inContext, value, nullptr);
    }
    return place;
}

std::size_t CountRequired(const ScriptItemDefinitionBase& inItem) {
    return static_cast<std::size_t>(
        std::ranges::count(inItem.GetParameterTypes(), false, &ParameterType::IsOptional));
}

}  // namespace

ClassInfo::ClassInfo(ScriptDefinitions::Pinned inPinned, EngineContext& inContext)
    : mPinned(std::make_shared<const ScriptDefinitions::Pinned>(std::move(inPinned))),
      mDefinition(*mPinned->mDefinition),
      mContext(inContext) {}

void ClassInfo::AddItem(const ScriptItemDefinitionBase& inItem, JSObjectRef inFunction) {
    JSValueProtect(mContext.GetContext(), inFunction);
    mItems.try_emplace(inFunction, inItem, *this, mContext, inFunction);
}

const ItemInfo* ClassInfo::FindItem(JSObjectRef inFunction) noexcept {
    if (mLastFound == nullptr || mLastFound->mFunction != inFunction) {
        const auto found = mItems.find(inFunction);
        if (found == mItems.end()) {
            return nullptr;
        }
        mLastFound = &found->second;
    }
    return mLastFound;
}

void DefineClass(JSContextRef inContext, ClassInfo& ioClass) {
    const ScriptObjectDefinitionBase& definition = ioClass.mDefinition;
    JSObjectRef prototype = JSObjectMake(inContext, nullptr, nullptr);
    JSValueProtect(inContext, prototype);
    ioClass.mPrototype = prototype;
    const JSValueRef inherited = JSObjectGetPrototype(inContext, prototype);
    JSObjectSetPrototype(inContext, prototype, JSValueMakeNull(inContext));
    for (auto component = definition.ComponentsBegin(); component != definition.ComponentsEnd();
         ++component) {
        const ScriptItemDefinitionBase& item = **component;
        JSObjectRef method = JSObjectMakeFunctionWithCallback(inContext, nullptr, &CallMethod);
        ioClass.mContext.GetProperties().DefineFunction(method, item.GetName(), CountRequired(item));
        ioClass.AddItem(item, method);
        Put(inContext, prototype, item.GetName(), method,
            (item.GetFlags() & kItemFlag_Enumerable) != 0 ? kFixed : kHidden);
    }
    NameInstances(inContext, prototype, definition.GetName());
    JSObjectRef constructor = MakeConstructor(inContext, ioClass);
    Put(inContext, constructor, "prototype", prototype, kHidden);
    Put(inContext, prototype, "constructor", constructor, kHidden);
    JSObjectSetPrototype(inContext, prototype, inherited);
    Put(inContext, FindNamespace(inContext, definition), definition.GetName(), constructor, kHidden);
}

JSObjectRef MakeInstance(ClassInfo& inClass, RefPtr<ScriptObject> inObject) {
    if (!inObject) {
        throw ScriptError("cannot make a \"" + std::string(inClass.mDefinition.GetPath()) +
                          "\": its definition gave no object");
    }
    return inClass.mContext.GetInstances().Make(inClass, std::move(inObject));
}

std::string NameOf(const ScriptObjectDefinitionBase& inClass, const ScriptItemDefinitionBase& inItem) {
    return std::string(inClass.GetPath()) + "." + std::string(inItem.GetName());
}

}  // namespace nuoscripting::engine
