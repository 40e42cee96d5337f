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

/// Numbers are given in ascending order and never again. A frame is kept until it is freed; its place may
/// move when sparse segments are compacted, its number never changes. Blocks that an output queue still
/// refers to stay valid for it.
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
    };
    /// The first kept frame above inAfter. O(1) for the successor of the last answer.
    std::optional<Entry> NextAfter(wire::Sequence inAfter) const;

    /// Bytes of all broadcasts ever appended with a number of at most inThrough, exact as long as every
    /// broadcast above is kept.
    std::uint64_t BroadcastBytesThrough(wire::Sequence inThrough) const;
    std::uint64_t BroadcastBytes() const noexcept { return mBroadcastBytes; }
    /// Bytes of the frames inFirst to inLast, all of which are kept.
    std::size_t BytesOf(wire::Sequence inFirst, wire::Sequence inLast) const;

    /// Forgets the frames inFirst to inLast, all of which are kept. Returns their bytes.
    std::size_t Free(wire::Sequence inFirst, wire::Sequence inLast);
    /// Forgets the kept broadcasts above inAfter up to inThrough. Returns true if there were any.
    bool FreeBroadcasts(wire::Sequence inAfter, wire::Sequence inThrough);

    /// Bytes of the segments in use, and what they would be with one more frame of inLength.
    std::size_t HeldBytes() const noexcept { return mHeld; }
    std::size_t HeldBytesWith(std::size_t inLength) const noexcept;
    /// Bytes of the frames still kept.
    std::size_t KeptBytes() const noexcept { return mKept; }
    bool Empty() const noexcept { return mKept == 0; }
    /// Moves what is kept of segments with gaps into blocks of just its size. Throws std::bad_alloc, keeping
    /// everything.
    void Compact();

  private:
    struct Place {
        std::uint32_t delta = 0;           // number minus the segment's first
        std::uint32_t offset = 0;          // of the frame in the block
        std::uint64_t broadcastBytes = 0;  // of all broadcasts before this frame
        bool broadcast = false;
        bool freed = false;
    };
    struct Segment {
        wire::BufferRef block;
        std::size_t used = 0;
        std::size_t kept = 0;
        wire::Sequence first = 0;
        std::vector<Place> places;
    };
    struct Cursor {
        std::size_t segment = 0;
        std::size_t place = 0;
    };

    /// The first place, freed or not, with a number of at least inSequence.
    Cursor LowerBound(wire::Sequence inSequence) const;
    bool AtEnd(const Cursor& inCursor) const noexcept { return inCursor.segment == mSegments.size(); }
    void Advance(Cursor& ioCursor) const noexcept;
    static std::size_t Length(const Segment& inSegment, std::size_t inPlace) noexcept;
    std::size_t Release(Segment& ioSegment, Place& ioPlace, std::size_t inLength) noexcept;
    void DropEmptySegments(std::size_t inFirst, std::size_t inLast);
    Segment& SegmentFor(std::size_t inLength);
    void CompactSegment(Segment& ioSegment);

    wire::BufferPool& mPool;
    std::deque<Segment> mSegments;
    std::vector<Place> mSpare;  // the list of a dropped segment, to be filled again
    mutable std::size_t mHint = 0;
    wire::Sequence mNext = 1;
    std::uint64_t mBroadcastBytes = 0;
    std::size_t mHeld = 0;
    std::size_t mKept = 0;
};

}  // namespace orvane::plexa::message5
