#include "InternTable.h"

#include <cstring>
#include <functional>
#include <new>

#include "nuocore/allocator.h"

namespace nuocore::detail {

namespace {

constexpr std::size_t kFirstBuckets = 16;

InternedText* MakeEntry(std::string_view inText, std::size_t inHash) {
    void* const memory = allocator::Allocate(sizeof(InternedText) + inText.size() + 1);
    auto* const entry = new (memory) InternedText(inHash, inText.size());
    char* const bytes = static_cast<char*>(memory) + sizeof(InternedText);
    std::memcpy(bytes, inText.data(), inText.size());
    bytes[inText.size()] = '\0';
    return entry;
}

void FreeEntry(InternedText* inText) noexcept {
    const std::size_t bytes = sizeof(InternedText) + inText->mSize + 1;
    inText->~InternedText();
    allocator::Free(inText, bytes);
}

}  // namespace

InternTable& InternTable::Get() {
    static InternTable& sTable = *new InternTable;
    return sTable;
}

InternedText* InternTable::Intern(std::string_view inText) {
    const std::size_t hash = std::hash<std::string_view>()(inText);
    Shard& shard = ShardOf(hash);
    const std::lock_guard lock(shard.mMutex);
    if (InternedText* const known = shard.Find(inText, hash)) {
        known->mState.fetch_add(InternedText::kReference, std::memory_order_relaxed);
        return known;
    }
    InternedText* const entry = MakeEntry(inText, hash);
    try {
        shard.Insert(*entry);
    } catch (...) {
        FreeEntry(entry);
        throw;
    }
    return entry;
}

void InternTable::Release(InternedText* inText) noexcept {
    std::size_t state = inText->mState.load(std::memory_order_relaxed);
    while (state > InternedText::kReference) {  // others remain, or it is idle already
        if (inText->mState.compare_exchange_weak(state, state - InternedText::kReference,
                                                 std::memory_order_acq_rel, std::memory_order_relaxed)) {
            return;
        }
    }
    // Perhaps the last reference to a text that isn't idle yet. This reference keeps it alive up to the lock.
    Shard& shard = ShardOf(inText->mHash);
    const std::lock_guard lock(shard.mMutex);
    if (inText->mState.fetch_sub(InternedText::kReference, std::memory_order_acq_rel) ==
        InternedText::kReference) {
        if (inText->mSize > kMaxIdleBytes) {
            shard.Drop(*inText);
        } else {
            shard.KeepIdle(*inText);
        }
    }
}

std::size_t InternTable::Count() {
    std::size_t count = 0;
    for (Shard& shard : mShards) {
        const std::lock_guard lock(shard.mMutex);
        count += shard.mTexts.size();
    }
    return count;
}

InternTable::Shard::Shard()
    : mBuckets(kFirstBuckets), mTexts(Set::bucket_traits(mBuckets.data(), mBuckets.size())) {}

InternedText* InternTable::Shard::Find(std::string_view inText, std::size_t inHash) {
    const auto place = mTexts.find(
        inText, [inHash](std::string_view /*inKey*/) { return inHash; },
        [inHash](std::string_view inKey, const InternedText& inEntry) {
            return inEntry.mHash == inHash && inEntry.View() == inKey;
        });
    return place == mTexts.end() ? nullptr : &*place;
}

void InternTable::Shard::Insert(InternedText& inText) {
    if (mTexts.size() >= mBuckets.size()) {
        Resize(2 * mBuckets.size());
    }
    mTexts.insert(inText);
}

void InternTable::Shard::KeepIdle(InternedText& inText) noexcept {
    inText.mState.fetch_or(InternedText::kIdle, std::memory_order_relaxed);
    mIdle.push_back(inText);
    if (mIdle.size() > kMaxIdlePerShard) {
        DropOldestIdle();
    }
}

void InternTable::Shard::DropOldestIdle() noexcept {
    InternedText& oldest = mIdle.front();
    mIdle.pop_front();
    // A text that is used again stays, and comes back to the list with its next last reference.
    std::size_t state = oldest.mState.load(std::memory_order_acquire);
    while (state != InternedText::kIdle &&
           !oldest.mState.compare_exchange_weak(state, state & ~InternedText::kIdle,
                                                std::memory_order_acq_rel, std::memory_order_acquire)) {
    }
    if (state == InternedText::kIdle) {
        Drop(oldest);
    }
}

void InternTable::Shard::Drop(InternedText& inText) noexcept {
    mTexts.erase(mTexts.iterator_to(inText));
    FreeEntry(&inText);
    if (mBuckets.size() > kFirstBuckets && mTexts.size() < mBuckets.size() / 8) {
        try {
            Resize(mBuckets.size() / 2);
        } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the old array still serves
        }
    }
}

void InternTable::Shard::Resize(std::size_t inBuckets) {
    std::vector<Set::bucket_type> buckets(inBuckets);
    mTexts.rehash(Set::bucket_traits(buckets.data(), buckets.size()));
    mBuckets.swap(buckets);
}

}  // namespace nuocore::detail
