#include "SegmentLog.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orvane::plexa::message5 {

using wire::Sequence;

SegmentLog::Segment& SegmentLog::SegmentFor(std::size_t inLength) {
    if (!mSegments.empty()) {
        Segment& last = mSegments.back();
        if (last.kept == 0 && last.block->Unshared()) {
            last.used = 0;
            last.places.clear();
            last.first = mNext;
        }
        if (last.block->Capacity() - last.used >= inLength) {
            return last;
        }
    }
    Segment segment;
    segment.block = mPool.Make(inLength);
    segment.first = mNext;
    segment.places.swap(mSpare);
    mSegments.push_back(std::move(segment));
    mHeld += mSegments.back().block->Capacity();
    if (mSegments.size() > 1) {
        DropEmptySegments(mSegments.size() - 2, mSegments.size() - 1);
    }
    return mSegments.back();
}

Sequence SegmentLog::Append(std::uint32_t inDestination, std::string_view inType,
                            std::span<const std::byte> inPayload) {
    const std::size_t length = wire::FrameBytes(inType.size(), inPayload.size());
    Segment& segment = SegmentFor(length);
    const bool broadcast = inDestination == wire::kEveryone;
    segment.places.push_back({static_cast<std::uint32_t>(mNext - segment.first),
                              static_cast<std::uint32_t>(segment.used), mBroadcastBytes, broadcast, false});
    std::byte* frame = segment.block->Data() + segment.used;
    auto& header = wire::BeginFrame(frame, wire::FrameKind::Data, inType.size(), inPayload.size());
    header.mutate_destination(inDestination);
    header.mutate_sequence(mNext);
    std::byte* text = frame + wire::kHeaderBytes;
    if (!inType.empty()) {
        std::memcpy(text, inType.data(), inType.size());
    }
    if (!inPayload.empty()) {
        std::memcpy(text + inType.size(), inPayload.data(), inPayload.size());
    }
    segment.used += length;
    segment.kept += length;
    mKept += length;
    mBroadcastBytes += broadcast ? length : 0;
    return mNext++;
}

SegmentLog::Cursor SegmentLog::LowerBound(Sequence inSequence) const {
    const auto holds = [&](std::size_t inIndex) {
        return inIndex < mSegments.size() && mSegments[inIndex].first <= inSequence &&
               (inIndex + 1 == mSegments.size() || mSegments[inIndex + 1].first > inSequence);
    };
    if (!holds(mHint)) {
        const auto above = std::upper_bound(
            mSegments.begin(), mSegments.end(), inSequence,
            [](Sequence inValue, const Segment& inSegment) { return inValue < inSegment.first; });
        if (above == mSegments.begin()) {
            return {0, 0};
        }
        mHint = static_cast<std::size_t>(above - mSegments.begin()) - 1;
    }
    const Segment& segment = mSegments[mHint];
    const auto delta = inSequence - segment.first;
    Cursor cursor{mHint, 0};
    if (segment.places.empty() || delta > segment.places.back().delta) {
        cursor.place = segment.places.size();
    } else if (segment.places.back().delta + 1 == segment.places.size()) {
        cursor.place = delta;
    } else {
        const auto at =
            std::lower_bound(segment.places.begin(), segment.places.end(), delta,
                             [](const Place& inPlace, Sequence inValue) { return inPlace.delta < inValue; });
        cursor.place = static_cast<std::size_t>(at - segment.places.begin());
    }
    if (cursor.place == segment.places.size()) {
        return {mHint + 1, 0};
    }
    return cursor;
}

void SegmentLog::Advance(Cursor& ioCursor) const noexcept {
    if (++ioCursor.place == mSegments[ioCursor.segment].places.size()) {
        ioCursor = {ioCursor.segment + 1, 0};
    }
}

std::size_t SegmentLog::Length(const Segment& inSegment, std::size_t inPlace) noexcept {
    const std::size_t end =
        inPlace + 1 == inSegment.places.size() ? inSegment.used : inSegment.places[inPlace + 1].offset;
    return end - inSegment.places[inPlace].offset;
}

std::optional<SegmentLog::Entry> SegmentLog::NextAfter(Sequence inAfter) const {
    for (Cursor at = LowerBound(inAfter + 1); !AtEnd(at); Advance(at)) {
        const Segment& segment = mSegments[at.segment];
        if (segment.places.empty()) {
            break;  // only the last segment can be empty
        }
        const Place& place = segment.places[at.place];
        if (!place.freed) {
            return Entry{segment.first + place.delta,
                         {segment.block.get(), segment.block->Data() + place.offset},
                         place.broadcast};
        }
    }
    return std::nullopt;
}

