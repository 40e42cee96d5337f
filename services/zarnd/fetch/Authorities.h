/// The authorities that are trusted in place of the system's.
#pragma once

#include <filesystem>

namespace orvane::plexa::zarnd {

/// Throws `std::runtime_error`, with a sentence, for a file that can't be read or has no certificate (PEM).
void CheckAuthorities(const std::filesystem::path& inFile);

}  // namespace orvane::plexa::zarnd
