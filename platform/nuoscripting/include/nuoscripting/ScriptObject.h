/// The native side of an object that scripts hold.
#pragma once

#include <atomic>

#include "nuoscripting/ScriptValue.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

class ScriptContext;

/// Base of the classes that scripts can use. The script's object owns a reference, hosts may hold more. When
/// the script has lost its object, its reference is released on the thread of the context (with the context,
/// on the thread that releases that last), never inside the collector; how long after, is the collector's
/// affair.
class NUOSCRIPTING_API ScriptObject : public nuocore::RefCountedObjectWithWeakPtr {
  public:
    /// With the name of its class.
    explicit ScriptObject(UTF8String inName);

    /// The name it was made with.
    [[nodiscard]] const UTF8String& GetName() const noexcept { return mName; }

    /// Ends the object's work, once; its memory stays as long as it is referred to. Calls that a script makes
    /// from then on fail with an exception of the script; one that is running on another thread runs to its
    /// end. For hosts, before what the object refers to goes. The library calls it when the script has lost
    /// its object. Any thread.
    void Finalize();
    [[nodiscard]] bool IsFinalized() const noexcept { return mIsFinalized.load(std::memory_order_acquire); }

    /// Names the context whose scripts use the object; the library calls it before the script gets the
    /// object.
    void SetContext(const RefPtr<ScriptContext>& inContext);
    /// That context; null when it has gone. On the context's thread.
    [[nodiscard]] RefPtr<ScriptContext> GetContext() const;

  protected:
    ~ScriptObject() override;

    /// Called once, by `Finalize`, on its thread. What it throws goes to the caller of `Finalize`, and to the
    /// log when that is the library.
    virtual void OnFinalize() {}

  private:
    UTF8String mName;
    std::atomic<bool> mIsFinalized{false};
    WeakPtr<ScriptContext> mContext;
};

}  // namespace nuoscripting
