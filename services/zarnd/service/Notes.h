/// What people find in the log.
#pragma once

#include <string>

namespace orvane::plexa::zarnd {

/// One record of the log. Never throws. Any thread.
void Note(const std::string& inText) noexcept;

}  // namespace orvane::plexa::zarnd
