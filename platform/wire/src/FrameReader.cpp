#include "wire/FrameReader.h"

#include <algorithm>
#include <cstring>

namespace orvane::plexa::wire {

namespace {

/// Below this share of a standard buffer a read is not worth its system call, and the next buffer is begun.
constexpr std::size_t kLeastShare = 8;
/// A frame longer than a standard buffer gets one of its own length when this share of a standard buffer is
/// there: a header alone reserves little.
constexpr std::size_t kShareThatCounts = 4;

}  // namespace

FrameReader::FrameReader(BufferPool& inPool, const Limits& inLimits, Direction inDirection)
    : mPool(inPool), mLimits(inLimits), mDirection(inDirection) {}

std::span<std::byte> FrameReader::Space() {
    const std::size_t pending = mEnd - mBegin;
    std::size_t wanted = pending + mPool.Standard() / kLeastShare;
    if (pending >= kHeaderBytes) {
        const auto& header = *reinterpret_cast<const FrameHeader*>(mBuffer->Data() + mBegin);
        const std::size_t longest = FrameBytes(mLimits.maxTypeText, mLimits.maxPayload);
        const std::size_t length = std::min<std::size_t>(header.length(), longest);
        const bool counts = pending >= mPool.Standard() / kShareThatCounts;
        wanted = std::max(wanted, counts ? length : std::min(length, mPool.Standard()));
    }
    if (!mBuffer || mBuffer->Capacity() - mBegin < wanted) {
        if (mBuffer && mBuffer->Unshared() && mBuffer->Capacity() >= wanted) {
            std::memmove(mBuffer->Data(), mBuffer->Data() + mBegin, pending);
        } else {
            BufferRef next = mPool.Make(wanted);
            if (pending != 0) {
                std::memcpy(next->Data(), mBuffer->Data() + mBegin, pending);
            }
            mBuffer = std::move(next);
        }
        mBegin = 0;
        mEnd = pending;
    } else if (pending == 0 && mBuffer->Unshared()) {
        mBegin = 0;
        mEnd = 0;
    }
    return {mBuffer->Data() + mEnd, mBuffer->Capacity() - mEnd};
}

bool FrameReader::Next(Frame& outFrame) noexcept {
    if (mError != WireError::kNone || mEnd - mBegin < kHeaderBytes) {
        return false;
    }
    std::byte* data = mBuffer->Data() + mBegin;
    const auto& header = *reinterpret_cast<const FrameHeader*>(data);
    mError = CheckHeader(header, mDirection, mLimits);
    if (mError != WireError::kNone || mEnd - mBegin < header.length()) {
        return false;
    }
    outFrame = {mBuffer.get(), data};
    mBegin += header.length();
    return true;
}

void FrameReader::Rest() noexcept {
    if (mBuffer && !Incomplete() && mBuffer->Unshared()) {
        Reset();
    }
}

void FrameReader::Shrink() {
    const std::size_t pending = mEnd - mBegin;
    if (pending == 0 || pending >= mPool.Standard() / kLeastShare || mBuffer->Capacity() < mPool.Standard()) {
        return;
    }
    BufferRef small = mPool.MakeExact(pending);
    std::memcpy(small->Data(), mBuffer->Data() + mBegin, pending);
    mBuffer = std::move(small);
    mBegin = 0;
    mEnd = pending;
}

void FrameReader::Reset() noexcept {
    mError = WireError::kNone;
    mBuffer.reset();
    mBegin = 0;
    mEnd = 0;
}

}  // namespace orvane::plexa::wire
