/// Options of every verb that goes on the bus.
#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace orvane::plexa::tool {

struct ConnectionOptions {
    std::string mCode;                ///< product code; empty: that of the environment, else the tool's own
    std::string mVersion;             ///< client version; empty: that of the environment, else the tool's own
    std::optional<double> mWait = 5;  ///< seconds to wait for the bus
};

void AddConnectionOptions(CLI::App& ioVerb, ConnectionOptions& outOptions);
/// --wait alone, for verbs that have their own way to say who speaks.
void AddWait(CLI::App& ioVerb, ConnectionOptions& outOptions);

/// Adds an option that takes a number of seconds, at least so many, and a year at most.
CLI::Option* AddSeconds(CLI::App& ioVerb, const char* inName, std::optional<double>& outSeconds,
                        const char* inHelp, double inLeast = 0);

/// Adds the position for a message type, which may not be empty nor longer than the bus takes.
CLI::Option* AddMessageType(CLI::App& ioVerb, const char* inName, std::string& outType, const char* inHelp);
/// What such a text has to be: empty when it is fine, else what is wrong.
std::string CheckMessageType(const std::string& inType);
/// The same of a text that may be anything but nothing.
std::string CheckNotEmpty(const std::string& inText);

}  // namespace orvane::plexa::tool
