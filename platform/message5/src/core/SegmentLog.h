/// The messages a sender keeps: whole frames, back to back in shared segments, found by their number.
/// Single-threaded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "wire/Buffer.h"
#include "wire/Frame.h"

namespace orvane::plexa::message5 {

class SegmentLog {
  public:
    /// inPool's standard size is a segment's size. It must outlive the log.
    explicit SegmentLog(wire::BufferPool& inPool) : mPool(inPool) {}

    wire::Sequence NextSequence() const noexcept { return mNext; }
    /// Appends a Data frame and returns its number. inDestination goes into the header; kEveryone makes it a
    /// broadcast. Throws std::bad_alloc and then has done nothing.
    wire::Sequence Append(std::uint32_t inDestination, std::string_view inType,
                          std::span<const std::byte> inPayload);

    /// A kept frame and where it lies.
    struct Entry {
        wire::Sequence sequence = 0;
        wire::Frame frame;
        bool broadcast = false;
        /// Withdrawn before it was written: nobody gets it.
        bool dead = false;
    };
    /// The first kept frame above inAfter, if any. O(1) for the successor of the last answer.
    std::optional<Entry> NextAfter(wire::Sequence inAfter) const;
    std::optional<Entry> Find(wire::Sequence inSequence) const;

    /// Bytes of all broadcasts ever appended with a number of at most inThrough. Exact where the frames above
    /// inThrough that are broadcasts are still kept, which holds for every lane that owes them.
    std::uint64_t BroadcastBytesThrough(wire::Sequence inThrough) const;
    std::uint64_t BroadcastBytes() const noexcept { return mBroadcastBytes; }
    /// Bytes of the frames inFirst to inLast, all of which are kept.
    std::size_t BytesOf(wire::Sequence inFirst, wire::Sequence inLast) const;

    /// Forgets the kept frames inFirst to inLast.
    void Free(wire::Sequence inFirst, wire::Sequence inLast);
    /// Forgets a frame that the live stream has not passed yet: it stays in its place as dead until it is
    /// passed.
    void Kill(wire::Sequence inSequence);

    /// Bytes of the segments in use.
    std::size_t HeldBytes() const noexcept { return mHeld; }
    /// Bytes of the frames still kept.
    std::size_t KeptBytes() const noexcept { return mKept; }
    /// Moves what is kept of sparse segments (below a quarter, or any with gaps if inAll) to blocks of its
    /// own size.
    void Compact(bool inAll);
    bool Empty() const noexcept { return mKept == 0; }

  private:
    struct Slot {
        std::uint32_t delta;   // number minus the segment's first
        std::uint32_t offset;  // of the frame in the block
        std::uint32_t length;
        std::uint32_t flags;
        std::uint64_t broadcastBytes;  // of all broadcasts before this one
    };
    struct Segment {
        wire::BufferRef block;
        std::size_t used = 0;
        std::size_t kept = 0;
        wire::Sequence first = 0;
        std::vector<Slot> slots;
    };

    wire::BufferPool& mPool;
    std::deque<Segment> mSegments;
    wire::Sequence mNext = 1;
    std::uint64_t mBroadcastBytes = 0;
    std::size_t mHeld = 0;
    std::size_t mKept = 0;
};

}  // namespace orvane::plexa::message5
