/// Values of scripts that native code keeps.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "nuoscripting/ScriptContext.h"
#include "nuoscripting/ScriptValue.h"

namespace nuoscripting::engine {

class EngineContext;

/// How values that native code keeps find their context, and leave it on any thread.
struct ContextLink {
    explicit ContextLink(EngineContext& ioContext, ScriptContext& ioOwner)
        : mContext(ioContext), mOwner(&ioOwner) {}
    EngineContext& mContext;  // there while its owner is
    const WeakPtr<ScriptContext> mOwner;
    const std::thread::id mThread = std::this_thread::get_id();
    std::mutex mLock;
    bool mHasGone = false;               // then the collector has taken everything
    std::list<JSValueRef> mToUnprotect;  // what nobody keeps any more
};

/// Keeps a value from the collector. Made on the context's thread, ends on any.
class KeptValue {
  public:
    KeptValue(JSContextRef inContext, JSValueRef inValue, std::shared_ptr<ContextLink> inLink);
    KeptValue(const KeptValue&) = delete;
    KeptValue& operator=(const KeptValue&) = delete;
    ~KeptValue();

    /// On the context's thread.
    [[nodiscard]] JSValueRef Get() const noexcept { return mValue.front(); }
    [[nodiscard]] const ContextLink& GetLink() const noexcept { return *mLink; }

  private:
    std::list<JSValueRef> mValue;  // one, in the form in which it can be given back without fail
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

/// Keeps values that only the heap refers to, which the collector doesn't see, for the time of a call.
class ProtectedValues {
  public:
    explicit ProtectedValues(JSContextRef inContext) noexcept : mContext(inContext) {}
    ProtectedValues(const ProtectedValues&) = delete;
    ProtectedValues& operator=(const ProtectedValues&) = delete;
    ~ProtectedValues();

    void Add(JSValueRef inValue);
    [[nodiscard]] const std::vector<JSValueRef>& Get() const noexcept { return mValues; }

  private:
    JSContextRef mContext;
    std::vector<JSValueRef> mValues;
};

}  // namespace nuoscripting::engine
