#include "nuoscripting/ScriptContext.h"

#include <deque>
#include <utility>

#include "Engine.h"

namespace nuoscripting {

detail::Engine::~Engine() = default;

RefPtr<ScriptContext> ScriptContext::Create(ScriptContextSettings inSettings) {
    detail::MakeEngine* const makeEngine = detail::LoadEngine();
    RefPtr<ScriptContext> context(new ScriptContext(std::move(inSettings)));
    context->mEngine.reset(
        makeEngine(*context, context->mWork, ScriptDefinitions::GetInstance().PinObjectDefinitions()));
    return context;
}

ScriptContext::ScriptContext(ScriptContextSettings inSettings)
    : mSettings(std::move(inSettings)),
      mThread(std::this_thread::get_id()),
      mWork(std::make_shared<detail::WorkQueue>(mSettings.mOnPendingWork)) {}

ScriptContext::~ScriptContext() { mWork->Close(); }

void ScriptContext::CheckThread(const char* inOperation) const {
    if (std::this_thread::get_id() != mThread) {
        throw ScriptError(std::string("ScriptContext::") + inOperation +
                          " was called on another thread than the context's own; use Post");
    }
}

std::uint32_t ScriptContext::GetFlags() const noexcept { return mSettings.mFlags; }

void ScriptContext::Run(std::string_view inSource, const std::string& inFile, int inFirstLine) {
    CheckThread("Run");
    const RefPtr<ScriptContext> held(this);
    mEngine->Run(inSource, inFile, inFirstLine, false);
}

VariantValue ScriptContext::Evaluate(std::string_view inSource, const std::string& inFile, int inFirstLine) {
    CheckThread("Evaluate");
    const RefPtr<ScriptContext> held(this);
    return mEngine->Run(inSource, inFile, inFirstLine, true).value_or(VariantValue());
}

std::optional<VariantValue> ScriptContext::EvaluateIfDefined(std::string_view inSource,
                                                             const std::string& inFile, int inFirstLine) {
    CheckThread("EvaluateIfDefined");
    const RefPtr<ScriptContext> held(this);
    return mEngine->Run(inSource, inFile, inFirstLine, true);
}

RefPtr<ScriptObject> ScriptContext::AddObject(const std::string& inVariable, std::string_view inClassName) {
    CheckThread("AddObject");
    const RefPtr<ScriptContext> held(this);
    return mEngine->AddObject(inVariable, inClassName);
}

void ScriptContext::Post(std::function<void()> inWork) {
    const std::shared_ptr<detail::WorkQueue> held = mWork;  // who is told may release the context
    held->Push(std::move(inWork));
}

bool ScriptContext::RunPending() {
    CheckThread("RunPending");
    const RefPtr<ScriptContext> held(this);
    std::deque<std::function<void()>> work = mWork->Take();
    if (work.empty()) {
        return false;
    }
    try {
        mEngine->Do(work);
    } catch (...) {
        mWork->PutBack(std::move(work));
        throw;
    }
    return true;
}

bool ScriptContext::WaitForPending(std::chrono::milliseconds inLimit) {
    CheckThread("WaitForPending");
    return mWork->WaitFor(inLimit);
}

std::size_t ScriptContext::CountOpenPromises() const {
    CheckThread("CountOpenPromises");
    return mEngine->CountOpenPromises();
}

void ScriptContext::CollectGarbage() {
    CheckThread("CollectGarbage");
    const RefPtr<ScriptContext> held(this);
    mEngine->CollectGarbage();
}

std::size_t ScriptContext::GetMemoryUse() const {
    CheckThread("GetMemoryUse");
    return mEngine->GetMemoryUse();
}

}  // namespace nuoscripting
