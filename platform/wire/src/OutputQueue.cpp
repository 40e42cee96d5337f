#include "wire/OutputQueue.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "wire/Frame.h"

namespace orvane::plexa::wire {

namespace {

constexpr std::size_t kControlBlock = 4096;
constexpr std::size_t kCompactBlock = std::size_t{64} << 10U;
/// A buffer of which a queue needs less than this share is not worth holding.
constexpr std::size_t kSparse = 4;

}  // namespace

void OutputQueue::Push(Buffer& inBuffer, const std::byte* inBytes, std::size_t inLength, bool inControl) {
    if (mFirst != mPieces.size()) {
        Piece& last = mPieces.back();
        if (last.buffer.get() == &inBuffer && last.bytes + last.length == inBytes &&
            last.control == inControl) {
            last.length += inLength;
            mBytes += inLength;
            mControlBytes += inControl ? inLength : 0;
            return;
        }
    } else {
        mPieces.clear();
        mFirst = 0;
    }
    mPieces.push_back({BufferRef(&inBuffer), inBytes, inLength, inControl});
    mBytes += inLength;
    mControlBytes += inControl ? inLength : 0;
}

void OutputQueue::Append(Buffer& inBuffer, const std::byte* inBytes, std::size_t inLength) {
    Push(inBuffer, inBytes, inLength, false);
}

std::byte* OutputQueue::AppendControl(BufferPool& inPool, FrameKind inKind, std::size_t inPayloadLength) {
    const std::size_t length = FrameBytes(0, inPayloadLength);
    if (mControl && mControl->Unshared()) {
        mControlEnd = 0;
    }
    if (!mControl || mControl->Capacity() - mControlEnd < length) {
        mControl = inPool.MakeExact(std::max(length, kControlBlock));
        mControlEnd = 0;
    }
    std::byte* frame = mControl->Data() + mControlEnd;
    Push(*mControl, frame, length, true);
    mControlEnd += length;
    BeginFrame(frame, inKind, 0, inPayloadLength);
    return frame;
}

std::size_t OutputQueue::Gather(std::span<iovec> outPieces) const noexcept {
    const std::size_t count = std::min(outPieces.size(), mPieces.size() - mFirst);
    for (std::size_t i = 0; i != count; ++i) {
        const Piece& piece = mPieces[mFirst + i];
        outPieces[i] = {const_cast<std::byte*>(piece.bytes), piece.length};
    }
    return count;
}

void OutputQueue::Consume(std::size_t inBytes) noexcept {
    mBytes -= inBytes;
    while (inBytes != 0) {
        Piece& piece = mPieces[mFirst];
        const std::size_t part = std::min(inBytes, piece.length);
        inBytes -= part;
        mControlBytes -= piece.control ? part : 0;
        piece.bytes += part;
        piece.length -= part;
        if (piece.length == 0) {
            piece.buffer.reset();
            ++mFirst;
        }
    }
    if (mFirst == mPieces.size()) {
        mPieces.clear();
        mFirst = 0;
    } else if (mFirst > 64 && mFirst > mPieces.size() / 2) {
        mPieces.erase(mPieces.begin(), mPieces.begin() + static_cast<std::ptrdiff_t>(mFirst));
        mFirst = 0;
    }
}

void OutputQueue::Compact(BufferPool& inPool) {
    // A run of pieces of one buffer is copied together or stays.
    const auto endOfRun = [this](std::size_t inFirst) {
        std::size_t last = inFirst;
        while (last != mPieces.size() && mPieces[last].buffer == mPieces[inFirst].buffer) {
            ++last;
        }
        return last;
    };
    const auto sparseBytes = [this](std::size_t inFirst, std::size_t inLast) {
        std::size_t bytes = 0;
        for (std::size_t i = inFirst; i != inLast; ++i) {
            bytes += mPieces[i].length;
        }
        return bytes * kSparse < mPieces[inFirst].buffer->Capacity() ? bytes : 0;
    };
    std::size_t left = 0;
    for (std::size_t first = mFirst, last = 0; first != mPieces.size(); first = last) {
        last = endOfRun(first);
        left += sparseBytes(first, last);
    }
    std::vector<Piece> pieces;
    pieces.reserve(mPieces.size() - mFirst);
    BufferRef block;
    std::size_t used = 0;
    for (std::size_t first = mFirst, last = 0; first != mPieces.size(); first = last) {
        last = endOfRun(first);
        const bool sparse = sparseBytes(first, last) != 0;
        for (std::size_t i = first; i != last; ++i) {
            const Piece& piece = mPieces[i];
            if (!sparse) {
                pieces.push_back(piece);
                continue;
            }
            if (!block || block->Capacity() - used < piece.length) {
                // No larger than what is still to be copied: the new blocks are full.
                block = inPool.MakeExact(std::max(piece.length, std::min(left, kCompactBlock)));
                used = 0;
            }
            std::memcpy(block->Data() + used, piece.bytes, piece.length);
            pieces.push_back({block, block->Data() + used, piece.length, piece.control});
            used += piece.length;
            left -= piece.length;
        }
    }
    mPieces.swap(pieces);
    mFirst = 0;
    mControl.reset();
    mControlEnd = 0;
}

void OutputQueue::Clear() noexcept {
    mPieces.clear();
    mFirst = 0;
    mBytes = 0;
    mControlBytes = 0;
}

}  // namespace orvane::plexa::wire
