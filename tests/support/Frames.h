/// Moves frames from where they are written to where they are read, as a socket between would.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>

#include "wire/FrameReader.h"
#include "wire/OutputQueue.h"

namespace support {

/// Moves as many bytes as there are in one piece to where the reader expects the next ones, and gives them;
/// the caller commits them.
inline std::span<std::byte> MovePiece(orvane::plexa::wire::OutputQueue& ioQueue,
                                      orvane::plexa::wire::FrameReader& ioReader) {
    iovec piece{};
    ioQueue.Gather({&piece, 1});
    const std::span<std::byte> space = ioReader.Space();
    const std::span<std::byte> moved = space.first(std::min(space.size(), piece.iov_len));
    std::memcpy(moved.data(), piece.iov_base, moved.size());
    ioQueue.Consume(moved.size());
    return moved;
}

/// Moves all of a queue's bytes, and calls inTake for each frame; ends early where the reader finds a
/// mistake.
template <typename Take>
void MoveFrames(orvane::plexa::wire::OutputQueue& ioQueue, orvane::plexa::wire::FrameReader& ioReader,
                const Take& inTake) {
    while (!ioQueue.Empty() && ioReader.Error() == orvane::plexa::wire::WireError::kNone) {
        ioReader.Commit(MovePiece(ioQueue, ioReader).size());
        orvane::plexa::wire::Frame frame;
        while (ioReader.Next(frame)) inTake(frame);
    }
}

}  // namespace support
