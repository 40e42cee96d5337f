/// The seam between this library, which hosts load, and the engine's binding, a library of its own that is
/// loaded with the first context: the engine is large, and most hosts never run a script.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "WorkQueue.h"
#include "nuoscripting/Registry.h"
#include "nuoscripting/ScriptContext.h"

namespace nuoscripting::detail {

/// What runs the scripts of one context. All operations on its thread; they throw as those of the context.
class NUOSCRIPTING_API Engine {
  public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    virtual ~Engine();

    /// Nothing for "undefined", or when no result is asked for.
    virtual std::optional<VariantValue> Run(std::string_view inSource, const std::string& inFile,
                                            int inFirstLine, bool inWithResult) = 0;
    virtual RefPtr<ScriptObject> AddObject(const std::string& inVariable, std::string_view inClassName) = 0;
    /// Runs work in which scripts may be called, all of it as one call; takes out what it begins.
    virtual void Do(std::deque<std::function<void()>>& ioWork) = 0;
    [[nodiscard]] virtual std::size_t CountOpenPromises() const = 0;
    virtual void CollectGarbage() = 0;
    [[nodiscard]] virtual std::size_t GetMemoryUse() = 0;
};

/// What the binding exports, under the name of `kEngineEntry`.
using MakeEngine = Engine*(ScriptContext& ioContext, std::shared_ptr<WorkQueue> inQueue,
                           std::vector<ScriptDefinitions::Pinned> inDefinitions);
inline constexpr const char* kEngineEntry = "nuoscripting_make_engine";

/// The binding's entry; loads it. Throws `ScriptError`.
MakeEngine* LoadEngine();

}  // namespace nuoscripting::detail
