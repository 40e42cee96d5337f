#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Failure.h"
#include "Output.h"
#include "PayloadText.h"
#include "PlexaControl/Controller.h"
#include "Table.h"
#include "Verbs.h"
#include "nuocore/StringConversion.h"
#include "nuoplexasupport/Applications.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

struct AppsOptions {
    std::string mId;
    std::vector<std::string> mArguments;
    bool mInNewProcess = false;
    bool mIsJSON = false;
};

struct App {
    std::string mId;
    std::string mPath;
    std::optional<int> mProcess;  // 0 when it doesn't run, nothing when that isn't known
};

std::string PathOf(const std::string& inId) {
    const UTF8String path = nuocore::string::UTF16to8(nuoplexasupport::GetInstalledAppPath(inId));
    return {path.begin(), path.end()};
}

// Of each in order; nothing when they can't be looked at.
std::optional<std::vector<int>> FindProcesses(const std::vector<std::string>& inIds) {
    std::vector<const char*> texts;
    for (const std::string& id : inIds) texts.push_back(id.c_str());
    std::vector<int> processes(inIds.size());
    if (api5::IPlexaController::GetProcessIds(texts.data(), texts.size(), processes.data()) !=
        api5::kPlexaControlErrorCode_None)
        return std::nullopt;
    return processes;
}

std::vector<int> ProcessesOf(const std::vector<std::string>& inIds) {
    if (auto processes = FindProcesses(inIds)) return *std::move(processes);
    throw Failure(kExitFailure, "the processes can't be looked at; NUOCORE_TRACE=PlexaControl=1 shows why");
}

// All that are installed, with one look at all processes.
std::vector<App> LookAtAll() {
    nuoplexasupport::TargetSpecifiers ids;
    nuoplexasupport::GetTargetSpecifiers(ids);
    const std::vector<int> processes = ProcessesOf({ids.begin(), ids.end()});
    std::vector<App> apps;
    for (std::size_t i = 0; i != ids.size(); ++i) apps.push_back({ids[i], PathOf(ids[i]), processes[i]});
    return apps;
}

App LookInstalled(const std::string& inId) {
    App app{inId, PathOf(inId), std::nullopt};
    if (app.mPath.empty())
        throw Failure(kExitFailure, "\"" + PlainLine(inId) +
                                        "\" isn't installed; \"plexa apps list\" shows what is, and "
                                        "docs/applications.md how an application gets there");
    return app;
}

App LookAtProcess(App inApp) {
    inApp.mProcess = ProcessesOf({inApp.mId}).front();
    return inApp;
}

void PrintJSON(const App& inApp, Output& ioOutput) {
    VariantObject line;
    line["app_id"] = MakeValue(UTF8String(std::string_view(inApp.mId)));
    line["path"] = MakeValue(UTF8String(std::string_view(inApp.mPath)));
    if (inApp.mProcess) line["pid"] = MakeValue(std::int64_t{*inApp.mProcess});
    ioOutput.Line(JSONLine(VariantValue(line)));
}

void List(const AppsOptions& inOptions) {
    Output output;
    std::vector<std::vector<std::string>> rows = {{"APP ID", "PID", "PATH"}};
    for (const App& app : LookAtAll()) {
        if (inOptions.mIsJSON) PrintJSON(app, output);
        rows.push_back({PlainLine(app.mId), app.mProcess == 0 ? "-" : std::to_string(*app.mProcess),
                        PlainLine(app.mPath)});
    }
    if (!inOptions.mIsJSON) PrintTable(rows, output);
}

void Path(const AppsOptions& inOptions) {
    const App app = LookInstalled(inOptions.mId);
    Output output;
    if (inOptions.mIsJSON) return PrintJSON(LookAtProcess(app), output);
    // As it is: it's for programs too.
    output.Line(app.mPath);
}

void Pid(const AppsOptions& inOptions) {
    const App app = LookAtProcess(LookInstalled(inOptions.mId));
    Output output;
    if (inOptions.mIsJSON) PrintJSON(app, output);
    if (app.mProcess == 0)
        throw Failure(kExitFailure,
                      "\"" + PlainLine(app.mId) + "\" doesn't run; \"plexa apps launch\" starts it");
    if (!inOptions.mIsJSON) output.Line(std::to_string(*app.mProcess));
}

// As a shell would have to be given it.
std::string Quoted(const std::string& inText) {
    std::string quoted = "'";
    for (const char character : inText) {
        if (character == '\'') {
            quoted += "'\\''";
        } else {
            quoted += character;
        }
    }
    return quoted + "'";
}

