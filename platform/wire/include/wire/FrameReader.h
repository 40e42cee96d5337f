/// Cuts the bytes of a connection into frames, whatever portions they arrive in. Single-threaded.
#pragma once

#include <cstddef>
#include <span>

#include "wire/Buffer.h"
#include "wire/Frame.h"

namespace orvane::plexa::wire {

/// Reads go straight into a shared buffer; frames are views of it. Only a frame that does not fit what is
/// left of a buffer is copied, once, into the next buffer.
///
///     auto space = reader.Space();            // where to read to
///     n = recvmsg(... space ...);
///     reader.Commit(n);
///     while (reader.Next(frame)) { ... }      // a frame's view lasts until the next call of Space
///     if (reader.Error() != WireError::kNone) close;
class FrameReader {
  public:
    /// inPool and inLimits must outlive the reader. inDirection: which way the frames travel.
    FrameReader(BufferPool& inPool, const Limits& inLimits, Direction inDirection);

    /// Where the next bytes go; never empty. Invalidates frames that nobody holds a BufferRef of.
    /// Throws std::bad_alloc.
    std::span<std::byte> Space();
    /// inBytes more bytes are in Space.
    void Commit(std::size_t inBytes) noexcept { mEnd += inBytes; }
    /// The next complete frame; false when there is none yet, or after an error.
    bool Next(Frame& outFrame) noexcept;
    /// Why the stream cannot be read on; kNone while it can.
    WireError Error() const noexcept { return mError; }
    /// Part of a frame is there and the rest is awaited.
    bool Incomplete() const noexcept { return mBegin != mEnd; }
    /// Bytes of memory that the part of a frame keeps; 0 if there is none.
    std::size_t HeldBytes() const noexcept { return Incomplete() ? mBuffer->Capacity() : 0; }
    /// Gives the buffer back while nothing of it is used. For connections that may stay quiet: call it when
    /// all that was readable has been handled.
    void Rest() noexcept;
    /// Moves the beginning of a frame out of a buffer that is much larger, for a peer that may not go on for
    /// long: what is held then is what was really sent. Throws std::bad_alloc and then leaves it where it is.
    void Shrink();
    /// Forgets everything, for a new connection.
    void Reset() noexcept;

  private:
    BufferPool& mPool;
    const Limits& mLimits;
    Direction mDirection;
    WireError mError = WireError::kNone;
    BufferRef mBuffer;
    std::size_t mBegin = 0;
    std::size_t mEnd = 0;
};

}  // namespace orvane::plexa::wire
