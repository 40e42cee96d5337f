#include "Log.h"

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace orvane::plexa::broker {

namespace {

constexpr std::size_t kFileBytes = std::size_t{1} << 20U;
constexpr std::size_t kOlderFiles = 1;
constexpr std::size_t kLongestText = 200;

}  // namespace

std::shared_ptr<Log> OpenLog(const std::string& inFile, spdlog::level::level_enum inLevel) {
    std::shared_ptr<spdlog::sinks::sink> sink;
    if (inFile.empty()) {
        sink = std::make_shared<spdlog::sinks::stderr_sink_st>();
    } else {
        sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(inFile, kFileBytes, kOlderFiles);
    }
    auto log = std::make_shared<Log>("broker", std::move(sink));
    log->set_level(inLevel);
    log->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %P %l: %v");
    log->flush_on(spdlog::level::debug);
    return log;
}

std::string Escaped(std::string_view inText) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string escaped;
    for (const char character : inText.substr(0, kLongestText)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7F && character != '\\' && character != '"') {
            escaped += character;
        } else {
            escaped += "\\x";
            escaped += kDigits[byte >> 4U];
            escaped += kDigits[byte & 0xFU];
        }
    }
    if (inText.size() > kLongestText) escaped += "...";
    return escaped;
}

}  // namespace orvane::plexa::broker
