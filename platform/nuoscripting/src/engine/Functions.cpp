#include "Functions.h"

#include <utility>

#include "EngineContext.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::engine {

KeptValue::KeptValue(JSContextRef inContext, JSValueRef inValue, std::shared_ptr<ContextLink> inLink)
    : mValue{inValue}, mLink(std::move(inLink)) {
    JSValueProtect(inContext, inValue);
}

JSObjectRef ObjectOf(JSContextRef inContext, const KeptValue& inValue) {
    return JSValueToObject(inContext, inValue.Get(), nullptr);
}

KeptValue::~KeptValue() {
    const std::lock_guard lock(mLink->mLock);
    if (!mLink->mHasGone) {
        mLink->mToUnprotect.splice(mLink->mToUnprotect.end(), mValue);
    }
}

VariantValue KeptFunction::Call(const std::vector<VariantValue>& inArguments) {
    const ContextLink& link = mFunction.GetLink();
    if (std::this_thread::get_id() != link.mThread) {
        throw ScriptError("a script's function was called on another thread than its context's");
    }
    const RefPtr<ScriptContext> held = link.mOwner.Lock();
    if (!held) {
        throw ScriptError("a script's function was called after its context had gone");
    }
    EngineContext& context = link.mContext;
    return context.Call(ObjectOf(context.GetContext(), mFunction), inArguments);
}

ProtectedValues::~ProtectedValues() {
    for (const JSValueRef value : mValues) {
        JSValueUnprotect(mContext, value);
    }
}

void ProtectedValues::Add(JSValueRef inValue) {
    mValues.push_back(inValue);
    JSValueProtect(mContext, inValue);
}

}  // namespace nuoscripting::engine
