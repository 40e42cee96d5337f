#include <regex>
#include <string>

#include "Patterns.h"

namespace support {

bool IsCovered(const std::string& inText, const std::string& inPattern) {
    return std::regex_match(inText, std::regex(inPattern));
}

}  // namespace support
