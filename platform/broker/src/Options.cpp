#include "Options.h"

#include <filesystem>
#include <limits>
#include <map>

#include <CLI/CLI.hpp>

#include "Version.h"

namespace orvane::plexa::broker {

namespace {

constexpr std::chrono::seconds kIdleExitOnDemand{60};
constexpr std::int64_t kLongestIdleExit = std::int64_t{365} * 24 * 3600;

constexpr const char* kExamples =
    "Examples:\n"
    "  OrvaneIPCBroker                                run until stopped, log to the terminal\n"
    "  OrvaneIPCBroker --idle-exit 300                leave five minutes after the last client\n"
    "  OrvaneIPCBroker --runtime-dir /tmp/try --log debug\n"
    "                                                 a private broker; clients find it through\n"
    "                                                 PLEXA_RUNTIME_DIR=/tmp/try\n\n"
    "Exit codes: 0 stopped, idle, or another broker already serves the directory; 1 failed; 2 wrong arguments.";

const std::map<std::string, spdlog::level::level_enum> kLevels = {
    {"debug", spdlog::level::debug}, {"info", spdlog::level::info}, {"warn", spdlog::level::warn},
    {"error", spdlog::level::err},   {"off", spdlog::level::off},
};

std::string Absolute(const std::string& inPath) {
    if (inPath.empty()) return inPath;
    std::string path = std::filesystem::absolute(inPath).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace

ParsedOptions ParseOptions(std::span<const char* const> inArguments, std::ostream& outOutput,
                           std::ostream& outErrors) {
    Options options;
    std::int64_t idleExit = -1;

    CLI::App app("Carries messages between the applications of one user.", "OrvaneIPCBroker");
    app.footer(kExamples);
    app.set_version_flag("--version", std::string("OrvaneIPCBroker ") + kVersion);
    app.add_option("--runtime-dir", options.runtimeDirectory,
                   "Directory of the socket (default: $PLEXA_RUNTIME_DIR, else $XDG_RUNTIME_DIR/plexa, else "
                   "/tmp/plexa-<user>)")
        ->check([](const std::string& inText) { return inText.empty() ? "must not be empty" : ""; });
    app.add_option(
           "--idle-exit", idleExit,
           "Leave this many seconds after the last client, 0: never (default: 0, with --on-demand 60)")
        ->check(CLI::Range(std::int64_t{0}, kLongestIdleExit));
    app.add_flag(
        "--on-demand", options.onDemand,
        "Started by a client: own session, log to broker.log in the runtime directory, leave when idle");
    app.add_option("--ready-fd", options.readyDescriptor,
                   "Write one byte to this descriptor and close it once clients can connect")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
    app.add_option("--log", options.logLevel,
                   "How much to log: debug, info, warn, error, off (default: info)")
        ->transform(CLI::CheckedTransformer(kLevels, CLI::ignore_case).description(""))
        ->type_name("LEVEL");
    app.add_option(
        "--config", options.configurationFile,
        "Read bounds from this file (default: orvane/plexa/broker.conf in the first XDG configuration "
        "directory that has it); environment variables PLEXA_LIMIT_... count more");
    app.add_option("--log-file", options.logFile, "Log to this file; it is rotated at 1 MiB");

    try {
        app.parse(static_cast<int>(inArguments.size()), inArguments.data());
        options.runtimeDirectory = Absolute(options.runtimeDirectory);
        options.configurationFile = Absolute(options.configurationFile);
        options.logFile = Absolute(options.logFile);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error, outOutput, outErrors);
        return {std::nullopt, code == 0 ? kExitSuccess : kExitUsage};
    } catch (const std::filesystem::filesystem_error& error) {
        outErrors << "cannot make a path absolute: " << error.what() << "\n";
        return {std::nullopt, kExitFailure};
    }
    options.idleExit = idleExit >= 0      ? std::chrono::seconds(idleExit)
                       : options.onDemand ? kIdleExitOnDemand
                                          : std::chrono::seconds(0);
    return {options, kExitSuccess};
}

}  // namespace orvane::plexa::broker
