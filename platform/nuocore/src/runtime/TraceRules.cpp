#include "TraceRules.h"

#include <charconv>

namespace nuocore::debug {

namespace {

std::string_view Trim(std::string_view inText) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = inText.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return inText.substr(first, inText.find_last_not_of(kBlanks) - first + 1);
}

// Cuts the text up to the next separator off.
std::string_view TakeRule(std::string_view& ioText) {
    const std::size_t end = ioText.find_first_of(",;");
    const std::string_view rule = ioText.substr(0, end);
    ioText.remove_prefix(end == std::string_view::npos ? ioText.size() : end + 1);
    return Trim(rule);
}

bool ReadLevel(std::string_view inText, std::optional<int>& outLevel) {
    if (inText == "off") {
        outLevel.reset();
        return true;
    }
    int level = 0;
    const char* const end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, level);
    outLevel = level;
    return error == std::errc() && stop == end;
}

}  // namespace

TraceRules TraceRules::Parse(std::string_view inText, std::vector<std::string>& outUnreadable) {
    TraceRules rules;
    if (inText.size() > kMaxBytes) {
        outUnreadable.emplace_back("(more than 64 KiB)");
        return rules;
    }
    while (!inText.empty()) {
        const std::string_view rule = TakeRule(inText);
        if (!rule.empty() && !rules.Add(rule)) {
            outUnreadable.emplace_back(rule);
        }
    }
    return rules;
}

bool TraceRules::Add(std::string_view inRule) {
    const std::size_t equals = inRule.rfind('=');
    if (equals == std::string_view::npos) {
        return false;
    }
    std::string_view category = Trim(inRule.substr(0, equals));
    Limit limit;
    if (category.empty() || !ReadLevel(Trim(inRule.substr(equals + 1)), limit)) {
        return false;
    }
    const bool isPattern = category.ends_with('*');
    if (isPattern) {
        category.remove_suffix(1);
    }
    if (category.find('*') != std::string_view::npos) {
        return false;
    }
    (isPattern ? mByPrefix : mByName).insert_or_assign(std::string(category), limit);
    return true;
}

bool TraceRules::IsEnabled(std::string_view inCategory, int inLevel, bool inUsePatterns) const {
    const Limit* const limit = Find(inCategory, inUsePatterns);
    return limit != nullptr && limit->has_value() && inLevel <= **limit;
}

const TraceRules::Limit* TraceRules::Find(std::string_view inCategory, bool inUsePatterns) const {
    if (const auto named = mByName.find(inCategory); named != mByName.end()) {
        return &named->second;
    }
    if (!inUsePatterns || mByPrefix.empty()) {
        return nullptr;
    }
    for (std::size_t length = inCategory.size() + 1; length-- > 0;) {
        const auto prefix = mByPrefix.find(inCategory.substr(0, length));
        if (prefix != mByPrefix.end()) {
            return &prefix->second;
        }
    }
    return nullptr;
}

}  // namespace nuocore::debug