std::uint64_t SegmentLog::BroadcastBytesThrough(Sequence inThrough) const {
    const Cursor at = LowerBound(inThrough + 1);
    return AtEnd(at) || mSegments[at.segment].places.empty()
               ? mBroadcastBytes
               : mSegments[at.segment].places[at.place].broadcastBytes;
}

std::size_t SegmentLog::BytesOf(Sequence inFirst, Sequence inLast) const {
    std::size_t bytes = 0;
    for (Cursor at = LowerBound(inFirst); !AtEnd(at);) {
        const Segment& segment = mSegments[at.segment];
        const Cursor end = LowerBound(inLast + 1);
        const std::size_t begin = segment.places[at.place].offset;
        if (end.segment == at.segment) {
            return bytes + segment.places[end.place].offset - begin;
        }
        bytes += segment.used - begin;
        if (inLast - segment.first <= segment.places.back().delta) {
            return bytes;
        }
        at = {at.segment + 1, 0};
    }
    return bytes;
}

std::size_t SegmentLog::Release(Segment& ioSegment, Place& ioPlace, std::size_t inLength) noexcept {
    ioPlace.freed = true;
    ioSegment.kept -= inLength;
    mKept -= inLength;
    return inLength;
}

std::size_t SegmentLog::Free(Sequence inFirst, Sequence inLast) {
    const Cursor first = LowerBound(inFirst);
    std::size_t bytes = 0;
    Cursor at = first;
    while (!AtEnd(at)) {
        Segment& segment = mSegments[at.segment];
        if (segment.places.empty() || segment.first + segment.places[at.place].delta > inLast) {
            break;
        }
        bytes += Release(segment, segment.places[at.place], Length(segment, at.place));
        Advance(at);
    }
    DropEmptySegments(first.segment, at.segment);
    return bytes;
}

bool SegmentLog::FreeBroadcasts(Sequence inAfter, Sequence inThrough) {
    const Cursor first = LowerBound(inAfter + 1);
    bool any = false;
    Cursor at = first;
    while (!AtEnd(at)) {
        Segment& segment = mSegments[at.segment];
        if (segment.places.empty() || segment.first + segment.places[at.place].delta > inThrough) {
            break;
        }
        Place& place = segment.places[at.place];
        if (place.broadcast && !place.freed) {
            Release(segment, place, Length(segment, at.place));
            any = true;
        }
        Advance(at);
    }
    DropEmptySegments(first.segment, at.segment);
    return any;
}

void SegmentLog::DropEmptySegments(std::size_t inFirst, std::size_t inLast) {
    // The last segment stays: it is filled on, or begun anew.
    for (std::size_t i = std::min(inLast + 1, mSegments.size() - std::min<std::size_t>(mSegments.size(), 1));
         i-- > inFirst;) {
        if (mSegments[i].kept == 0) {
            mHeld -= mSegments[i].block->Capacity();
            mSpare = std::move(mSegments[i].places);
            mSpare.clear();
            mSegments.erase(mSegments.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

std::size_t SegmentLog::HeldBytesWith(std::size_t inLength) const noexcept {
    if (!mSegments.empty()) {
        const Segment& last = mSegments.back();
        const std::size_t used = last.kept == 0 ? 0 : last.used;
        if (last.block->Capacity() - used >= inLength) {
            return mHeld;
        }
    }
    return mHeld + std::max(mPool.Standard(), inLength);
}

void SegmentLog::CompactSegment(Segment& ioSegment) {
    wire::BufferRef block = mPool.MakeExact(ioSegment.kept);
    std::vector<Place> places;
    std::size_t used = 0;
    for (std::size_t i = 0; i != ioSegment.places.size(); ++i) {
        Place place = ioSegment.places[i];
        if (place.freed) {
            continue;
        }
        const std::size_t length = Length(ioSegment, i);
        std::memcpy(block->Data() + used, ioSegment.block->Data() + place.offset, length);
        place.offset = static_cast<std::uint32_t>(used);
        places.push_back(place);
        used += length;
    }
    mHeld = mHeld - ioSegment.block->Capacity() + block->Capacity();
    ioSegment.block = std::move(block);
    ioSegment.places = std::move(places);
    ioSegment.used = used;
}

void SegmentLog::Compact() {
    for (std::size_t i = 0; i + 1 < mSegments.size(); ++i) {
        if (mSegments[i].kept < mSegments[i].used) {
            CompactSegment(mSegments[i]);
        }
    }
}

}  // namespace orvane::plexa::message5
