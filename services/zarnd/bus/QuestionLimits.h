/// What a question to this service may be.
#pragma once

#include <cstddef>

namespace orvane::plexa::zarnd {

inline constexpr std::size_t kMaxQuestionBytes = std::size_t{16} << 10U;
/// Of what is longer only the request id is read, or which module is to be installed, if that is no longer.
inline constexpr std::size_t kMaxReadBytes = 4 * kMaxQuestionBytes;
inline constexpr std::size_t kMaxReadIdBytes = 1024;
inline constexpr std::size_t kMaxReadModuleBytes = std::size_t{8} << 10U;
/// Dictionaries in each other.
inline constexpr std::size_t kMaxQuestionDepth = 8;
inline constexpr std::size_t kMaxQuestionValues = 1000;

}  // namespace orvane::plexa::zarnd
