// The rules that say what is traced; no state, no I/O.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nuocore::debug {

/// A set of rules as `nuocore/Trace.h` describes them.
class TraceRules {
  public:
    /// The longest text that is read; anything longer is refused as a whole.
    static constexpr std::size_t kMaxBytes = std::size_t{64} << 10;

    /// Reads rules; those that can't be read are left out and put into `outUnreadable`. Of two rules for one
    /// category the last counts.
    static TraceRules Parse(std::string_view inText, std::vector<std::string>& outUnreadable);

    [[nodiscard]] bool IsEnabled(std::string_view inCategory, int inLevel, bool inUsePatterns) const;

  private:
    // No level stands for "off".
    using Limit = std::optional<int>;

    bool Add(std::string_view inRule);
    [[nodiscard]] const Limit* Find(std::string_view inCategory, bool inUsePatterns) const;

    std::map<std::string, Limit, std::less<>> mByName;
    std::map<std::string, Limit, std::less<>> mByPrefix;  // without the "*"
};

}  // namespace nuocore::debug
