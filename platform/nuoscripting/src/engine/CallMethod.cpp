#include <array>
#include <string>

#include "Classes.h"
#include "EngineContext.h"
#include "Exceptions.h"
#include "Strings.h"
#include "nuocore/AsyncExecutor.h"
#include "nuoscripting/NativePromise.h"
#include "nuoscripting/Threads.h"

namespace nuoscripting::engine {

namespace {

using Arguments = std::array<ScriptValue, kMaxParameters>;

// A call that goes on when the script doesn't wait for it. Owns all it needs, the library of the method last.
struct DetachedCall {
    std::shared_ptr<const ScriptDefinitions::Pinned> mPinned;
    const ScriptItemDefinitionBase& mItem;
    RefPtr<ScriptObject> mObject;
    Arguments mArguments;

    ScriptValue operator()() {
        return mItem.Invoke(*mObject, std::span(mArguments).first(mItem.GetParameterTypes().size()));
    }
};

JSValueRef Refuse(JSContextRef inContext, const ItemInfo& inItem, const std::string& inWhy) {
    return MakeTypeError(inContext, inItem.mContext.GetTypeError(), NameOf(inItem) + ": " + inWhy);
}

std::string ParameterText(const ItemInfo& inItem, std::size_t inIndex) {
    const ParameterType& parameter = inItem.mItem.GetParameterTypes()[inIndex];
    return "parameter " + std::to_string(inIndex + 1) + " \"" + std::string(parameter.GetName()) + "\"";
}

// Takes one argument; false with an exception.
bool TakeArgument(JSContextRef inContext, const ItemInfo& inItem, std::size_t inIndex, JSValueRef inValue,
                  ScriptValue& outValue, JSValueRef* outException) {
    const ParameterType& parameter = inItem.mItem.GetParameterTypes()[inIndex];
    if (inValue == nullptr || JSValueIsUndefined(inContext, inValue)) {
        if (parameter.IsOptional()) {
            return true;
        }
        *outException = Refuse(
            inContext, inItem,
            ParameterText(inItem, inIndex) + " is missing; it must be " + WordsFor(parameter.GetType()));
        return false;
    }
    try {
        if (FromScript(inContext, inValue, parameter.GetType(), inItem.mItem.IsStrict(), inItem.mContext,
                       outValue, outException)) {
            return true;
        }
    } catch (const std::exception& error) {
        *outException =
            Refuse(inContext, inItem, ParameterText(inItem, inIndex) + " can't be taken: " + error.what());
        return false;
    }
    if (*outException == nullptr) {
        *outException = Refuse(inContext, inItem,
                               ParameterText(inItem, inIndex) + " must be " + WordsFor(parameter.GetType()) +
                                   ", not " + KindOf(inContext, inValue));
    }
    return false;
}

// How long a script may wait for the method: no longer than it may run at all.
std::chrono::milliseconds PatienceFor(const ItemInfo& inItem) {
    const std::chrono::milliseconds timeout = inItem.mItem.GetSynchronousTimeout();
    return std::min(timeout, inItem.mContext.GetLimits().TimeLeft().value_or(timeout));
}

ScriptValue CallOnUIThread(const ItemInfo& inItem, DetachedCall inCall) {
    const auto call = std::make_shared<DetachedCall>(std::move(inCall));
    if (inItem.mItem.GetResultType().GetType() == ScriptType::kVoid) {
        DirectVoidCallOnUIThread([call] { (*call)(); }, PatienceFor(inItem));
        return {};
    }
    return CallFunctionOnUIThread([call] { return (*call)(); }, PatienceFor(inItem));
}

JSValueRef CallForPromise(const ItemInfo& inItem, DetachedCall inCall, bool inOnUIThread,
                          JSValueRef* outException) {
    RefPtr<NativePromise> promise;
    const JSObjectRef made = inItem.mContext.MakePromise(promise, outException);
    if (made == nullptr) {
        return nullptr;
    }
    auto work = [call = std::make_shared<DetachedCall>(std::move(inCall)), promise] {
        try {
            promise->Resolve((*call)());
        } catch (...) {
            promise->Reject(std::current_exception());
        }
    };
    try {
        if (inOnUIThread) {
            PostToUIThread(std::move(work));
        } else {
            nuocore::async::GetDefaultExecutor()->Post(std::move(work));
        }
    } catch (...) {
        promise->Reject(std::current_exception());
    }
    return made;
}

JSValueRef Call(JSContextRef inContext, const ItemInfo& inItem, JSObjectRef inThis, std::size_t inCount,
                const JSValueRef inArguments[], JSValueRef* outException) {
    const ScriptItemDefinitionBase& item = inItem.mItem;
    const auto* const instance = static_cast<const InstanceInfo*>(CarriedBy(inThis));
    if (instance == nullptr || instance->mKind != Carried::Kind::kInstance ||
        &instance->mClass != &inItem.mClass) {
        *outException = Refuse(inContext, inItem, "called on something that is no such object");
        return nullptr;
    }
    // Held: the method may let go of everything else that holds it.
    const RefPtr<ScriptObject> object = instance->mObject;
    if (object->IsFinalized()) {
        *outException = Refuse(inContext, inItem, "the object has ended");
        return nullptr;
    }
    Arguments arguments;
    const std::size_t count = item.GetParameterTypes().size();
    for (std::size_t i = 0; i < count; ++i) {
        if (!TakeArgument(inContext, inItem, i, i < inCount ? inArguments[i] : nullptr, arguments[i],
                          outException)) {
            return nullptr;
        }
    }
    try {
        const std::uint32_t flags = item.GetFlags() & kItemFlag_ThreadMask;
        const bool isOnUIThread = (flags & kItemFlag_UIThread) != 0;
        if (flags == kItemFlag_Direct) {
            return ToScript(inContext, item.Invoke(*object, std::span(arguments).first(count)));
        }
        DetachedCall call{inItem.mClass.mPinned, item, object, std::move(arguments)};
        if ((flags & kItemFlag_Promise) != 0 &&
            (inItem.mContext.GetOwner().GetFlags() & kContextFlag_Promises) != 0) {
            return CallForPromise(inItem, std::move(call), isOnUIThread, outException);
        }
        return ToScript(inContext, isOnUIThread ? CallOnUIThread(inItem, std::move(call)) : call());
    } catch (...) {
        *outException = MakeError(inItem.mContext, std::current_exception());
        return nullptr;
    }
}

}  // namespace

JSValueRef CallMethod(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef inThis, std::size_t inCount,
                      const JSValueRef inArguments[], JSValueRef* outException) {
    const auto& item = static_cast<const ItemInfo&>(*CarriedBy(inFunction));
    Limits& limits = item.mContext.GetLimits();
    if (limits.HasStopped()) {
        return JSValueMakeUndefined(inContext);
    }
    const JSValueRef result = Call(inContext, item, inThis, inCount, inArguments, outException);
    if (limits.HasStopped()) {
        *outException = nullptr;
        limits.Hurry();
        return JSValueMakeUndefined(inContext);
    }
    return result;
}

}  // namespace nuoscripting::engine
