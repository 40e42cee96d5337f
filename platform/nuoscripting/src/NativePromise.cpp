#include "nuoscripting/NativePromise.h"

#include <utility>

#include "WorkQueue.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting {

NativePromise::NativePromise(std::shared_ptr<detail::WorkQueue> inQueue, Settle inSettle)
    : mQueue(std::move(inQueue)), mSettle(std::move(inSettle)) {}

NativePromise::~NativePromise() {
    if (!mIsCompleted.load(std::memory_order_acquire)) {
        Reject(
            std::make_exception_ptr(ScriptError("the promise was given up without having been completed")));
    }
}

bool NativePromise::Resolve(ScriptValue inValue) noexcept { return Complete(std::move(inValue), nullptr); }

bool NativePromise::Reject(std::exception_ptr inError) noexcept { return Complete({}, std::move(inError)); }

bool NativePromise::Complete(ScriptValue inValue, std::exception_ptr inError) noexcept {
    if (mIsCompleted.exchange(true, std::memory_order_acq_rel)) {
        return false;
    }
    try {
        // Only this call uses mSettle: the first completion is the last.
        return mQueue->Push(
            [settle = std::move(mSettle), value = std::move(inValue), error = std::move(inError)]() mutable {
                settle(std::move(value), std::move(error));
            });
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace nuoscripting
