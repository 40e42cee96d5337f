/// What people find in the log.
#pragma once

#include <string>

namespace orvane::plexa::zarnd {

/// One record of the log. Never throws. Any thread.
void Note(const std::string& inText) noexcept;

/// The same for what others bring about as often as they like: some at once, then one a second. Records tell
/// how many have been left out before them. Never throws. Any thread.
void NoteProvoked(const std::string& inText) noexcept;

}  // namespace orvane::plexa::zarnd
