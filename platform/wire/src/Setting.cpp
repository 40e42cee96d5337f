#include "wire/Setting.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

namespace orvane::plexa::wire {

namespace {

struct Unit {
    std::string_view name;
    std::uint64_t factor;
};

// The largest first, as a value is best written in the largest that fits.
constexpr std::array<Unit, 1> kCountUnits = {Unit{"", 1}};
constexpr std::array<Unit, 4> kSizeUnits = {Unit{"G", 1ULL << 30U}, Unit{"M", 1ULL << 20U},
                                            Unit{"K", 1ULL << 10U}, Unit{"", 1}};
constexpr std::array<Unit, 2> kTimeUnits = {Unit{"s", 1000}, Unit{"ms", 1}};

std::span<const Unit> Units(SettingRange::Kind inKind) {
    switch (inKind) {
        case SettingRange::Kind::kSize:
            return kSizeUnits;
        case SettingRange::Kind::kTime:
            return kTimeUnits;
        default:
            return kCountUnits;
    }
}

std::string Written(std::uint64_t inValue, SettingRange::Kind inKind) {
    const auto units = Units(inKind);
    const auto unit = std::find_if(units.begin(), units.end() - 1,
                                   [=](const Unit& inUnit) { return inValue % inUnit.factor == 0; });
    return std::to_string(inValue / unit->factor).append(unit->name);
}

}  // namespace

std::optional<std::uint64_t> ParseSetting(std::string_view inText, const SettingRange& inRange) noexcept {
    std::uint64_t number = 0;
    const char* const end = inText.data() + inText.size();
    const auto [rest, error] = std::from_chars(inText.data(), end, number);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    const std::string_view name(rest, static_cast<std::size_t>(end - rest));
    for (const Unit& unit : Units(inRange.kind)) {
        if (unit.name == name) {
            const bool fits = number <= inRange.most / unit.factor && number * unit.factor >= inRange.least;
            return fits ? std::optional(number * unit.factor) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::string Expected(const SettingRange& inRange) {
    const std::string_view what = inRange.kind == SettingRange::Kind::kSize   ? "a size"
                                  : inRange.kind == SettingRange::Kind::kTime ? "a time"
                                                                              : "a number";
    return std::string(what) + " from " + Written(inRange.least, inRange.kind) + " to " +
           Written(inRange.most, inRange.kind);
}

}  // namespace orvane::plexa::wire
