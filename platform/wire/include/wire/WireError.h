/// Everything a peer can do wrong. Each ends the connection; the text goes to the log and, where possible, to
/// the peer.
#pragma once

#include <cstdint>
#include <string_view>

namespace orvane::plexa::wire {

enum class WireError : std::uint8_t {
    /// Nothing is wrong.
    kNone,
    /// A frame's length is below the header's size.
    kFrameTooShort,
    /// A frame's length is above the largest frame allowed.
    kFrameTooLong,
    /// A frame's length is no multiple of 8.
    kFrameUnaligned,
    /// Header, type text and payload do not fill the frame exactly.
    kLengthsDisagree,
    /// A kind below 128 that this version does not know.
    kUnknownKind,
    /// A known kind that does not go this way.
    kWrongDirection,
    /// A known kind at a moment where it may not come.
    kOutOfOrder,
    /// A flag that does not belong to the kind, or whose feature was not agreed on.
    kBadFlags,
    /// A fixed body that is missing, cut short or not a whole number of entries.
    kBadBody,
    /// A table that does not verify, or lacks a field it needs.
    kBadTable,
    /// The first frame does not carry the magic number.
    kBadMagic,
    /// No version in common.
    kNoCommonVersion,
    /// An app id that is empty, too long, or contains a zero byte.
    kBadAppId,
    /// More interest types, or longer ones, than allowed.
    kBadInterest,
    /// A message's sequence is zero.
    kBadSequence,
    /// A message for oneself, or a source that no member owns.
    kBadAddress,
    /// More bytes on the way to one receiver than any window ever allowed.
    kWindowOverrun,
    /// An acknowledgement or position beyond what was ever sent.
    kBadPosition,
    /// The broker takes smaller messages than every client may send.
    kSmallPayload,
    /// A number that belongs to another member.
    kBadIdentity,
    /// The connection ended inside a frame.
    kEndInsideFrame,
    /// The handshake or half a frame took too long.
    kTooSlow,
    /// More control bytes waited for the peer than allowed.
    kControlOverflow,
    /// More memory was waiting for receivers than allowed, most of it for this one.
    kMemoryPressure,
    /// The broker refused the connection.
    kRefused,
};

/// A sentence without a full stop, for logs and messages.
std::string_view Text(WireError inError) noexcept;

}  // namespace orvane::plexa::wire
