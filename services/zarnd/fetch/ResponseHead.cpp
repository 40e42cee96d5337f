#include "fetch/ResponseHead.h"

#include <algorithm>
#include <charconv>

namespace orvane::plexa::zarnd {

namespace {

constexpr std::size_t kMaxValidatorBytes = 1024;

std::string_view Trimmed(std::string_view inText) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = inText.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return inText.substr(first, inText.find_last_not_of(kBlanks) - first + 1);
}

bool IsHeader(std::string_view inName, std::string_view inLowerCase) {
    return std::equal(inName.begin(), inName.end(), inLowerCase.begin(), inLowerCase.end(),
                      [](char inA, char inB) {
                          return (inA >= 'A' && inA <= 'Z' ? static_cast<char>(inA - 'A' + 'a') : inA) == inB;
                      });
}

std::optional<std::uint64_t> Number(std::string_view inText) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(inText.data(), inText.data() + inText.size(), number);
    if (error != std::errc() || end != inText.data() + inText.size()) return std::nullopt;
    return number;
}

}  // namespace

void ResponseHead::Line(std::string_view inLine) {
    if (inLine.starts_with("HTTP/")) {
        *this = ResponseHead();
        return;
    }
    const std::size_t colon = inLine.find(':');
    if (colon == std::string_view::npos) return;
    const std::string_view name = inLine.substr(0, colon);
    const std::string_view value = Trimmed(inLine.substr(colon + 1));
    if (value.size() > kMaxValidatorBytes) return;
    if (IsHeader(name, "etag") && value.starts_with('"')) mEntityTag = value;
    if (IsHeader(name, "last-modified")) mLastModified = value;
    if (IsHeader(name, "content-range")) ContentRange(value);
}

void ResponseHead::ContentRange(std::string_view inValue) {
    constexpr std::string_view kUnit = "bytes ";
    if (!inValue.starts_with(kUnit)) return;
    inValue.remove_prefix(kUnit.size());
    mRangeBegin = Number(inValue.substr(0, inValue.find('-')));
    const std::size_t slash = inValue.find('/');
    if (slash != std::string_view::npos) mWholeSize = Number(inValue.substr(slash + 1));
}

}  // namespace orvane::plexa::zarnd
