#include "nuocore/RefCounted.h"

#include <atomic>
#include <cstdint>

namespace nuocore {

namespace detail {

// Outlives the object while weak pointers refer to it. All strong references together count as one weak one.
struct ReferenceCounts {
    std::atomic<std::uint32_t> mStrong{0};
    std::atomic<std::uint32_t> mWeak{1};
};

bool LockReference(ReferenceCounts* inCounts) noexcept {
    std::uint32_t strong = inCounts->mStrong.load(std::memory_order_relaxed);
    while (strong != 0) {
        if (inCounts->mStrong.compare_exchange_weak(strong, strong + 1, std::memory_order_acquire,
                                                    std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

void AddWeakReference(ReferenceCounts* inCounts) noexcept {
    inCounts->mWeak.fetch_add(1, std::memory_order_relaxed);
}

void ReleaseWeakReference(ReferenceCounts* inCounts) noexcept {
    if (inCounts->mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete inCounts;
    }
}

}  // namespace detail

RefCountedObjectWithWeakPtr::RefCountedObjectWithWeakPtr() : mCounts(new detail::ReferenceCounts) {}

RefCountedObjectWithWeakPtr::~RefCountedObjectWithWeakPtr() { detail::ReleaseWeakReference(mCounts); }

void RefCountedObjectWithWeakPtr::AddRef() const noexcept {
    mCounts->mStrong.fetch_add(1, std::memory_order_relaxed);
}

void RefCountedObjectWithWeakPtr::Release() const noexcept {
    if (mCounts->mStrong.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

}  // namespace nuocore
