/// Product codes and module ids: what may stand for one, also as a file's name.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace orvane::plexa::zarnd {

inline constexpr std::size_t kMaxNameBytes = 64;

/// Letters, digits, "-", "_" and "." but not in front; 64 at most.
inline bool IsName(std::string_view inText) {
    constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    return !inText.empty() && inText.size() <= kMaxNameBytes && inText.front() != '.' &&
           inText.find_first_not_of(kAllowed) == std::string_view::npos;
}

/// Whether a text has a control character.
inline bool HasControl(std::string_view inText) {
    return std::any_of(inText.begin(), inText.end(), [](char inByte) {
        return static_cast<unsigned char>(inByte) < 0x20U || inByte == '\x7F';
    });
}

}  // namespace orvane::plexa::zarnd
