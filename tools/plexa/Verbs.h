/// The tool's verbs. Each function declares one verb with its options, help and action; the action runs while
/// the command line is parsed, and reports what goes wrong as a `Failure`.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace orvane::plexa::tool {

void AddSendVerb(CLI::App& ioApp);
void AddSubscribeVerb(CLI::App& ioApp);
void AddRequestVerb(CLI::App& ioApp);
void AddAnswerVerb(CLI::App& ioApp);
void AddObserveVerb(CLI::App& ioApp);
void AddNotifyVerb(CLI::App& ioApp);
void AddModuleVerbs(CLI::App& ioApp);
void AddModuleInstallVerb(CLI::App& ioModule);  // one of those
void AddEndpointsVerb(CLI::App& ioApp);
/// inTrailing: the words behind "--" that "apps launch" passes on.
void AddAppsVerbs(CLI::App& ioApp, const std::vector<std::string>& inTrailing);
void AddBrokerVerb(CLI::App& ioApp);
void AddPayloadVerbs(CLI::App& ioApp);
void AddScriptVerbs(CLI::App& ioApp);

}  // namespace orvane::plexa::tool