void Launch(const AppsOptions& inOptions) {
    App app = LookAtProcess(LookInstalled(inOptions.mId));
    const int before = *app.mProcess;
    const bool ranBefore = !inOptions.mInNewProcess && before != 0;
    const std::string id = "\"" + PlainLine(app.mId) + "\"";
    if (ranBefore && !inOptions.mArguments.empty())
        throw Failure(kExitFailure, id + " runs already, as process " + std::to_string(before) +
                                        ", and can't be given arguments; --new starts another process");
    std::string arguments;
    for (const std::string& argument : inOptions.mArguments) arguments += Quoted(argument) + ' ';
    if (!nuoplexasupport::LaunchAppEx(app.mId.c_str(), inOptions.mInNewProcess, arguments))
        throw Failure(kExitFailure, id + " can't be started; NUOCORE_TRACE=PlexaControl=1 shows why");
    // Of several processes it's the oldest that is found, and none when it has ended already.
    const auto after = FindProcesses({app.mId});
    const bool isKnown = after && after->front() != 0 && (ranBefore || after->front() != before);
    app.mProcess = isKnown ? std::optional(after->front()) : std::nullopt;
    Output output;
    if (inOptions.mIsJSON) return PrintJSON(app, output);
    output.Line(PlainLine(app.mId) + (ranBefore ? ": runs already" : ": started") +
                (isKnown ? ", process " + std::to_string(*app.mProcess) : ""));
}

// What stands before "--" beside the options. A word with a dash is more likely an option that there isn't.
std::vector<std::string> WordsBeside(const CLI::App& inVerb) {
    std::vector<std::string> words = inVerb.remaining();
    for (const std::string& word : words)
        if (word.starts_with('-'))
            throw CLI::ValidationError(
                "\"" + word + "\" is no option; arguments that begin with a dash stand behind \"--\"");
    return words;
}

struct Verb {
    const char* mName;
    const char* mPurpose;
    void (*mAction)(const AppsOptions&);
    const char* mFooter;
};

// The words behind the application's id; that may be behind "--" itself, since it may begin with a dash.
void TakeArguments(AppsOptions& ioOptions, const CLI::App& inVerb, std::vector<std::string> inTrailing) {
    if (inVerb.count("ID") == 0) {
        if (inTrailing.empty()) throw CLI::RequiredError("ID");
        ioOptions.mId = inTrailing.front();
        inTrailing.erase(inTrailing.begin());
    }
    ioOptions.mArguments = WordsBeside(inVerb);
    ioOptions.mArguments.insert(ioOptions.mArguments.end(), inTrailing.begin(), inTrailing.end());
}

void AddVerb(CLI::App& ioApps, const Verb& inVerb, const std::vector<std::string>& inTrailing) {
    CLI::App* const verb = ioApps.add_subcommand(inVerb.mName, inVerb.mPurpose);
    const auto options = std::make_shared<AppsOptions>();
    verb->add_flag("--json", options->mIsJSON,
                   inVerb.mAction == Launch
                       ? "Print one JSON object: app_id, path, and pid unless the process isn't known"
                       : "Print one JSON object a line: app_id, path, and pid (0: doesn't run)");
    if (inVerb.mAction != List)
        verb->add_option("ID", options->mId,
                         "App id, such as PHOTO-2.1; one that begins with a dash stands behind \"--\"")
            ->required(inVerb.mAction != Launch);
    if (inVerb.mAction == Launch) {
        verb->add_flag("--new", options->mInNewProcess, "Start another process though one runs already");
        // Taken as they are: of what is a list to the parser, such as "[a,b]", an option would get the parts.
        verb->allow_extras();
    }
    verb->callback([options, verb, inTrailing, action = inVerb.mAction] {
        if (action == Launch) TakeArguments(*options, *verb, inTrailing);
        action(*options);
    });
    verb->footer(inVerb.mFooter);
}

}  // namespace

void AddAppsVerbs(CLI::App& ioApp, const std::vector<std::string>& inTrailing) {
    CLI::App* const apps =
        ioApp.add_subcommand("apps", "List, find and start the applications of this desktop");
    apps->require_subcommand(1);
    const auto add = [&](const Verb& inVerb) { AddVerb(*apps, inVerb, inTrailing); };
    add({"list", "List the applications that are installed", List,
         "Examples:\n"
         "  plexa apps list\n"
         "  plexa apps list --json\n\n"
         "Exit codes: 0 listed, 1 the processes can't be looked at, 2 wrong command line."});
    add({"path", "Print the path of an application's program", Path,
         "Examples:\n"
         "  plexa apps path PHOTO-2.1\n"
         "  plexa apps path --json -- -PHOTO-2.1\n\n"
         "Exit codes: 0 printed, 1 not installed, 2 wrong command line."});
    add({"pid", "Print the process id of an application that runs", Pid,
         "Of several processes the one that has run longest.\n\n"
         "Examples:\n"
         "  kill \"$(plexa apps pid PHOTO-2.1)\"\n\n"
         "Exit codes: 0 printed, 1 doesn't run, not installed, or the processes can't be looked at, 2 wrong "
         "command line."});
    add({"launch", "Start an application", Launch,
         "One that runs already isn't started again, unless with --new.\n\n"
         "Examples:\n"
         "  plexa apps launch PHOTO-2.1\n"
         "  plexa apps launch PHOTO-2.1 --new -- --slideshow 'my pictures'\n\n"
         "Exit codes: 0 it runs, 1 it can't be started, or runs and can't be given arguments, 2 wrong "
         "command line."});
}

}  // namespace orvane::plexa::tool
