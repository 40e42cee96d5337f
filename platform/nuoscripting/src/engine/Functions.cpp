#include "Functions.h"

#include <utility>

#include "EngineContext.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::engine {

KeptValue::KeptValue(JSContextRef inContext, JSValueRef inValue, std::shared_ptr<ContextLink> inLink)
    : mValue(inValue), mLink(std::move(inLink)) {
    JSValueProtect(inContext, mValue);
}

JSObjectRef ObjectOf(JSContextRef inContext, const KeptValue& inValue) {
    return JSValueToObject(inContext, inValue.Get(), nullptr);
}

KeptValue::~KeptValue() {
    const std::lock_guard lock(mLink->mLock);
    if (mLink->mContext != nullptr) {
        mLink->mToUnprotect.push_back(mValue);
    }
}

EngineContext& KeptValue::GetContext() const {
    if (std::this_thread::get_id() != mLink->mThread) {
        throw ScriptError("a script's function was called on another thread than its context's");
    }
    if (mLink->mContext == nullptr) {
        throw ScriptError("a script's function was called after its context had gone");
    }
    return *mLink->mContext;
}

VariantValue KeptFunction::Call(const std::vector<VariantValue>& inArguments) {
    EngineContext& context = mFunction.GetContext();
    return context.Call(ObjectOf(context.GetContext(), mFunction), inArguments);
}

}  // namespace nuoscripting::engine
