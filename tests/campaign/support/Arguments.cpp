#include "Arguments.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace campaign {

Arguments::Arguments(std::span<char* const> inWords) {
    for (const std::string_view word : inWords) {
        const std::size_t equals = word.find('=');
        Value value;
        const auto number = equals == std::string_view::npos ? std::string_view() : word.substr(equals + 1);
        const auto* const end = number.data() + number.size();
        const auto read = std::from_chars(number.data(), end, value.mNumber);
        if (number.empty() || read.ec != std::errc() || read.ptr != end)
            throw std::invalid_argument("\"" + std::string(word) + "\" is not of the form name=number");
        mValues[std::string(word.substr(0, equals))] = value;
    }
}

std::uint64_t Arguments::Number(const std::string& inName, std::uint64_t inDefault) {
    const auto found = mValues.find(inName);
    if (found == mValues.end()) return inDefault;
    found->second.mUsed = true;
    return found->second.mNumber;
}

void Arguments::CheckAllUsed() const {
    for (const auto& [name, value] : mValues)
        if (!value.mUsed) throw std::invalid_argument("there is no setting \"" + name + "\"");
}

}  // namespace campaign
