#include "Tool.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "BrokerBeside.h"
#include "Completion.h"
#include "Failure.h"
#include "Output.h"
#include "PayloadText.h"
#include "Verbs.h"
#include "nuoplexasupport/Applications.h"

namespace orvane::plexa::tool {

namespace {

constexpr const char* kFooter =
    "Examples:\n"
    "  plexa endpoints                               who is on the bus\n"
    "  plexa subscribe org.example.news              print what arrives\n"
    "  plexa send org.example.news 'hello, bus'      send a text to every process\n"
    "  plexa send org.example.news --json n:=1       send a dictionary\n"
    "  plexa answer org.example.ask --response org.example.told --reply by=plexa &\n"
    "  plexa request org.example.ask --response org.example.told question=why\n"
    "  plexa module install KQ7L --product QRTX      have an add-on module installed\n"
    "  plexa observe mail new                        print push notifications of a kind\n"
    "  plexa notify mail new from=Ada                have one told to everybody who observes\n"
    "  plexa apps launch PHOTO-2.1                   start an application\n"
    "  plexa payload decode < payload.xml            look into a payload\n"
    "  plexa script run hello.js                     run a script\n\n"
    "What verbs print is for people; with --json it is for programs, a JSON object a line. What goes wrong is\n"
    "said in a sentence on stderr either way.\n\n"
    "Exit codes: 0 done; 1 failed, or a payload can't be decoded; 2 wrong command line;\n"
    "3 nothing, or not enough, came in time; 4 no broker or no desktop service can be reached.\n\n"
    "\"plexa VERB --help\" tells more about a verb.";

int Complain(const char* inText, ExitCode inCode) {
    std::cerr << "plexa: " << inText << std::endl;
    return inCode;
}

// The words behind "--" of a verb that passes them on; the parser, which would look into them, doesn't get
// them.
std::vector<std::string> TakeTrailing(std::vector<std::string>& ioWords) {
    if (ioWords.size() < 2 || ioWords[0] != "apps" || ioWords[1] != "launch") return {};
    const auto separator = std::find(ioWords.begin(), ioWords.end(), "--");
    if (separator == ioWords.end()) return {};
    std::vector<std::string> trailing(separator + 1, ioWords.end());
    ioWords.erase(separator, ioWords.end());
    return trailing;
}

std::vector<std::string> InstalledApps() {
    nuoplexasupport::TargetSpecifiers ids;
    nuoplexasupport::GetTargetSpecifiers(ids);
    return {ids.begin(), ids.end()};
}

// Answers a shell, a candidate a line.
void Complete(const CLI::App& inTool, std::span<const std::string> inWords) {
    Output output;
    for (const std::string& candidate : Candidates(inTool, inWords, InstalledApps)) output.Line(candidate);
}

// Of the word that stands where a verb should. Throws `Failure`; returns when there is no such word.
void FailForUnknown(const CLI::App& inTool) {
    const CLI::App* verb = &inTool;
    std::string name = inTool.get_name();
    while (!verb->get_subcommands().empty()) {
        verb = verb->get_subcommands().front();
        name += " " + verb->get_name();
    }
    const std::vector<std::string> words = inTool.remaining(true);
    if (verb->get_require_subcommand_min() == 0 || words.empty()) return;
    throw Failure(kExitUsage, "unknown: \"" + PlainLine(words.front()) + "\"; \"" + name +
                                  " --help\" lists what there is");
}

// Parses a command line, which does what it says. What was asked for about the tool itself is output too.
ExitCode Parse(CLI::App& ioTool, std::vector<std::string> inWords) {
    // It takes them from the back.
    std::reverse(inWords.begin(), inWords.end());
    try {
        ioTool.parse(std::move(inWords));
        return kExitSuccess;
    } catch (const CLI::ParseError& error) {
        if (error.get_name() == "RequiredError") FailForUnknown(ioTool);
        std::ostringstream text;
        const int code = ioTool.exit(error, text, std::cerr);
        Output().Write(text.str());
        return code == 0 ? kExitSuccess : kExitUsage;
    }
}

}  // namespace

int Run(int inCount, const char* const* inArguments) {
    // A reader that has gone is an error of the write, not a signal that ends the process.
    std::signal(SIGPIPE, SIG_IGN);
    UseBrokerBeside();

    std::vector<std::string> words(inArguments + std::min(inCount, 1), inArguments + inCount);
    const std::vector<std::string> trailing = TakeTrailing(words);
    CLI::App app("Talks to the applications on this desktop's message bus.", "plexa");
    app.set_version_flag("--version", "plexa " PLEXA_TOOL_VERSION);
    app.require_subcommand(1);
    AddSendVerb(app);
    AddSubscribeVerb(app);
    AddRequestVerb(app);
    AddAnswerVerb(app);
    AddObserveVerb(app);
    AddNotifyVerb(app);
    AddModuleVerbs(app);
    AddEndpointsVerb(app);
    AddAppsVerbs(app, trailing);
    AddBrokerVerb(app);
    AddPayloadVerbs(app);
    AddScriptVerbs(app);
    AddCompletionVerb(app);
    // Behind the verbs: they would inherit it.
    app.footer(kFooter);

    try {
        if (!words.empty() && words.front() == kCompleteWord) {
            Complete(app, std::span(words).subspan(1));
            return kExitSuccess;
        }
        return Parse(app, std::move(words));
    } catch (const ReaderGone&) {
        return kExitSuccess;
    } catch (const Failure& failure) {
        return Complain(failure.what(), failure.Code());
    } catch (const std::bad_alloc&) {
        return Complain("out of memory", kExitFailure);
    } catch (const std::exception& error) {
        return Complain(error.what(), kExitFailure);
    }
}

}  // namespace orvane::plexa::tool
