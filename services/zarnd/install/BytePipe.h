/// Bytes from one thread to another, in bounded memory.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <span>
#include <stop_token>
#include <vector>

namespace orvane::plexa::zarnd {

/// One writer, one reader. Blocks are reused, so that a long stream allocates no more than a short one.
class BytePipe {
  public:
    static constexpr std::size_t kBlockBytes = std::size_t{256} << 10U;
    static constexpr std::size_t kMaxBlocks = 16;

    /// Takes bytes over, waiting for room. They are dropped once the reader has left. Throws `Cancelled` when
    /// `inStop` is asked for.
    void Write(std::span<const std::byte> inBytes, const std::stop_token& inStop);
    /// Nothing more will be written: the reader comes to the end.
    void End();

    /// The next bytes, valid until the next call; none at the end. Throws `Cancelled` when `inStop` is asked
    /// for.
    std::span<const std::byte> Read(const std::stop_token& inStop);
    /// Nothing more will be read.
    void Leave();

  private:
    using Block = std::vector<std::byte>;

    // A block to fill; nothing when the reader has left.
    bool TakeFree(Block& outBlock, const std::stop_token& inStop);

    std::mutex mMutex;
    std::condition_variable_any mChanged;
    std::deque<Block> mFilled;
    std::deque<Block> mFree;
    Block mRead;
    std::size_t mBlocks = 0;
    bool mHasEnded = false;
    bool mIsLeft = false;
};

}  // namespace orvane::plexa::zarnd
