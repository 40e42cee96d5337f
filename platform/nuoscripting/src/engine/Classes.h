/// The classes of a context, made of definitions.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "nuoscripting/Registry.h"

namespace nuoscripting::engine {

class EngineContext;
struct ClassInfo;

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
struct ClassInfo {
    ClassInfo(ScriptDefinitions::Pinned inPinned, EngineContext& inContext);
    ClassInfo(const ClassInfo&) = delete;
    ClassInfo& operator=(const ClassInfo&) = delete;

    /// Keeps the definition, and its library, also for calls that outlive the context.
    const std::shared_ptr<const ScriptDefinitions::Pinned> mPinned;
    const ScriptObjectDefinitionBase& mDefinition;
    EngineContext& mContext;
    JSObjectRef mPrototype = nullptr;  // kept from the collector

    void AddItem(const ScriptItemDefinitionBase& inItem, JSObjectRef inFunction);
    /// The method of the class whose function it is; null when it is none's.
    [[nodiscard]] const ItemInfo* FindItem(JSObjectRef inFunction) noexcept;

  private:
    std::unordered_map<JSObjectRef, ItemInfo> mItems;
    const ItemInfo* mLastFound = nullptr;  // scripts mostly repeat themselves
};

/// Makes the class's constructor and puts it into its namespace. Throws `ScriptError`.
void DefineClass(JSContextRef inContext, ClassInfo& ioClass);

/// The script's side of what the definition has made. Throws `ScriptError` when that is nothing.
JSObjectRef MakeInstance(ClassInfo& inClass, RefPtr<ScriptObject> inObject);

/// Runs a method for a script.
JSValueRef CallMethod(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef inThis, std::size_t inCount,
                      const JSValueRef inArguments[], JSValueRef* outException);

/// "MobileAppLayer.Class.method", for messages.
std::string NameOf(const ScriptObjectDefinitionBase& inClass, const ScriptItemDefinitionBase& inItem);

}  // namespace nuoscripting::engine
