/// What waits to be written to one connection: references to shared bytes, in order. Single-threaded (the
/// driver's lock).
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include <sys/uio.h>

#include "wire/Buffer.h"
#include "wire/Types.h"

namespace orvane::plexa::wire {

/// Adjacent bytes of one buffer become one piece, so that a run of frames costs one iovec however many they
/// are.
class OutputQueue {
  public:
    /// Queues bytes of inBuffer; a reference is held until they are written.
    void Append(Buffer& inBuffer, const std::byte* inBytes, std::size_t inLength);
    /// Queues a control frame of inKind with a payload of inPayloadLength bytes (multiple of 8 not required)
    /// and returns the frame's start; the caller fills in header fields and payload before anything else is
    /// done with the queue.
    std::byte* AppendControl(BufferPool& inPool, FrameKind inKind, std::size_t inPayloadLength);

    bool Empty() const noexcept { return mBytes == 0; }
    std::size_t Bytes() const noexcept { return mBytes; }
    /// The part of Bytes that AppendControl made.
    std::size_t ControlBytes() const noexcept { return mControlBytes; }

    /// Fills outPieces from the front; returns how many are used. They stay valid until Consume, Compact or
    /// Clear, also when more is appended.
    std::size_t Gather(std::span<iovec> outPieces) const noexcept;
    /// The first inBytes bytes were written. inBytes <= Bytes().
    void Consume(std::size_t inBytes) noexcept;
    /// Copies pieces that hold much larger buffers alive into buffers of their own. For a queue that is not
    /// drained. Throws std::bad_alloc and then leaves the queue as it was.
    void Compact(BufferPool& inPool);
    void Clear() noexcept;

  private:
    struct Piece {
        BufferRef buffer;
        const std::byte* bytes;
        std::size_t length;
        bool control;
    };
    void Push(Buffer& inBuffer, const std::byte* inBytes, std::size_t inLength, bool inControl);

    std::vector<Piece> mPieces;
    std::size_t mFirst = 0;  // pieces before it are written
    std::size_t mBytes = 0;
    std::size_t mControlBytes = 0;
    BufferRef mControl;  // where control frames are put together
    std::size_t mControlEnd = 0;
};

}  // namespace orvane::plexa::wire
