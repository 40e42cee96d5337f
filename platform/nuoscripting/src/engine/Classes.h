/// The classes of a context, made of definitions.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "nuoscripting/Registry.h"

namespace nuoscripting::engine {

class EngineContext;
struct ClassInfo;

/// What the engine's objects of ours carry. No other object carries anything, so what an object carries says
/// what it is.
struct Carried {
    enum class Kind : std::uint8_t { kClass, kInstance, kOther };
    explicit Carried(Kind inKind) noexcept : mKind(inKind) {}
    const Kind mKind;
};

/// A method, and its function. That is a plain function of the engine's, which carries nothing: calling
/// anything else would cost a script half as much again.
struct ItemInfo {
    ItemInfo(const ScriptItemDefinitionBase& inItem, ClassInfo& inClass, EngineContext& inContext,
             JSObjectRef inFunction) noexcept
        : mItem(inItem), mClass(inClass), mContext(inContext), mFunction(inFunction) {}
    const ScriptItemDefinitionBase& mItem;
    ClassInfo& mClass;
    EngineContext& mContext;
    JSObjectRef mFunction;  // kept from the collector
};

/// A class, and its constructor.
struct ClassInfo : Carried {
    ClassInfo(ScriptDefinitions::Pinned inPinned, EngineContext& inContext);
    ClassInfo(const ClassInfo&) = delete;
    ClassInfo& operator=(const ClassInfo&) = delete;
    ~ClassInfo();

    /// Keeps the definition, and its library, also for calls that outlive the context.
    const std::shared_ptr<const ScriptDefinitions::Pinned> mPinned;
    const ScriptObjectDefinitionBase& mDefinition;
    EngineContext& mContext;
    JSClassRef mInstances;
    JSObjectRef mPrototype = nullptr;  // kept from the collector

    void AddItem(const ScriptItemDefinitionBase& inItem, JSObjectRef inFunction);
    /// The method of the class whose function it is; null when it is none's.
    [[nodiscard]] const ItemInfo* FindItem(JSObjectRef inFunction) noexcept;

  private:
    std::unordered_map<JSObjectRef, ItemInfo> mItems;
    const ItemInfo* mLastFound = nullptr;  // scripts mostly repeat themselves
};

/// An object.
struct InstanceInfo : Carried {
    InstanceInfo(ClassInfo& inClass, RefPtr<ScriptObject> inObject) noexcept
        : Carried(Kind::kInstance), mClass(inClass), mObject(std::move(inObject)) {}
    ClassInfo& mClass;
    const RefPtr<ScriptObject> mObject;
    std::unique_ptr<InstanceInfo> mBuriedBefore;  // see EngineContext::Bury
};

/// What an object carries; null when it is none of ours.
inline Carried* CarriedBy(JSObjectRef inObject) {
    return static_cast<Carried*>(JSObjectGetPrivate(inObject));
}

/// Makes the class's constructor and puts it into its namespace. Throws `ScriptError`.
void DefineClass(JSContextRef inContext, ClassInfo& ioClass);

/// The script's side of an object. Throws `ScriptError` when there is none.
JSObjectRef MakeInstance(JSContextRef inContext, ClassInfo& inClass, RefPtr<ScriptObject> inObject);

/// The instance that an object is; null when it is none.
inline const InstanceInfo* InstanceOf(JSObjectRef inObject) {
    const Carried* const carried = CarriedBy(inObject);
    return carried != nullptr && carried->mKind == Carried::Kind::kInstance
               ? static_cast<const InstanceInfo*>(carried)
               : nullptr;
}

/// Runs a method for a script.
JSValueRef CallMethod(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef inThis, std::size_t inCount,
                      const JSValueRef inArguments[], JSValueRef* outException);

/// "MobileAppLayer.Class.method", for messages.
std::string NameOf(const ScriptObjectDefinitionBase& inClass, const ScriptItemDefinitionBase& inItem);

}  // namespace nuoscripting::engine
