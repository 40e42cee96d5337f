#include "wire/Frame.h"

#include <algorithm>
#include <cstdint>

namespace orvane::plexa::wire {

namespace {

constexpr std::uint8_t kFirstSkippable = 128;

bool GoesToBroker(FrameKind inKind) {
    switch (inKind) {
        case FrameKind::Hello:
        case FrameKind::Join:
        case FrameKind::Data:
        case FrameKind::Ack:
        case FrameKind::Position:
        case FrameKind::Attach:
        case FrameKind::Detach:
        case FrameKind::Interest:
        case FrameKind::Leave:
        case FrameKind::StatusRequest:
            return true;
        default:
            return false;
    }
}

bool GoesToClient(FrameKind inKind) {
    switch (inKind) {
        case FrameKind::Welcome:
        case FrameKind::Refuse:
        case FrameKind::Peer:
        case FrameKind::Joined:
        case FrameKind::Data:
        case FrameKind::Report:
        case FrameKind::Position:
        case FrameKind::StatusReply:
            return true;
        default:
            return false;
    }
}

std::size_t MaxPayload(FrameKind inKind, const Limits& inLimits) {
    const bool large = inKind == FrameKind::Data || inKind == FrameKind::StatusReply || IsSkippable(inKind);
    return large ? inLimits.maxPayload : std::min(inLimits.maxControlPayload, inLimits.maxPayload);
}

}  // namespace

bool IsSkippable(FrameKind inKind) noexcept {
    return static_cast<std::uint8_t>(inKind) >= kFirstSkippable && !GoesToBroker(inKind) &&
           !GoesToClient(inKind);
}

WireError CheckHeader(const FrameHeader& inHeader, Direction inDirection, const Limits& inLimits) noexcept {
    const std::size_t length = inHeader.length();
    if (length < kHeaderBytes) {
        return WireError::kFrameTooShort;
    }
    if (length > FrameBytes(inLimits.maxTypeText, inLimits.maxPayload)) {
        return WireError::kFrameTooLong;
    }
    if (length % 8 != 0) {
        return WireError::kFrameUnaligned;
    }
    if (FrameBytes(inHeader.type_length(), inHeader.payload_length()) != length) {
        return WireError::kLengthsDisagree;
    }
    const FrameKind kind = inHeader.kind();
    if (inHeader.payload_length() > MaxPayload(kind, inLimits)) {
        return WireError::kFrameTooLong;
    }
    if (IsSkippable(kind)) {
        return WireError::kNone;
    }
    if (inDirection == Direction::kToBroker ? !GoesToBroker(kind) : !GoesToClient(kind)) {
        return GoesToBroker(kind) || GoesToClient(kind) ? WireError::kWrongDirection
                                                        : WireError::kUnknownKind;
    }
    const bool data = kind == FrameKind::Data;
    const unsigned allowed =
        data ? Bit(FrameFlag::BroadcastCopy) | Bit(FrameFlag::ReportSoon) | Bit(FrameFlag::Withdrawn) : 0U;
    if ((inHeader.flags() & ~allowed) != 0) {
        return WireError::kBadFlags;
    }
    if (data) {
        if (inHeader.type_length() > inLimits.maxTypeText) {
            return WireError::kFrameTooLong;
        }
        const bool counted = inHeader.sequence() != 0 && inHeader.sequence() <= kMaxSequence;
        return counted ? WireError::kNone : WireError::kBadSequence;
    }
    return inHeader.type_length() == 0 ? WireError::kNone : WireError::kLengthsDisagree;
}

FrameHeader& BeginFrame(std::byte* outFrame, FrameKind inKind, std::size_t inTypeLength,
                        std::size_t inPayloadLength) noexcept {
    const std::size_t length = FrameBytes(inTypeLength, inPayloadLength);
    // The last word is zeroed whole: the caller then writes over what is not padding.
    std::memset(outFrame + length - 8, 0, 8);
    std::memset(outFrame, 0, kHeaderBytes);
    auto& header = *reinterpret_cast<FrameHeader*>(outFrame);
    header.mutate_length(static_cast<std::uint32_t>(length));
    header.mutate_kind(inKind);
    header.mutate_type_length(static_cast<std::uint16_t>(inTypeLength));
    header.mutate_payload_length(static_cast<std::uint32_t>(inPayloadLength));
    return header;
}

}  // namespace orvane::plexa::wire
