/// The broker's command line as a value. No I/O but the streams handed in.
#pragma once

#include <chrono>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>

#include <spdlog/common.h>

namespace orvane::plexa::broker {

/// Exit codes of the program.
inline constexpr int kExitSuccess = 0;
/// Something on this machine kept the broker from running; the log or stderr says what.
inline constexpr int kExitFailure = 1;
/// The command line is wrong.
inline constexpr int kExitUsage = 2;

struct Options {
    /// Absolute path; empty: where the environment says.
    std::string runtimeDirectory;
    /// How long to stay after the last client; zero: for ever.
    std::chrono::seconds idleExit{0};
    /// Started by a client: in a session of its own, log in a file, leaves when idle.
    bool onDemand = false;
    /// Where one byte is written once clients can connect; -1: nowhere.
    int readyDescriptor = -1;
    spdlog::level::level_enum logLevel = spdlog::level::info;
    /// Absolute path; empty: where the environment says, if it is there.
    std::string configurationFile;
    /// Absolute path; empty: stderr, or "broker.log" in the runtime directory when started on demand.
    std::string logFile;
};

/// Either options to run with, or the code to exit with at once (after --help, --version or a wrong command
/// line).
struct ParsedOptions {
    std::optional<Options> options;
    int exitCode = kExitSuccess;
};

/// Reads the command line, program name included. Help goes to outOutput, complaints to outErrors.
/// Relative paths are taken from the current directory.
ParsedOptions ParseOptions(std::span<const char* const> inArguments, std::ostream& outOutput,
                           std::ostream& outErrors);

}  // namespace orvane::plexa::broker
