/// Shared blocks of bytes. A block is filled once from its start on; readers hold references and never copy.
/// References may be copied and dropped on any thread; the bytes are written by their one owner only.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include <boost/smart_ptr/intrusive_ptr.hpp>

namespace orvane::plexa::wire {

class BufferPool;

/// A block of bytes, aligned to 64. Made by a BufferPool, which it must not outlive.
class Buffer {
  public:
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    std::byte* Data() noexcept { return mBytes; }
    const std::byte* Data() const noexcept { return mBytes; }
    std::size_t Capacity() const noexcept { return mCapacity; }
    /// True while only one reference exists, so that its holder may write anywhere.
    bool Unshared() const noexcept { return mReferences.load(std::memory_order_acquire) == 1; }

    friend void intrusive_ptr_add_ref(Buffer* inBuffer) noexcept {
        inBuffer->mReferences.fetch_add(1, std::memory_order_relaxed);
    }
    friend void intrusive_ptr_release(Buffer* inBuffer) noexcept;

  private:
    friend class BufferPool;
    Buffer(BufferPool& inPool, std::size_t inCapacity);
    ~Buffer();

    BufferPool& mPool;
    std::byte* mBytes;
    std::size_t mCapacity;
    std::atomic<std::size_t> mReferences{0};
};

using BufferRef = boost::intrusive_ptr<Buffer>;

/// Makes buffers and keeps a few freed ones of the standard size hot: the last freed is handed out first.
/// Any thread. Must outlive its buffers.
class BufferPool {
  public:
    /// inStandard: bytes of the blocks worth keeping; inKept: how many free ones are kept.
    explicit BufferPool(std::size_t inStandard, std::size_t inKept = 16);
    ~BufferPool();
    BufferPool(const BufferPool&) = delete;
    BufferPool& operator=(const BufferPool&) = delete;

    /// A block of at least inCapacity bytes, at least the standard size. Throws std::bad_alloc.
    BufferRef Make(std::size_t inCapacity);
    /// A block of just inCapacity bytes, rounded up to 64. Throws std::bad_alloc.
    BufferRef MakeExact(std::size_t inCapacity);
    std::size_t Standard() const noexcept { return mStandard; }
    /// Bytes of all blocks that somebody refers to.
    std::size_t BytesInUse() const noexcept { return mInUse.load(std::memory_order_relaxed); }

  private:
    friend void intrusive_ptr_release(Buffer* inBuffer) noexcept;
    void Return(Buffer* inBuffer) noexcept;

    const std::size_t mStandard;
    const std::size_t mKept;
    std::atomic<std::size_t> mInUse{0};
    std::mutex mMutex;
    std::vector<Buffer*> mFree;  // guarded by mMutex
};

}  // namespace orvane::plexa::wire
