#include "EngineContext.h"

#include <utility>

#include "../HostFailure.h"
#include "Console.h"
#include "EngineExtras.h"
#include "Entry.h"
#include "Exceptions.h"
#include "Strings.h"

namespace nuoscripting::engine {

namespace {

// Carried by functions of the library's own that know their context.
struct OwnFunction {
    OwnFunction(EngineContext& ioContext, std::optional<ScriptException>& ioRejection) noexcept
        : mContext(ioContext), mRejection(ioRejection) {}
    EngineContext& mContext;
    std::optional<ScriptException>& mRejection;
};

JSValueRef DrainNow(JSContextRef inContext, JSObjectRef /*inFunction*/, JSObjectRef /*inThis*/,
                    std::size_t /*inCount*/, const JSValueRef /*inArguments*/[],
                    JSValueRef* /*outException*/) {
    JSLock(inContext);
    FindDrainMicrotasks()(JSContextGetGroup(inContext));
    JSUnlock(inContext);
    return JSValueMakeUndefined(inContext);
}

JSValueRef OnRejection(JSContextRef inContext, JSObjectRef inFunction, JSObjectRef /*inThis*/,
                       std::size_t inCount, const JSValueRef inArguments[], JSValueRef* /*outException*/) {
    const auto& own = *static_cast<OwnFunction*>(JSObjectGetPrivate(inFunction));
    // The engine may tell when the limits have ended: reading would run code without them.
    if (own.mContext.GetLimits().HasStopped() || own.mRejection || inCount < 2) {
        return JSValueMakeUndefined(inContext);
    }
    try {
        own.mRejection.emplace(ReadException(own.mContext, inArguments[1]));
    } catch (...) {
        detail::LogHostFailure("Reading the reason of a rejected promise");
    }
    return JSValueMakeUndefined(inContext);
}

void ForgetOwnFunction(JSObjectRef inFunction) {
    delete static_cast<OwnFunction*>(JSObjectGetPrivate(inFunction));
}

JSClassRef RejectionClass() {
    static JSClassRef sClass = [] {
        JSClassDefinition definition = kJSClassDefinitionEmpty;
        definition.className = "Function";
        definition.callAsFunction = &OnRejection;
        definition.finalize = &ForgetOwnFunction;
        return JSClassCreate(&definition);
    }();
    return sClass;
}

}  // namespace

EngineContext::EngineContext(ScriptContext& ioOwner, std::shared_ptr<detail::WorkQueue> inQueue,
                             std::vector<ScriptDefinitions::Pinned> inDefinitions)
    : mOwner(ioOwner),
      mQueue(std::move(inQueue)),
      mLink(std::make_shared<ContextLink>(*this, ioOwner)),
      mGroup(JSContextGroupCreate()),
      mContext(JSGlobalContextCreateInGroup(mGroup, nullptr)) {
    try {
        mInstances.emplace(mContext);
        mLimits.emplace(mContext, *mInstances, mOwner.GetSettings());
        TakeAwayUnbounded(mContext);
        mProperties.emplace(mContext);
        KeepErrors();
        mMicrotasks = JSObjectMakeFunctionWithCallback(mContext, nullptr, &DrainNow);
        JSValueProtect(mContext, mMicrotasks);
        WatchRejections();
        if (mOwner.GetSettings().mConsole) {
            DefineConsole(*this);
        }
        for (ScriptDefinitions::Pinned& definition : inDefinitions) {
            mClasses.push_back(std::make_unique<ClassInfo>(std::move(definition), *this));
            DefineClass(mContext, *mClasses.back());
        }
    } catch (...) {
        JSGlobalContextRelease(mContext);
        JSContextGroupRelease(mGroup);
        throw;
    }
}

EngineContext::~EngineContext() {
    {
        const std::lock_guard lock(mLink->mLock);
        mLink->mHasGone = true;
        mLink->mToUnprotect.clear();
    }
    mInstances->Lose();
    // Ends all that the script had.
    JSGlobalContextRelease(mContext);
    JSContextGroupRelease(mGroup);
    mInstances->ReleaseLost();
}

std::optional<VariantValue> EngineContext::Run(std::string_view inSource, const std::string& inFile,
                                               int inFirstLine, bool inWithResult) {
    const String source = MakeString(inSource);
    const String file = MakeString(inFile);
    std::optional<VariantValue> result;
    Entry entry(*this);
    JSValueRef exception = nullptr;
    const JSValueRef value =
        JSEvaluateScript(mContext, source.get(), nullptr, file.get(), inFirstLine, &exception);
    if (exception == nullptr && inWithResult && !JSValueIsUndefined(mContext, value) &&
        !VariantFromScript(mContext, value, result.emplace(), &exception) && exception == nullptr) {
        exception = MakeTypeError(
            mContext, mTypeError,
            std::string("the result is ") + KindOf(mContext, value) + ", which JSON can't express");
    }
    if (exception != nullptr) {
        ThrowToHost(exception);
    }
    entry.Finish();
    return result;
}

RefPtr<ScriptObject> EngineContext::AddObject(const std::string& inVariable, std::string_view inClassName) {
    for (const auto& info : mClasses) {
        if (info->mPinned->mName != inClassName) {
            continue;
        }
        RefPtr<ScriptObject> object = info->mDefinition.CreateFactoryInstance(RefPtr<ScriptContext>(&mOwner));
        Entry entry(*this);
        JSValueRef exception = nullptr;
        mProperties->Define(JSContextGetGlobalObject(mContext), MakeString(inVariable).get(),
                            MakeInstance(*info, object), PropertyDefiner::kAll, &exception);
        if (exception != nullptr) {
            ThrowToHost(exception);
        }
        entry.Finish();
        return object;
    }
    throw ScriptError("there is no class \"" + std::string(inClassName) + "\" in this context");
}

const ItemInfo* EngineContext::FindItem(JSObjectRef inFunction) const noexcept {
    for (const auto& info : mClasses) {
        if (const ItemInfo* const item = info->FindItem(inFunction)) {
            return item;
        }
    }
    return nullptr;
}

void EngineContext::Do(std::deque<std::function<void()>>& ioWork) {
    Entry entry(*this);
    while (!ioWork.empty()) {
        entry.Do([&ioWork] {
            const std::function<void()> work = std::move(ioWork.front());
            ioWork.pop_front();
            work();
        });
    }
}

void EngineContext::CollectGarbage() {
    JSSynchronousGarbageCollectForDebugging(mContext);
    ReleaseLost();
}

std::size_t EngineContext::GetMemoryUse() { return mLimits->GetMemoryUse(mContext); }

RefPtr<ScriptFunction> EngineContext::Wrap(JSObjectRef inFunction) {
    return RefPtr<ScriptFunction>(new KeptFunction(mContext, inFunction, mLink));
}

std::shared_ptr<const KeptValue> EngineContext::Keep(JSValueRef inValue) const {
    return std::make_shared<const KeptValue>(mContext, inValue, mLink);
}

VariantValue EngineContext::Call(JSObjectRef inFunction, const std::vector<VariantValue>& inArguments) {
    Entry entry(*this);
    ProtectedValues arguments(mContext);
    for (const VariantValue& argument : inArguments) {
        arguments.Add(VariantToScript(mContext, argument));
    }
    JSValueRef exception = nullptr;
    const JSValueRef value = JSObjectCallAsFunction(mContext, inFunction, nullptr, arguments.Get().size(),
                                                    arguments.Get().data(), &exception);
    VariantValue result;
    if (exception == nullptr && !VariantFromScript(mContext, value, result, &exception) &&
        exception == nullptr) {
        throw ScriptError(std::string("the function's result is ") + KindOf(mContext, value) +
                          ", which JSON can't express");
    }
    if (exception != nullptr) {
        ThrowToHost(exception);
    }
    entry.Finish();
    return result;
}

JSObjectRef EngineContext::MakePromise(JSObjectRef inObject, RefPtr<NativePromise>& outPromise,
                                       JSValueRef* outException) {
    JSObjectRef resolve = nullptr;
    JSObjectRef reject = nullptr;
    JSObjectRef promise = JSObjectMakeDeferredPromise(mContext, &resolve, &reject, outException);
    if (promise == nullptr) {
        return nullptr;
    }
    struct Sides {
        KeptValue mResolve;
        KeptValue mReject;
        KeptValue mObject;
    };
    // Copied together with the function, but kept once.
    const auto sides = std::shared_ptr<Sides>(
        new Sides{{mContext, resolve, mLink}, {mContext, reject, mLink}, {mContext, inObject, mLink}});
    outPromise =
        new NativePromise(mQueue, [this, sides](const ScriptValue& inValue, std::exception_ptr inError) {
            // Run by the queue, so the context is there.
            --mOpenPromises;
            JSValueRef value = nullptr;
            try {
                value = inError ? MakeError(*this, inError) : ToScript(mContext, inValue);
            } catch (...) {
                inError = std::current_exception();
                value = MakeError(*this, inError);
            }
            JSObjectCallAsFunction(mContext, ObjectOf(mContext, inError ? sides->mReject : sides->mResolve),
                                   nullptr, 1, &value, nullptr);
        });
    ++mOpenPromises;
    return promise;
}

void EngineContext::ReleaseLost() noexcept {
    mInstances->ReleaseLost();
    std::list<JSValueRef> unprotected;
    {
        const std::lock_guard lock(mLink->mLock);
        unprotected.swap(mLink->mToUnprotect);
    }
    for (const JSValueRef value : unprotected) {
        JSValueUnprotect(mContext, value);
    }
}

void EngineContext::RunMicrotasks() {
    if (mLimits->AreSet()) {
        // Called by the engine they count as one piece of running; run when the lock is released, each would
        // begin the time anew.
        JSObjectCallAsFunction(mContext, mMicrotasks, nullptr, 0, nullptr, nullptr);
    } else {
        JSUnlock(mContext);
        JSLock(mContext);
    }
}

void EngineContext::KeepErrors() {
    JSObjectRef global = JSContextGetGlobalObject(mContext);
    mErrorClass = JSValueToObject(mContext, PropertyOf(mContext, global, "Error"), nullptr);
    mTypeError = JSValueToObject(mContext, PropertyOf(mContext, global, "TypeError"), nullptr);
    mOutOfMemory = MakeError(mContext, "out of memory");
    for (const JSValueRef value : {JSValueRef{mErrorClass}, JSValueRef{mTypeError}, mOutOfMemory}) {
        JSValueProtect(mContext, value);
    }
}

void EngineContext::WatchRejections() {
    JSObjectRef function = JSObjectMake(mContext, RejectionClass(), new OwnFunction(*this, mRejection));
    JSGlobalContextSetUnhandledRejectionCallback(mContext, function, nullptr);
}

void EngineContext::ThrowToHost(JSValueRef inException) {
    mLimits->ThrowIfStopped();
    const ScriptException exception = ReadException(*this, inException);
    mLimits->ThrowIfStopped();  // reading runs code too
    throw exception;
}

}  // namespace nuoscripting::engine

// The caller owns what it gets: a function with this linkage can't give a smart pointer in every compiler.
extern "C" NUOSCRIPTING_API nuoscripting::detail::MakeEngine nuoscripting_make_engine;

nuoscripting::detail::Engine* nuoscripting_make_engine(
    nuoscripting::ScriptContext& ioContext, std::shared_ptr<nuoscripting::detail::WorkQueue> inQueue,
    std::vector<nuoscripting::ScriptDefinitions::Pinned> inDefinitions) {
    return std::make_unique<nuoscripting::engine::EngineContext>(ioContext, std::move(inQueue),
                                                                 std::move(inDefinitions))
        .release();
}
