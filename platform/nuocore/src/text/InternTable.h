/// The process's table of interned texts.
#pragma once

#include <array>
#include <atomic>
#include <boost/intrusive/list.hpp>
#include <boost/intrusive/unordered_set.hpp>
#include <cstddef>
#include <mutex>
#include <string_view>
#include <vector>

namespace nuocore::detail {

/// One text of the table. Its bytes and a terminating NUL stand right behind it in the same allocation.
///
/// `mState` counts the objects that refer to the text, in steps of `kReference`, and carries `kIdle` while
/// the text stands in its shard's list of texts that may be dropped. Three rules make the end of an entry
/// safe: only `InternTable::Intern`, under the shard's lock, raises the count from 0; only the shard, under
/// its lock, frees an entry; and a thread that takes the count to 0 without the lock finds `kIdle` set in the
/// same step and never touches the entry again.
struct InternedText
    : boost::intrusive::unordered_set_base_hook<boost::intrusive::store_hash<true>,
                                                boost::intrusive::link_mode<boost::intrusive::normal_link>>,
      boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::normal_link>> {
    static constexpr std::size_t kIdle = 1;
    static constexpr std::size_t kReference = 2;

    InternedText(std::size_t inHash, std::size_t inSize) noexcept : mHash(inHash), mSize(inSize) {}

    [[nodiscard]] const char* Bytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }
    [[nodiscard]] std::string_view View() const noexcept { return {Bytes(), mSize}; }

    const std::size_t mHash;
    const std::size_t mSize;
    std::atomic<std::size_t> mState{kReference};
};

/// All functions may be called on any thread.
class InternTable {
  public:
    /// The table of this process. It is never destroyed, so that strings of statics of any library work to
    /// the end.
    static InternTable& Get();

    /// The entry with `inText`, with one more reference. Throws `std::bad_alloc`.
    InternedText* Intern(std::string_view inText);
    /// Takes one reference away.
    void Release(InternedText* inText) noexcept;

    /// How many texts the table holds now, referred to or not.
    [[nodiscard]] std::size_t Count();

    static constexpr std::size_t kShards = 64;
    /// How many texts without a reference each shard keeps, and how long one of them may be.
    static constexpr std::size_t kMaxIdlePerShard = 64;
    static constexpr std::size_t kMaxIdleBytes = 256;

  private:
    struct HashOf {
        std::size_t operator()(const InternedText& inText) const noexcept { return inText.mHash; }
    };
    struct SameEntry {
        bool operator()(const InternedText& inA, const InternedText& inB) const noexcept {
            return &inA == &inB;
        }
    };
    using Set = boost::intrusive::unordered_set<InternedText, boost::intrusive::hash<HashOf>,
                                                boost::intrusive::equal<SameEntry>,
                                                boost::intrusive::power_2_buckets<true>>;
    using IdleList = boost::intrusive::list<InternedText>;

    struct alignas(64) Shard {
        Shard();
        InternedText* Find(std::string_view inText, std::size_t inHash);
        void Insert(InternedText& inText);
        void Drop(InternedText& inText) noexcept;
        void KeepIdle(InternedText& inText) noexcept;
        void DropOldestIdle() noexcept;
        void Resize(std::size_t inBuckets);

        std::mutex mMutex;
        std::vector<Set::bucket_type> mBuckets;
        Set mTexts;
        IdleList mIdle;
    };

    Shard& ShardOf(std::size_t inHash) noexcept { return mShards[(inHash >> 24) % kShards]; }

    std::array<Shard, kShards> mShards;
};

}  // namespace nuocore::detail
