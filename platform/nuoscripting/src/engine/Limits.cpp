#include "Limits.h"

#include <algorithm>
#include <limits>
#include <string>

#include "../Durations.h"
#include "EngineExtras.h"
#include "ProcessMemory.h"
#include "Strings.h"

namespace nuoscripting::engine {

namespace {

constexpr double kBetweenLooks = 0.01;              // seconds of processor time
constexpr int kMeasuringShare = 10;                 // measuring takes at most one part in so many of the time
constexpr std::chrono::seconds kUntilGivenBack{1};  // the engine keeps what it has freed for a while

std::size_t EngineMemory(JSContextRef inContext) {
    JSObjectRef statistics = JSGetMemoryUsageStatistics(inContext);
    return static_cast<std::size_t>(
        JSValueToNumber(inContext, PropertyOf(inContext, statistics, "heapSize"), nullptr));
}

}  // namespace

Limits::Limits(JSGlobalContextRef inContext, const Instances& inInstances,
               const ScriptContextSettings& inSettings)
    : mContext(inContext),
      mInstances(inInstances),
      mTimeLimit(inSettings.mTimeLimit),
      mMemoryLimit(inSettings.mMemoryLimit),
      mOthersMemory(ResidentMemory()) {
    if (AreSet() && FindDrainMicrotasks() == nullptr) {
        throw ScriptError("this version of the script engine can't keep limits: run scripts without");
    }
}

void Limits::Begin() {
    if (!AreSet()) {
        return;
    }
    mStopped.reset();
    mDeadline = Clock::now() + detail::Bounded(mTimeLimit);
    mNextMeasuring = {};
    mIsActive = true;
    JSContextGroupSetExecutionTimeLimit(JSContextGetGroup(mContext), kBetweenLooks, &Look, this);
}

void Limits::End() {
    if (!AreSet()) {
        return;
    }
    // Not cleared: a look that is due already would stop whatever runs then, if there were nobody to ask.
    mIsActive = false;
    JSContextGroupSetExecutionTimeLimit(JSContextGetGroup(mContext), std::numeric_limits<double>::infinity(),
                                        &Look, this);
    if (mStopped) {
        // What is left of stopping the script must not stop the next one.
        const String nothing = MakeString("0");
        JSValueRef exception = nullptr;
        do {
            exception = nullptr;
            JSEvaluateScript(mContext, nothing.get(), nullptr, nullptr, 1, &exception);
        } while (exception != nullptr);
    }
}

bool Limits::Look(JSContextRef inContext, void* inThis) {
    auto& self = *static_cast<Limits*>(inThis);
    if (!self.mIsActive || self.mIsMeasuring) {
        return false;  // measuring uses the engine, which asks again
    }
    if (!self.mStopped) {
        if (self.HasTimeLimit() && Clock::now() >= self.mDeadline) {
            self.mStopped = ScriptLimitExceeded::Limit::kTime;
        } else if (self.IsOverMemory(inContext)) {
            self.mStopped = ScriptLimitExceeded::Limit::kMemory;
        }
    }
    // The engine asks once; and a script that is stopped inside a native method may come back from it. Not
    // before, or the next look might come within this one.
    JSContextGroupSetExecutionTimeLimit(JSContextGetGroup(inContext), kBetweenLooks, &Look, inThis);
    return self.mStopped.has_value();
}

bool Limits::IsOverMemory(JSContextRef inContext) {
    const Clock::time_point began = Clock::now();
    if (mMemoryLimit == 0 || began < mNextMeasuring) {
        return false;
    }
    mIsMeasuring = true;
    bool isOver = EngineMemory(inContext) + mInstances.GetMostNativeMemory() > mMemoryLimit;
    if (HasProcessGrown() || isOver) {
        // Some of it may be garbage; and the engine counts large buffers only when it collects.
        JSSynchronousGarbageCollectForDebugging(inContext);
        const std::size_t inUse = GetMemoryUse(inContext);
        isOver = inUse > mMemoryLimit;
        NoteMemoryOfOthers(inUse);
    }
    mIsMeasuring = false;
    const Clock::time_point ended = Clock::now();
    mNextMeasuring = ended + kMeasuringShare * (ended - began);
    return isOver;
}

bool Limits::HasProcessGrown() {
    const std::size_t resident = ResidentMemory();
    mOthersMemory = std::min(mOthersMemory, resident);
    if (resident > mMemoryLimit && resident - mMemoryLimit > mOthersMemory) {
        return true;
    }
    mGrownSince.reset();
    return false;
}

void Limits::NoteMemoryOfOthers(std::size_t inScriptsMemory) {
    const std::size_t resident = ResidentMemory();
    const std::size_t others = resident - std::min(inScriptsMemory, resident);
    const Clock::time_point now = Clock::now();
    if (others > mOthersMemory && now < mGrownSince.value_or(now) + kUntilGivenBack) {
        mGrownSince = mGrownSince.value_or(now);
        return;
    }
    mOthersMemory = others;
    mGrownSince.reset();
}

void Limits::Check() {
    if (!mStopped && AreSet() && IsOverMemory(mContext)) {
        mStopped = ScriptLimitExceeded::Limit::kMemory;
    }
    ThrowIfStopped();
}

void Limits::ThrowIfStopped() const {
    if (!mStopped) {
        return;
    }
    if (*mStopped == ScriptLimitExceeded::Limit::kTime) {
        throw ScriptLimitExceeded(*mStopped, "the script was stopped: it took longer than " +
                                                 std::to_string(mTimeLimit.count()) + " ms");
    }
    throw ScriptLimitExceeded(*mStopped, "the script was stopped: it used more than " +
                                             std::to_string(mMemoryLimit) + " bytes of memory");
}

void Limits::Hurry() { JSContextGroupSetExecutionTimeLimit(JSContextGetGroup(mContext), 0, &Look, this); }

std::optional<std::chrono::milliseconds> Limits::TimeLeft() const {
    if (!HasTimeLimit()) {
        return std::nullopt;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(mDeadline - Clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

std::size_t Limits::GetMemoryUse(JSContextRef inContext) const {
    return EngineMemory(inContext) + mInstances.GetNativeMemory();
}

}  // namespace nuoscripting::engine
