/// Regular expressions that mean the same on every system: GoogleTest's own are the system's, or few.
#pragma once

#include <gmock/gmock.h>

#include <string>

namespace support {

/// Whether a regular expression (ECMAScript) covers a text from end to end.
bool IsCovered(const std::string& inText, const std::string& inPattern);

MATCHER_P(MatchesPattern, inPattern, "matches \"" + std::string(inPattern) + "\"") {
    return IsCovered(std::string(arg), inPattern);
}

}  // namespace support
