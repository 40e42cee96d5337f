/// One frame inside a shared buffer: header, type text, payload, padding. Reading is checked once, by
/// CheckFrame. Single-threaded like the buffer's owner.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

#include "wire/Buffer.h"
#include "wire/Limits.h"
#include "wire/Types.h"
#include "wire/WireError.h"

namespace orvane::plexa::wire {

inline constexpr std::size_t kHeaderBytes = sizeof(FrameHeader);
static_assert(kHeaderBytes == 32);

/// Which way a frame travels.
enum class Direction : std::uint8_t { kToBroker, kToClient };

/// The length of a frame with that much type text and payload.
constexpr std::size_t FrameBytes(std::size_t inTypeLength, std::size_t inPayloadLength) {
    return (kHeaderBytes + inTypeLength + inPayloadLength + 7U) & ~std::size_t{7};
}

constexpr std::uint8_t Bit(FrameFlag inFlag) { return static_cast<std::uint8_t>(inFlag); }

/// A view of one complete, checked frame. Valid while `buffer` is referred to; take a BufferRef to keep it.
struct Frame {
    Buffer* buffer = nullptr;
    std::byte* data = nullptr;

    FrameHeader& Header() const noexcept { return *reinterpret_cast<FrameHeader*>(data); }
    FrameKind Kind() const noexcept { return Header().kind(); }
    bool Has(FrameFlag inFlag) const noexcept { return (Header().flags() & Bit(inFlag)) != 0; }
    std::size_t Length() const noexcept { return Header().length(); }
    std::string_view Type() const noexcept {
        return {reinterpret_cast<const char*>(data + kHeaderBytes), Header().type_length()};
    }
    std::span<const std::byte> Payload() const noexcept {
        return {data + kHeaderBytes + Header().type_length(), Header().payload_length()};
    }
};

/// Checks a header on its own, before the rest of the frame is there: length, alignment, sum of the lengths,
/// kind known and going this way, flags. A kind from 128 up that is not known passes. Returns kNone when the
/// frame may be read.
WireError CheckHeader(const FrameHeader& inHeader, Direction inDirection, const Limits& inLimits) noexcept;

/// True for kinds that this version does not know but may skip.
bool IsSkippable(FrameKind inKind) noexcept;

/// Fills a header and zeroes the padding of a frame at outFrame, which has FrameBytes(type, payload) bytes;
/// the caller writes type text and payload.
FrameHeader& BeginFrame(std::byte* outFrame, FrameKind inKind, std::size_t inTypeLength,
                        std::size_t inPayloadLength) noexcept;

}  // namespace orvane::plexa::wire
