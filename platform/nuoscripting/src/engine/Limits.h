/// Keeps scripts of one context within their time and memory.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <chrono>
#include <cstddef>
#include <optional>

#include "CoarseClock.h"
#include "Instances.h"
#include "nuoscripting/ScriptContext.h"

namespace nuoscripting::engine {

/// Looks at the script about every 10 ms of processor time, from the engine's own time limit, and stops it
/// when it takes too much. Used on the context's thread.
class Limits {
  public:
    /// Throws `ScriptError` when limits are asked for that this version of the engine can't keep.
    Limits(JSGlobalContextRef inContext, const Instances& inInstances,
           const ScriptContextSettings& inSettings);
    Limits(const Limits&) = delete;
    Limits& operator=(const Limits&) = delete;

    [[nodiscard]] bool AreSet() const noexcept { return HasTimeLimit() || mMemoryLimit > 0; }
    /// Around one call into the context.
    void Begin();
    void End();
    /// Whether the running script has been stopped. Native methods that scripts call then do nothing, throw
    /// nothing and use nothing of the engine's: the script could catch what they make of it, and go on.
    [[nodiscard]] bool HasStopped() const noexcept { return mStopped.has_value(); }
    /// Looks at the time after a native method, which may have waited without using the processor.
    void LookAfterCall() noexcept {
        if (HasTimeLimit() && !mStopped && CoarseNow() >= mDeadline) {
            mStopped = ScriptLimitExceeded::Limit::kTime;
        }
    }
    /// The end of a native function that a script has called, after which the script may be stopped. Then
    /// without the exception, which the script could catch.
    [[nodiscard]] bool StopAfterCall(JSValueRef* outException) {
        LookAfterCall();
        if (!HasStopped()) {
            return false;
        }
        *outException = nullptr;
        Hurry();
        return true;
    }
    /// Throws `ScriptLimitExceeded` if it has been stopped.
    void ThrowIfStopped() const;
    /// The same at its end, also if it uses too much memory.
    void Check();
    /// What is left of the time; nothing without a limit.
    [[nodiscard]] std::optional<std::chrono::milliseconds> TimeLeft() const;

    [[nodiscard]] std::size_t GetMemoryUse(JSContextRef inContext) const;

  private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] bool HasTimeLimit() const noexcept { return mTimeLimit.count() > 0; }
    /// Asks for the next look at once.
    void Hurry();
    static bool Look(JSContextRef inContext, void* inThis);
    [[nodiscard]] bool IsOverMemory(JSContextRef inContext);
    /// By so much that the scripts may be over their limit.
    [[nodiscard]] bool HasProcessGrown();
    /// After collecting. More only when it stays more: what was freed is in use for a while yet.
    void NoteMemoryOfOthers(std::size_t inScriptsMemory);

    JSGlobalContextRef mContext;
    const Instances& mInstances;
    std::chrono::milliseconds mTimeLimit;
    std::size_t mMemoryLimit;
    std::size_t mOthersMemory;  // what the process has in use beside the scripts
    std::optional<std::chrono::steady_clock::time_point> mGrownSince;  // it seems to have more since then
    Clock::time_point mDeadline;
    Clock::time_point mNextMeasuring;
    bool mIsActive = false;
    bool mIsMeasuring = false;
    std::optional<ScriptLimitExceeded::Limit> mStopped;
};

}  // namespace nuoscripting::engine
