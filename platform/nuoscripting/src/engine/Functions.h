/// Functions of scripts that native code keeps.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "nuoscripting/ScriptValue.h"

namespace nuoscripting::engine {

class EngineContext;

/// How values that native code keeps find their context, and leave it on any thread.
struct ContextLink {
    std::mutex mLock;
    const std::thread::id mThread = std::this_thread::get_id();
    EngineContext* mContext = nullptr;     // null when it has gone
    std::vector<JSValueRef> mToUnprotect;  // what nobody keeps any more
};

/// Keeps a value from the collector. Made on the context's thread, ends on any.
class KeptValue {
  public:
    KeptValue(JSContextRef inContext, JSValueRef inValue, std::shared_ptr<ContextLink> inLink);
    KeptValue(const KeptValue&) = delete;
    KeptValue& operator=(const KeptValue&) = delete;
    ~KeptValue();

    /// On the context's thread.
    [[nodiscard]] JSValueRef Get() const noexcept { return mValue; }
    [[nodiscard]] bool BelongsTo(const EngineContext& inContext) const noexcept {
        return mLink->mContext == &inContext;
    }
    /// The context, on its thread; throws `ScriptError` elsewhere and when it has gone.
    [[nodiscard]] EngineContext& GetContext() const;

  private:
    JSValueRef mValue;
    std::shared_ptr<ContextLink> mLink;
};

/// What is kept, if that is an object.
JSObjectRef ObjectOf(JSContextRef inContext, const KeptValue& inValue);

class KeptFunction final : public ScriptFunction {
  public:
    KeptFunction(JSContextRef inContext, JSObjectRef inFunction, std::shared_ptr<ContextLink> inLink)
        : mFunction(inContext, inFunction, std::move(inLink)) {}

    VariantValue Call(const std::vector<VariantValue>& inArguments) override;

  private:
    KeptValue mFunction;
};

}  // namespace nuoscripting::engine
