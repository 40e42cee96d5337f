/// Running scripts.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "nuoscripting/Errors.h"
#include "nuoscripting/ScriptObject.h"
#include "nuoscripting/ScriptValue.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

namespace detail {
class Engine;
class WorkQueue;
}  // namespace detail

/// Methods flagged for it give promises.
inline constexpr std::uint32_t kContextFlag_Promises = 0x1;

/// How scripts of a context tell something.
enum class ConsoleLevel { kLog, kInfo, kDebug, kWarn, kError };

struct ScriptContextSettings {
    std::uint32_t mFlags = kContextFlag_Promises;
    /// How long one call into the context (`Run`, `Evaluate`, `AddObject`, `RunPending`, a `ScriptFunction`)
    /// may take, `RunPending` for all its work; 0 for ever. Looked at about every 10 ms of the processor's
    /// time, and after each native method, constructor and line of the console. What a native method or one
    /// operation of the engine (matching a regular expression, say) takes counts, but is not cut short: the
    /// script is stopped after it. Where scripts and native methods call each other many levels deep, each
    /// with a "catch", leaving them all takes a while more.
    std::chrono::milliseconds mTimeLimit{0};
    /// How many bytes the context's scripts may keep in use; 0 for no limit. Looked at about every 10 ms of
    /// running, at the end of a call, and never oftener than lets measuring take a tenth of the time: until
    /// then a script may be over it by whatever it gets hold of, and one operation of the engine (making a
    /// buffer, say) may take any amount at once. Of a native object that a script holds 256 bytes are
    /// counted, whatever it has itself.
    std::size_t mMemoryLimit = 0;
    /// What `console.log` and its sisters print; without it scripts have the engine's mute console. Called on
    /// the context's thread; must not throw.
    std::function<void(ConsoleLevel, std::string_view)> mConsole;
    /// Called when there is something for `RunPending`, on any thread, also inside `Post`, and inside a
    /// `RunPending` that leaves work behind because something threw; one call at a time, and none any more
    /// when the context has gone: who releases the last reference waits for one that is running. So it must
    /// not wait for the context's thread, and `Post` must not be called holding a lock that it takes. What it
    /// throws goes to the log.
    std::function<void()> mOnPendingWork;
};

/// A global object with all definitions of the moment, and the scripts that run in it. Of what the engine
/// offers, scripts don't have what it would run outside of all calls into the context or could not be stopped
/// in: `WebAssembly`, `FinalizationRegistry`, `Atomics.wait` and `Atomics.waitAsync`.
///
/// Thread rule: a context belongs to the thread that makes it. All operations but `Post` and `GetFlags` throw
/// `ScriptError` on another thread. Contexts of different threads run at the same time and share nothing. The
/// last reference may be released on any thread while no operation runs.
class NUOSCRIPTING_API ScriptContext final : public nuocore::RefCountedObjectWithWeakPtr {
  public:
    /// The first context of the process loads the engine. Throws `ScriptError` when that fails, when the
    /// engine can't keep the limits that are asked for, or when definitions can't be made.
    static RefPtr<ScriptContext> Create(ScriptContextSettings inSettings = {});

    [[nodiscard]] std::uint32_t GetFlags() const noexcept;
    [[nodiscard]] const ScriptContextSettings& GetSettings() const noexcept { return mSettings; }

    /// Runs a script, and then what its promises have to do. `inFile` stands in messages. Throws
    /// `ScriptException` when the script doesn't catch an exception or nobody handles a rejected promise, and
    /// `ScriptLimitExceeded`. After a time limit the context can go on; after a memory limit it can, but what
    /// its scripts keep is still there.
    void Run(std::string_view inSource, const std::string& inFile, int inFirstLine = 1);
    /// The same, with the script's result as `JSON.stringify` sees it; "undefined" becomes an empty value.
    /// Throws `ScriptException` too when the result has no such form, and `ScriptError` when it is too large
    /// or too deep (see `nuocore::serialization::JSONLimits`).
    VariantValue Evaluate(std::string_view inSource, const std::string& inFile, int inFirstLine = 1);

    /// The same, with nothing for "undefined", which can be told from "null" that way.
    std::optional<VariantValue> EvaluateIfDefined(std::string_view inSource, const std::string& inFile,
                                                  int inFirstLine = 1);

    /// Makes an object of a class (by the name its definition is registered under) and gives it to the
    /// scripts as a global variable, in place of what they have under that name. Throws `ScriptError` when
    /// there is no such class in this context, `ScriptException` when a script has fixed what it has there,
    /// and as `Run` does.
    RefPtr<ScriptObject> AddObject(const std::string& inVariable, std::string_view inClassName);

    /// Hands work to the context's thread, from any thread. What is posted to a context that goes is dropped.
    void Post(std::function<void()> inWork);
    /// Does what has been posted until now; promises of methods are completed that way. Returns whether there
    /// was anything. Throws as `Run` does, and what work throws; the rest stays for the next call.
    bool RunPending();
    /// Waits until there is something for `RunPending`, `inLimit` at most; whether there is.
    bool WaitForPending(std::chrono::milliseconds inLimit);
    /// How many promises of methods aren't completed.
    [[nodiscard]] std::size_t CountOpenPromises() const;

    /// Has the collector do all its work now. For tests and for hosts that have just dropped much.
    void CollectGarbage();
    /// What the context's scripts have in use, in bytes, as the collector found it when it last ran; of
    /// native objects 256 bytes each.
    [[nodiscard]] std::size_t GetMemoryUse() const;

  private:
    explicit ScriptContext(ScriptContextSettings inSettings);
    ~ScriptContext() override;
    void CheckThread(const char* inOperation) const;

    friend class NativePromise;

    ScriptContextSettings mSettings;
    std::thread::id mThread;
    std::shared_ptr<detail::WorkQueue> mWork;
    std::unique_ptr<detail::Engine> mEngine;
};

}  // namespace nuoscripting
