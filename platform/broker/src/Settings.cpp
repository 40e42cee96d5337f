#include "Settings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>

#include "Log.h"
#include "wire/Messages.h"

namespace orvane::plexa::broker {

namespace {

using wire::Limits;
using Kind = wire::SettingRange::Kind;

constexpr std::uint64_t kKiB = 1ULL << 10U;
constexpr std::uint64_t kMiB = 1ULL << 20U;
/// As many as the acknowledgements that one frame lists, and no more.
constexpr std::uint64_t kMostMembers = Limits().maxControlPayload / sizeof(wire::AckEntry);
constexpr wire::SettingRange kTime{Kind::kTime, 100, 3'600'000};

constexpr std::array<BoundSetting, 10> kSettings = {{
    {"broker memory", &Limits::brokerMemory, {Kind::kSize, 8 * kMiB, 4096 * kMiB}},
    {"control queue", &Limits::controlQueue, {Kind::kSize, 64 * kKiB, 64 * kMiB}},
    {"first window", &Limits::firstWindow, {Kind::kSize, 4 * kKiB, kMiB}},
    {"lane window", &Limits::maxWindow, {Kind::kSize, 64 * kKiB, 8 * kMiB}},
    {"receiver windows", &Limits::receiverWindows, {Kind::kSize, 64 * kKiB, 1024 * kMiB}},
    {"connections", &Limits::connectionsPerProcess, {Kind::kCount, 1, 1024}},
    {"members", &Limits::members, {Kind::kCount, 1, kMostMembers}},
    {"handshake", &Limits::handshake, kTime},
    {"half frame", &Limits::halfFrame, kTime},
    {"away", &Limits::away, kTime},
}};

void Set(wire::Limits& ioLimits, const BoundSetting& inSetting, std::uint64_t inValue) {
    if (const auto* const size = std::get_if<std::size_t Limits::*>(&inSetting.field)) {
        ioLimits.** size = inValue;
    } else {
        ioLimits.*std::get<wire::Duration Limits::*>(inSetting.field) = std::chrono::milliseconds(inValue);
    }
}

std::string_view Trimmed(std::string_view inText) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t begin = inText.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return {};
    return inText.substr(begin, inText.find_last_not_of(kBlanks) - begin + 1);
}

class Reader {
  public:
    explicit Reader(Settings& outSettings) : mSettings(outSettings) {}

    void Apply(const BoundSetting& inSetting, std::string_view inValue, const std::string& inWhere) {
        if (const auto value = wire::ParseSetting(inValue, inSetting.range)) {
            Set(mSettings.limits, inSetting, *value);
        } else {
            Complain(inWhere, "\"" + Escaped(inValue) + "\" is not " + wire::Expected(inSetting.range));
        }
    }
    void ApplyLine(std::string_view inLine, const std::string& inWhere) {
        const std::string_view line = Trimmed(inLine);
        if (line.empty() || line.front() == '#') return;
        const std::size_t equals = line.find('=');
        const std::string_view name = Trimmed(line.substr(0, equals));
        const auto setting = std::find_if(kSettings.begin(), kSettings.end(),
                                          [&](const BoundSetting& inKnown) { return inKnown.name == name; });
        if (equals == std::string_view::npos) {
            Complain(inWhere, "a line has the form \"name = value\"");
        } else if (setting == kSettings.end()) {
            Complain(inWhere, "there is no bound \"" + Escaped(name) + "\"");
        } else {
            Apply(*setting, Trimmed(line.substr(equals + 1)), inWhere);
        }
    }

  private:
    void Complain(const std::string& inWhere, const std::string& inWhat) {
        constexpr std::size_t kMost = 20;
        if (mSettings.complaints.size() < kMost) {
            mSettings.complaints.push_back(inWhere + ": " + inWhat + "; it is left out");
        }
    }

    Settings& mSettings;
};

}  // namespace

std::span<const BoundSetting> BoundSettings() noexcept { return kSettings; }

std::string EnvironmentName(const BoundSetting& inSetting) {
    std::string name = "PLEXA_LIMIT_";
    for (const char character : inSetting.name) {
        name +=
            character == ' ' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    return name;
}

std::uint64_t ValueOf(const BoundSetting& inSetting, const wire::Limits& inLimits) noexcept {
    if (const auto* const size = std::get_if<std::size_t Limits::*>(&inSetting.field)) return inLimits.**size;
    const auto* const time = std::get_if<wire::Duration Limits::*>(&inSetting.field);
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(inLimits.**time).count());
}

Settings ReadSettings(const std::optional<ConfigurationFile>& inFile, const EnvironmentLookup& inLookup) {
    Settings settings;
    Reader reader(settings);
    std::size_t number = 0;
    for (std::string_view rest = inFile ? std::string_view(inFile->text) : std::string_view();
         !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        reader.ApplyLine(line, inFile->path + ":" + std::to_string(++number));
    }
    for (const BoundSetting& setting : kSettings) {
        const std::string name = EnvironmentName(setting);
        const std::optional<std::string> value = inLookup(name);
        if (value && !value->empty()) reader.Apply(setting, *value, name);
    }
    return settings;
}

}  // namespace orvane::plexa::broker
