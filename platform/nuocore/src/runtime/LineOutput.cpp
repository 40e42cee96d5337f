#include "LineOutput.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace nuocore::debug {

namespace {

std::shared_ptr<spdlog::logger> MakeLogger(spdlog::sink_ptr inSink) {
    auto logger = std::make_shared<spdlog::logger>("nuocore", std::move(inSink));
    // Lines come complete with their end.
    logger->set_formatter(
        std::make_unique<spdlog::pattern_formatter>("%v", spdlog::pattern_time_type::local, ""));
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    logger->set_error_handler([](const std::string& /*inWhat*/) {});
    return logger;
}

}  // namespace

LineOutput::LineOutput(const std::string& inPath) {
    if (!inPath.empty()) {
        try {
            mLogger = MakeLogger(std::make_shared<spdlog::sinks::basic_file_sink_mt>(inPath));
            return;
        } catch (const spdlog::spdlog_ex& error) {
            mLogger = MakeLogger(std::make_shared<spdlog::sinks::stderr_sink_mt>());
            Write(std::string(error.what()) + "; writing to the standard error stream instead\n");
            return;
        }
    }
    mLogger = MakeLogger(std::make_shared<spdlog::sinks::stderr_sink_mt>());
}

void LineOutput::Write(std::string_view inText) noexcept {
    mLogger->log(spdlog::level::info, spdlog::string_view_t(inText.data(), inText.size()));
}

}  // namespace nuocore::debug
