/// What a question to this service may be.
#pragma once

#include <cstddef>

namespace orvane::plexa::zarnd {

inline constexpr std::size_t kMaxQuestionBytes = std::size_t{16} << 10U;
/// Dictionaries in each other.
inline constexpr std::size_t kMaxQuestionDepth = 8;
inline constexpr std::size_t kMaxQuestionValues = 1000;

}  // namespace orvane::plexa::zarnd
