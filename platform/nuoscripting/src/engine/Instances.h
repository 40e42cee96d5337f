/// The objects of a context's classes.
#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <atomic>
#include <cstddef>
#include <list>
#include <memory>
#include <unordered_map>

#include "EngineExtras.h"
#include "nuoscripting/ScriptObject.h"

namespace nuoscripting::engine {

struct ClassInfo;

struct ReleaseWeak {
    JSContextGroupRef mGroup;
    void operator()(JSWeakRef inWeak) const noexcept { JSWeakRelease(mGroup, inWeak); }
};

/// What stands behind an object.
struct InstanceInfo {
    ClassInfo& mClass;
    RefPtr<ScriptObject> mObject;
    JSObjectRef mAddress;                                // of the script's side
    std::unique_ptr<OpaqueJSWeak, ReleaseWeak> mIsHeld;  // null once the script has lost it

    [[nodiscard]] bool IsHeld() const noexcept { return JSWeakGetObject(mIsHeld.get()) != nullptr; }
};

/// Used on the context's thread.
///
/// To scripts an object is a plain one, for the engine remembers only of those where it has found a method:
/// looking it up anew would cost more than half of what calling it does. But plain objects carry nothing. So
/// what stands behind an object is found by its address, and a weak reference tells whether that is still
/// the same object.
class Instances {
  public:
    explicit Instances(JSGlobalContextRef inContext);
    Instances(const Instances&) = delete;
    Instances& operator=(const Instances&) = delete;

    /// Makes the script's side of an object.
    JSObjectRef Make(ClassInfo& inClass, RefPtr<ScriptObject> inObject);
    /// Null when it is no object of these classes.
    [[nodiscard]] const InstanceInfo* Find(JSObjectRef inObject) const noexcept {
        const auto known = mKnown.find(inObject);
        return known != mKnown.end() && known->second->IsHeld() ? &*known->second : nullptr;
    }

    /// What those that the script holds take beside the engine's memory, about: their size is the host's
    /// affair, but many small ones are much.
    [[nodiscard]] std::size_t GetNativeMemory() const noexcept;
    /// No less than that, and quickly.
    [[nodiscard]] std::size_t GetMostNativeMemory() const noexcept { return mInfos.size() * kNativeBytes; }

    /// Finalizes and releases those that the script has lost. Not inside the collector.
    void ReleaseLost() noexcept;
    /// Before the context goes: all are lost.
    void Lose() noexcept;

  private:
    using Infos = std::list<InstanceInfo>;

    static constexpr std::size_t kNativeBytes = 256;  // of an empty object, and of what finds it

    /// Called by the engine on any thread when something may have been lost.
    static void OnCollected(JSContextGroupRef inGroup, void* inThis);

    JSGlobalContextRef mContext;
    Infos mInfos;
    std::unordered_map<JSObjectRef, Infos::iterator> mKnown;
    Infos mLost;  // not all that are
    std::atomic<bool> mHasCollected{false};
};

}  // namespace nuoscripting::engine
