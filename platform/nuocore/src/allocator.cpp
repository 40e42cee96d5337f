#include "nuocore/allocator.h"

#include <array>
#include <new>
#include <utility>

#include "runtime/ThreadEnd.h"

namespace nuocore::allocator {

namespace {

// A payload that becomes a dictionary is thousands of small blocks that are given back together. Each thread
// keeps some of them, by size, so that the next payload is made of the same memory. How much it keeps is
// bounded.
constexpr std::size_t kGranule = 16;
constexpr std::size_t kSizes = 16;                              // blocks of up to 256 bytes
constexpr std::size_t kMaxKeptBytes = std::size_t{512} * 1024;  // of one thread

struct FreeBlock {
    FreeBlock* mNext;
};

enum class CacheState : unsigned char {
    kUnused,
    kKeeps,
    kOver,  // the thread is ending, or nothing would give its blocks back then: nothing is kept
};

// Trivially destructible, so that it can be used to the very end of its thread.
struct ThreadCache {
    std::array<FreeBlock*, kSizes> mHeads;
    std::size_t mKeptBytes;
    CacheState mState;
};

// Reached without a call: the library is loaded with its host, and this is small.
#if defined(__ELF__)
__attribute__((tls_model("initial-exec")))
#endif
constinit thread_local ThreadCache sCache{};

// At the end of its thread.
void GiveBack() noexcept {
    sCache.mState = CacheState::kOver;
    for (FreeBlock*& head : sCache.mHeads) {
        while (head != nullptr) {
            ::operator delete(std::exchange(head, head->mNext));
        }
    }
}

// Sanitizers have to see every block.
#if defined(__has_feature)
#define NUOCORE_HAS_FEATURE(x) __has_feature(x)
#else
#define NUOCORE_HAS_FEATURE(x) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    NUOCORE_HAS_FEATURE(address_sanitizer) || NUOCORE_HAS_FEATURE(thread_sanitizer)
constexpr bool kKeepsBlocks = false;
#else
constexpr bool kKeepsBlocks = true;
#endif

constexpr std::size_t SizeIndex(std::size_t inBytes) { return inBytes == 0 ? 0 : (inBytes - 1) / kGranule; }
constexpr std::size_t SizeOf(std::size_t inIndex) { return (inIndex + 1) * kGranule; }

void Keep(ThreadCache& ioCache, void* inMemory, std::size_t inIndex) noexcept {
    ioCache.mKeptBytes += SizeOf(inIndex);
    ioCache.mHeads[inIndex] = ::new (inMemory) FreeBlock{ioCache.mHeads[inIndex]};
}

// Apart, so that who needs no call saves no registers.
[[gnu::noinline]] void KeepFirst(ThreadCache& ioCache, void* inMemory, std::size_t inIndex) noexcept {
    if (!runtime::AtThreadEnd(&GiveBack)) {
        ioCache.mState = CacheState::kOver;
        ::operator delete(inMemory);
        return;
    }
    ioCache.mState = CacheState::kKeeps;
    Keep(ioCache, inMemory, inIndex);
}

}  // namespace

void* Allocate(std::size_t inBytes) {
    const std::size_t index = SizeIndex(inBytes);
    if (!kKeepsBlocks || index >= kSizes) {
        return ::operator new(inBytes);
    }
    ThreadCache& cache = sCache;
    FreeBlock*& head = cache.mHeads[index];
    if (head == nullptr) {
        return ::operator new(SizeOf(index));
    }
    cache.mKeptBytes -= SizeOf(index);
    FreeBlock* const block = std::exchange(head, head->mNext);
#if defined(__GNUC__)
    __builtin_prefetch(head, 1);  // the next one has not been touched for long
#endif
    return block;
}

void Free(void* inMemory, std::size_t inBytes) noexcept {
    const std::size_t index = SizeIndex(inBytes);
    ThreadCache& cache = sCache;
    if (!kKeepsBlocks || index >= kSizes || inMemory == nullptr || cache.mState == CacheState::kOver ||
        cache.mKeptBytes + SizeOf(index) > kMaxKeptBytes) {
        ::operator delete(inMemory);
        return;
    }
    if (cache.mState == CacheState::kUnused) {
        KeepFirst(cache, inMemory, index);
        return;
    }
    Keep(cache, inMemory, index);
}

}  // namespace nuocore::allocator
