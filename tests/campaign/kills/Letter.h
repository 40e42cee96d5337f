/// The messages of the campaign: numbered, of known contents.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace campaign::kills {

inline constexpr std::size_t kSmallest = 64;
inline constexpr std::size_t kLargest = std::size_t{256} << 10U;

enum class Kind : char { kUnicast = 'u', kRequest = 'q', kAnswer = 'a', kBroadcast = 'b' };

struct Letter {
    std::uint64_t mSender = 0;  ///< its place
    Kind mKind = Kind::kUnicast;
    std::uint64_t mNumber = 0;    ///< among the sender's broadcasts, or what it sends to this receiver alone
    std::uint64_t mSequence = 0;  ///< among all that the sender sends
    std::uint64_t mFault = 0;     ///< the last fault that the sender knew of
    std::uint64_t mRequest = 0;   ///< of an answer: the request's number
};

/// The payload: text, of inSize bytes, `kSmallest` to `kLargest`.
std::string Write(const Letter& inLetter, std::size_t inSize);
/// Nothing unless each byte is as it was written.
std::optional<Letter> Read(std::string_view inPayload);

}  // namespace campaign::kills
