#include "ConnectionOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>
#include <sstream>
#include <system_error>

#include "wire/Limits.h"

namespace orvane::plexa::tool {

namespace {

constexpr double kYear = 365.0 * 24 * 3600;

std::optional<double> Seconds(const std::string& inText, double inLeast) {
    double seconds = -1;
    const char* const end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, seconds);
    // Written so that what is no number at all isn't between the bounds either.
    if (error != std::errc() || stop != end || !(seconds >= inLeast && seconds <= kYear)) return std::nullopt;
    return seconds;
}

}  // namespace

CLI::Option* AddSeconds(CLI::App& ioVerb, const char* inName, std::optional<double>& outSeconds,
                        const char* inHelp, double inLeast) {
    return ioVerb
        .add_option_function<std::string>(
            inName,
            [&outSeconds, inLeast](const std::string& inText) { outSeconds = Seconds(inText, inLeast); },
            inHelp)
        ->check([inLeast](const std::string& inText) {
            if (Seconds(inText, inLeast)) return std::string();
            std::ostringstream complaint;
            complaint << '"' << inText << "\" is no number of seconds from " << inLeast << " to a year";
            return complaint.str();
        })
        ->type_name("SECONDS");
}

std::string CheckMessageType(const std::string& inType) {
    if (inType.empty()) return "a message type must not be empty";
    const std::size_t most = wire::Limits().maxTypeText;
    if (inType.size() > most)
        return "a message type must not be longer than " + std::to_string(most) + " bytes";
    return "";
}

std::string CheckNotEmpty(const std::string& inText) { return inText.empty() ? "must not be empty" : ""; }

CLI::Option* AddMessageType(CLI::App& ioVerb, const char* inName, std::string& outType, const char* inHelp) {
    return ioVerb.add_option(inName, outType, inHelp)->check(CheckMessageType)->required()->type_name("TYPE");
}

void AddConnectionOptions(CLI::App& ioVerb, ConnectionOptions& outOptions) {
    ioVerb
        .add_option("--as", outOptions.mCode,
                    "Product code to speak under (default: $NUOCORE_SAP_CODE, else PLEXACLI)")
        ->type_name("CODE");
    ioVerb
        .add_option("--as-version", outOptions.mVersion,
                    "Client version to speak under (default: $NUOCORE_CLIENT_VERSION, else the tool's own)")
        ->type_name("VERSION");
    AddWait(ioVerb, outOptions);
}

void AddWait(CLI::App& ioVerb, ConnectionOptions& outOptions) {
    AddSeconds(ioVerb, "--wait", outOptions.mWait, "Wait this long for the bus (default: 5)");
}

}  // namespace orvane::plexa::tool
