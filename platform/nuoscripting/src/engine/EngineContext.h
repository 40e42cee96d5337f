/// The engine's side of a context: its global object, and every way into it.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "../Engine.h"
#include "Builtins.h"
#include "Classes.h"
#include "Functions.h"
#include "Instances.h"
#include "Limits.h"
#include "Values.h"
#include "nuoscripting/NativePromise.h"

namespace nuoscripting::engine {

class EngineContext final : public detail::Engine, public FunctionWrapper {
  public:
    EngineContext(ScriptContext& ioOwner, std::shared_ptr<detail::WorkQueue> inQueue,
                  std::vector<ScriptDefinitions::Pinned> inDefinitions);
    ~EngineContext() override;

    std::optional<VariantValue> Run(std::string_view inSource, const std::string& inFile, int inFirstLine,
                                    bool inWithResult) override;
    RefPtr<ScriptObject> AddObject(const std::string& inVariable, std::string_view inClassName) override;
    void Do(std::deque<std::function<void()>>& ioWork) override;
    [[nodiscard]] std::size_t CountOpenPromises() const override { return mOpenPromises; }
    void CollectGarbage() override;
    [[nodiscard]] std::size_t GetMemoryUse() override;

    [[nodiscard]] JSGlobalContextRef GetContext() const noexcept { return mContext; }
    [[nodiscard]] ScriptContext& GetOwner() const noexcept { return mOwner; }
    [[nodiscard]] JSObjectRef GetErrorClass() const noexcept { return mErrorClass; }
    /// An Error for when there is no memory to make one.
    [[nodiscard]] JSValueRef GetOutOfMemory() const noexcept { return mOutOfMemory; }
    [[nodiscard]] JSObjectRef GetTypeError() const noexcept { return mTypeError; }
    [[nodiscard]] Limits& GetLimits() noexcept { return *mLimits; }
    [[nodiscard]] Instances& GetInstances() noexcept { return *mInstances; }
    [[nodiscard]] const PropertyDefiner& GetProperties() const noexcept { return *mProperties; }
    /// The context whose script this thread runs.
    [[nodiscard]] static EngineContext& Current() noexcept;
    /// The method whose function it is.
    [[nodiscard]] const ItemInfo* FindItem(JSObjectRef inFunction) const noexcept;

    RefPtr<ScriptFunction> Wrap(JSObjectRef inFunction) override;
    [[nodiscard]] std::shared_ptr<const KeptValue> Keep(JSValueRef inValue) const;
    [[nodiscard]] bool Owns(const KeptValue& inValue) const noexcept {
        return &inValue.GetLink() == mLink.get();
    }
    /// On the context's thread only.
    VariantValue Call(JSObjectRef inFunction, const std::vector<VariantValue>& inArguments);

    /// A promise for a script, and its native side; null with an exception. Until it is completed the object
    /// is kept whose method completes it.
    JSObjectRef MakePromise(JSObjectRef inObject, RefPtr<NativePromise>& outPromise,
                            JSValueRef* outException);

    /// Releases what is lost to the script, and what native code doesn't keep any more. Not inside the
    /// collector.
    void ReleaseLost() noexcept;

  private:
    class Entry;

    void RunMicrotasks();
    void KeepErrors();
    void WatchRejections();
    [[noreturn]] void ThrowToHost(JSValueRef inException);

    ScriptContext& mOwner;
    const std::shared_ptr<detail::WorkQueue> mQueue;
    const std::shared_ptr<ContextLink> mLink;
    std::vector<std::unique_ptr<ClassInfo>> mClasses;
    JSContextGroupRef mGroup;
    JSGlobalContextRef mContext;
    JSObjectRef mErrorClass = nullptr;
    JSObjectRef mTypeError = nullptr;
    JSValueRef mOutOfMemory = nullptr;
    JSObjectRef mMicrotasks = nullptr;
    std::optional<Instances> mInstances;
    std::optional<Limits> mLimits;
    std::optional<PropertyDefiner> mProperties;
    std::optional<ScriptException> mRejection;
    int mDepth = 0;
    std::size_t mOpenPromises = 0;
};

}  // namespace nuoscripting::engine
