#include "nuoscripting/ScriptObject.h"

#include <utility>

#include "nuoscripting/ScriptContext.h"

namespace nuoscripting {

ScriptFunction::~ScriptFunction() = default;

ScriptObject::ScriptObject(UTF8String inName) : mName(std::move(inName)) {}

ScriptObject::~ScriptObject() = default;

void ScriptObject::Finalize() {
    if (!mIsFinalized.exchange(true, std::memory_order_acq_rel)) {
        OnFinalize();
    }
}

void ScriptObject::SetContext(const RefPtr<ScriptContext>& inContext) {
    mContext = WeakPtr<ScriptContext>(inContext);
}

RefPtr<ScriptContext> ScriptObject::GetContext() const { return mContext.Lock(); }

}  // namespace nuoscripting
