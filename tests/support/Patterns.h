/// Regular expressions that mean the same on every system: GoogleTest's own are the system's, or few.
#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace support {

/// Matches texts that a regular expression (ECMAScript) covers from end to end.
MATCHER_P(MatchesPattern, inPattern, "matches \"" + std::string(inPattern) + "\"") {
    return std::regex_match(std::string(arg), std::regex(std::string(inPattern)));
}

}  // namespace support
