#include <array>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
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

constexpr const char* kHasEnded = ": the object has ended";

// The arguments of one call, as many as the method takes: most take few, and calls are many.
class Arguments {
  public:
    explicit Arguments(std::size_t inCount) noexcept : mCount(inCount) {
        std::uninitialized_value_construct_n(First(), mCount);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    ~Arguments() { std::destroy_n(First(), mCount); }

    [[nodiscard]] std::span<ScriptValue> Get() noexcept { return {First(), mCount}; }

  private:
    ScriptValue* First() noexcept { return std::launder(reinterpret_cast<ScriptValue*>(mRoom.data())); }

    const std::size_t mCount;
    alignas(ScriptValue) std::array<std::byte, kMaxParameters * sizeof(ScriptValue)> mRoom;
};

// A call that goes on when the script doesn't wait for it. Owns all it needs, the library of the method last.
struct DetachedCall {
    std::shared_ptr<const ScriptDefinitions::Pinned> mPinned;
    const ScriptItemDefinitionBase& mItem;
    RefPtr<ScriptObject> mObject;
    std::vector<ScriptValue> mArguments;

    // The object may have ended while the call waited for its turn.
    ScriptValue operator()() {
        if (mObject->IsFinalized()) {
            throw ScriptError(NameOf(*mPinned->mDefinition, mItem) + kHasEnded);
        }
        return mItem.Invoke(*mObject, mArguments);
    }
};

JSValueRef Refuse(JSContextRef inContext, const ItemInfo& inItem, const std::string& inWhy) {
    return MakeTypeError(inContext, inItem.mContext.GetTypeError(),
                         NameOf(inItem.mClass.mDefinition, inItem.mItem) + inWhy);
}

std::string ParameterText(const ItemInfo& inItem, std::size_t inIndex) {
    const ParameterType& parameter = inItem.mItem.GetParameterTypes()[inIndex];
    return ": parameter " + std::to_string(inIndex + 1) + " \"" + std::string(parameter.GetName()) + "\"";
}

// What is wrong with it: the kind of value, or for a number, where a number would do, which one it is.
std::string WhatItIs(JSContextRef inContext, JSValueRef inValue, ScriptType inWanted) {
    const bool isWholeWanted = inWanted == ScriptType::kInt32 || inWanted == ScriptType::kInt64;
    if (!isWholeWanted || !JSValueIsNumber(inContext, inValue)) {
        return KindOf(inContext, inValue);
    }
    return std::string(TextOf(StringOf(inContext, inValue, nullptr).get()));
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
                                   ", not " + WhatItIs(inContext, inValue, parameter.GetType()));
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

JSValueRef CallForPromise(const ItemInfo& inItem, JSObjectRef inThis, DetachedCall inCall, bool inOnUIThread,
                          JSValueRef* outException) {
    RefPtr<NativePromise> promise;
    JSObjectRef made = inItem.mContext.MakePromise(inThis, promise, outException);
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

// On another thread, or so that the script doesn't wait.
JSValueRef CallElsewhere(JSContextRef inContext, const ItemInfo& inItem, JSObjectRef inThis,
                         DetachedCall inCall, JSValueRef* outException) {
    const std::uint32_t flags = inItem.mItem.GetFlags();
    const bool isOnUIThread = (flags & kItemFlag_UIThread) != 0;
    if ((flags & kItemFlag_Promise) != 0 &&
        (inItem.mContext.GetOwner().GetFlags() & kContextFlag_Promises) != 0) {
        return CallForPromise(inItem, inThis, std::move(inCall), isOnUIThread, outException);
    }
    return ToScript(inContext, isOnUIThread ? CallOnUIThread(inItem, std::move(inCall)) : inCall());
}

// The script's frame holds the object while its method runs. What is thrown becomes the script's exception.
JSValueRef Call(JSContextRef inContext, const ItemInfo& inItem, JSObjectRef inThis, ScriptObject& ioObject,
                std::size_t inCount, const JSValueRef inArguments[], JSValueRef* outException) {
    const ScriptItemDefinitionBase& item = inItem.mItem;
    Arguments arguments(item.GetParameterTypes().size());
    std::size_t index = 0;
    for (ScriptValue& argument : arguments.Get()) {
        if (!TakeArgument(inContext, inItem, index, index < inCount ? inArguments[index] : nullptr, argument,
                          outException)) {
            return nullptr;
        }
        ++index;
    }
    // Both maybe by what the script's arguments have run.
    if (inItem.mContext.GetLimits().HasStopped()) {
        return nullptr;
    }
    if (ioObject.IsFinalized()) {
        *outException = Refuse(inContext, inItem, kHasEnded);
        return nullptr;
    }
    if ((item.GetFlags() & kItemFlag_ThreadMask) == kItemFlag_Direct) {
        return ToScript(inContext, item.Invoke(ioObject, arguments.Get()));
    }
    std::vector<ScriptValue> owned(std::make_move_iterator(arguments.Get().begin()),
                                   std::make_move_iterator(arguments.Get().end()));
    return CallElsewhere(inContext, inItem, inThis,
                         {inItem.mClass.mPinned, item, RefPtr<ScriptObject>(&ioObject), std::move(owned)},
                         outException);
}

}  // namespace

JSValueRef CallMethod(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef inThis, std::size_t inCount,
                      const JSValueRef inArguments[], JSValueRef* outException) {
    EngineContext& context = EngineContext::Current();
    Limits& limits = context.GetLimits();
    if (limits.HasStopped()) {
        return JSValueMakeUndefined(inContext);
    }
    const InstanceInfo* const instance = context.GetInstances().Find(inThis);
    const ItemInfo* const item = instance != nullptr ? instance->mClass.FindItem(inFunction) : nullptr;
    JSValueRef result = nullptr;
    try {
        if (item != nullptr) {
            result = Call(inContext, *item, inThis, *instance->mObject, inCount, inArguments, outException);
        } else {
            *outException = Refuse(inContext, *context.FindItem(inFunction),
                                   ": called on something that is no such object");
        }
    } catch (...) {
        *outException = MakeErrorOfCurrent(context);
    }
    return limits.StopAfterCall(outException) ? JSValueMakeUndefined(inContext) : result;
}

}  // namespace nuoscripting::engine
