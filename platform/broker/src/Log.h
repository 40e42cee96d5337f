/// The broker's log. Text that comes from clients goes through Escaped first.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <spdlog/spdlog.h>

namespace orvane::plexa::broker {

using Log = spdlog::logger;

/// A log to a file that is rotated at 1 MiB with one older file kept; to stderr if the path is empty.
/// Throws spdlog::spdlog_ex when the file cannot be opened.
std::shared_ptr<Log> OpenLog(const std::string& inFile, spdlog::level::level_enum inLevel);

/// The text in printable ASCII: everything else, quotes and backslashes as \xNN; at most 200 bytes of it,
/// then "...".
std::string Escaped(std::string_view inText);

}  // namespace orvane::plexa::broker
