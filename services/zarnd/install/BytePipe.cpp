#include "install/BytePipe.h"

#include <algorithm>
#include <utility>

#include "common/Failure.h"

namespace orvane::plexa::zarnd {

bool BytePipe::TakeFree(Block& outBlock, const std::stop_token& inStop) {
    std::unique_lock lock(mMutex);
    // The last filled block goes on being filled while the reader is behind.
    if (!mFilled.empty() && mFilled.back().size() < kBlockBytes) {
        outBlock = std::move(mFilled.back());
        mFilled.pop_back();
        return !mIsLeft;
    }
    const auto hasRoom = [this] { return mIsLeft || !mFree.empty() || mBlocks < kMaxBlocks; };
    if (!mChanged.wait(lock, inStop, hasRoom)) throw Cancelled();
    if (mIsLeft) return false;
    if (mFree.empty()) {
        ++mBlocks;
        outBlock = Block();
        outBlock.reserve(kBlockBytes);
    } else {
        outBlock = std::move(mFree.front());
        mFree.pop_front();
    }
    return true;
}

void BytePipe::Write(std::span<const std::byte> inBytes, const std::stop_token& inStop) {
    while (!inBytes.empty()) {
        Block block;
        if (!TakeFree(block, inStop)) return;
        const std::size_t count = std::min(inBytes.size(), kBlockBytes - block.size());
        block.insert(block.end(), inBytes.begin(), inBytes.begin() + static_cast<std::ptrdiff_t>(count));
        inBytes = inBytes.subspan(count);
        const std::lock_guard lock(mMutex);
        mFilled.push_back(std::move(block));
        mChanged.notify_all();
    }
}

void BytePipe::End() {
    const std::lock_guard lock(mMutex);
    mHasEnded = true;
    mChanged.notify_all();
}

std::span<const std::byte> BytePipe::Read(const std::stop_token& inStop) {
    std::unique_lock lock(mMutex);
    if (mRead.capacity() != 0) {
        mRead.clear();
        mFree.push_back(std::exchange(mRead, Block()));
        mChanged.notify_all();
    }
    mChanged.wait(lock, inStop, [this] { return mHasEnded || !mFilled.empty(); });
    if (inStop.stop_requested()) throw Cancelled();
    if (mFilled.empty()) return {};
    mRead = std::move(mFilled.front());
    mFilled.pop_front();
    return mRead;
}

void BytePipe::Leave() {
    const std::lock_guard lock(mMutex);
    mIsLeft = true;
    mChanged.notify_all();
}

}  // namespace orvane::plexa::zarnd
