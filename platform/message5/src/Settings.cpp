#include "Settings.h"

#include <chrono>
#include <cstdlib>

#include "wire/Setting.h"

namespace orvane::plexa::message5 {

namespace {

using Kind = wire::SettingRange::Kind;

constexpr wire::SettingRange kSize{Kind::kSize, 64ULL << 10U, 1ULL << 30U};
constexpr wire::SettingRange kTime{Kind::kTime, 100, 3'600'000};

class Reader {
  public:
    Reader(const EnvironmentLookup& inLookup, std::string& outComplaints)
        : mLookup(inLookup), mComplaints(outComplaints) {}

    void Size(const char* inName, std::size_t& ioValue) {
        if (const auto value = Read(inName, kSize)) {
            ioValue = *value;
        }
    }
    void Time(const char* inName, wire::Duration& ioValue) {
        if (const auto value = Read(inName, kTime)) {
            ioValue = std::chrono::milliseconds(*value);
        }
    }

  private:
    std::optional<std::uint64_t> Read(const char* inName, const wire::SettingRange& inRange) {
        const std::optional<std::string> text = mLookup(inName);
        if (!text || text->empty()) {
            return std::nullopt;
        }
        const auto value = wire::ParseSetting(*text, inRange);
        if (!value) {
            mComplaints += mComplaints.empty() ? "" : " ";
            mComplaints += std::string(inName) + "=\"" + text->substr(0, 64) + "\" is not " +
                           wire::Expected(inRange) + "; the default holds.";
        }
        return value;
    }

    const EnvironmentLookup& mLookup;
    std::string& mComplaints;
};

}  // namespace

Settings ReadSettings(const EnvironmentLookup& inLookup) {
    Settings settings;
    Reader reader(inLookup, settings.complaints);
    reader.Size("PLEXA_LIMIT_LOG", settings.limits.log);
    reader.Size("PLEXA_LIMIT_LOG_RESERVE", settings.limits.logReserve);
    reader.Size("PLEXA_LIMIT_ARREARS", settings.limits.arrears);
    reader.Time("PLEXA_LIMIT_STALL", settings.limits.stall);
    reader.Time("PLEXA_LIMIT_LINGER", settings.limits.linger);
    return settings;
}

Settings ReadSettings() {
    return ReadSettings([](const char* inName) {
        const char* value = std::getenv(inName);  // NOLINT(concurrency-mt-unsafe): nothing here changes it
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    });
}

}  // namespace orvane::plexa::message5
