/// What a shell offers while a command line of the tool is typed.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace orvane::plexa::tool {

/// What may stand in place of the last of the words, the tool's name not among them: verbs, options, and app
/// ids where one is asked for. Nothing where files or anything else may stand. inAppIds tells the installed
/// applications.
std::vector<std::string> Candidates(const CLI::App& inTool, std::span<const std::string> inWords,
                                    const std::function<std::vector<std::string>()>& inAppIds);

/// The verb "completion", which prints what a shell has to be told once.
void AddCompletionVerb(CLI::App& ioApp);

/// The first word of the command lines with which the shells ask.
inline constexpr const char* kCompleteWord = "__complete";

}  // namespace orvane::plexa::tool
