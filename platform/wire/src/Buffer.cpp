#include "wire/Buffer.h"

#include <algorithm>
#include <new>

namespace orvane::plexa::wire {

namespace {

constexpr std::align_val_t kAlignment{64};

constexpr std::size_t RoundUp(std::size_t inBytes) {
    constexpr std::size_t kMask = static_cast<std::size_t>(kAlignment) - 1;
    return (std::max<std::size_t>(inBytes, 1) + kMask) & ~kMask;
}

}  // namespace

Buffer::Buffer(BufferPool& inPool, std::size_t inCapacity)
    : mPool(inPool),
      mBytes(static_cast<std::byte*>(::operator new(inCapacity, kAlignment))),
      mCapacity(inCapacity) {}

Buffer::~Buffer() { ::operator delete(mBytes, kAlignment); }

void intrusive_ptr_release(Buffer* inBuffer) noexcept {
    if (inBuffer->mReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        inBuffer->mPool.Return(inBuffer);
    }
}

BufferPool::BufferPool(std::size_t inStandard, std::size_t inKept)
    : mStandard(RoundUp(inStandard)), mKept(inKept) {
    mFree.reserve(inKept);
}

BufferPool::~BufferPool() {
    for (Buffer* buffer : mFree) {
        delete buffer;
    }
}

BufferRef BufferPool::Make(std::size_t inCapacity) {
    if (inCapacity > mStandard) {
        return MakeExact(inCapacity);
    }
    {
        const std::scoped_lock lock(mMutex);
        if (!mFree.empty()) {
            BufferRef buffer(mFree.back());
            mFree.pop_back();
            mInUse.fetch_add(mStandard, std::memory_order_relaxed);
            return buffer;
        }
    }
    return MakeExact(mStandard);
}

BufferRef BufferPool::MakeExact(std::size_t inCapacity) {
    const std::size_t capacity = RoundUp(inCapacity);
    BufferRef buffer(new Buffer(*this, capacity));
    mInUse.fetch_add(capacity, std::memory_order_relaxed);
    return buffer;
}

void BufferPool::Return(Buffer* inBuffer) noexcept {
    mInUse.fetch_sub(inBuffer->mCapacity, std::memory_order_relaxed);
    if (inBuffer->mCapacity == mStandard) {
        const std::scoped_lock lock(mMutex);
        if (mFree.size() < mKept) {
            mFree.push_back(inBuffer);
            return;
        }
    }
    delete inBuffer;
}

}  // namespace orvane::plexa::wire
