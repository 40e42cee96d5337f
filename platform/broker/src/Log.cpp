#include "Log.h"

#include <filesystem>
#include <utility>

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace orvane::plexa::broker {

namespace {

constexpr std::size_t kFileBytes = std::size_t{1} << 20U;
constexpr std::size_t kOlderFiles = 1;
constexpr std::size_t kLongestText = 200;

/// Its file is made anew when it has been taken away, as soon as there is a folder for it.
class FileSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
  public:
    explicit FileSink(std::string inPath) : mPath(std::move(inPath)), mFile(Open()) {}

  protected:
    void sink_it_(const spdlog::details::log_msg& inMessage) override {
        std::error_code ignored;
        if (!std::filesystem::exists(mPath, ignored) &&
            std::filesystem::exists(std::filesystem::path(mPath).parent_path(), ignored)) {
            mFile = Open();
            mFile->set_formatter(formatter_->clone());
        }
        mFile->log(inMessage);
    }
    void flush_() override { mFile->flush(); }
    void set_formatter_(std::unique_ptr<spdlog::formatter> inFormatter) override {
        mFile->set_formatter(inFormatter->clone());
        base_sink::set_formatter_(std::move(inFormatter));
    }
    void set_pattern_(const std::string& inPattern) override {
        set_formatter_(std::make_unique<spdlog::pattern_formatter>(inPattern));
    }

  private:
    using File = spdlog::sinks::rotating_file_sink_st;
    std::unique_ptr<File> Open() const { return std::make_unique<File>(mPath, kFileBytes, kOlderFiles); }

    const std::string mPath;
    std::unique_ptr<File> mFile;
};

}  // namespace

std::shared_ptr<Log> OpenLog(const std::string& inFile, spdlog::level::level_enum inLevel) {
    std::shared_ptr<spdlog::sinks::sink> sink;
    if (inFile.empty()) {
        sink = std::make_shared<spdlog::sinks::stderr_sink_st>();
    } else {
        sink = std::make_shared<FileSink>(inFile);
    }
    auto log = std::make_shared<Log>("broker", std::move(sink));
    log->set_level(inLevel);
    // A disk without room must not have it write to whatever the standard error output is.
    log->set_error_handler([](const std::string& /*inWhat*/) {});
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
