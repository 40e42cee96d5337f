/// Promises of scripts that native code completes.
#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>

#include "nuoscripting/ScriptValue.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

namespace detail {
class WorkQueue;
}

/// The native side of a promise that a script has got. Completed once, on any thread; the script hears of it
/// in the next `ScriptContext::RunPending`. One that goes without having been completed is rejected. After
/// its context has gone completing does nothing.
class NUOSCRIPTING_API NativePromise : public nuocore::RefCountedObjectWithWeakPtr {
  public:
    /// What completes the script's promise, on its context's thread: with a value, or with an exception.
    using Settle = std::function<void(ScriptValue, std::exception_ptr)>;

    NativePromise(std::shared_ptr<detail::WorkQueue> inQueue, Settle inSettle);

    /// Whether this call has completed it.
    bool Resolve(ScriptValue inValue) noexcept;
    bool Reject(std::exception_ptr inError) noexcept;

  protected:
    ~NativePromise() override;

  private:
    bool Complete(ScriptValue inValue, std::exception_ptr inError) noexcept;

    std::shared_ptr<detail::WorkQueue> mQueue;
    Settle mSettle;
    std::atomic<bool> mIsCompleted{false};
};

}  // namespace nuoscripting
