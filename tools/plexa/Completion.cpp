#include "Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string_view>

#include "CompletionScripts.h"
#include "Output.h"

namespace orvane::plexa::tool {

namespace {

using Words = std::vector<std::string>;

const CLI::App* FindVerb(const CLI::App& inIn, const std::string& inName) {
    const auto found =
        inIn.get_subcommands([&](const CLI::App* inVerb) { return inVerb->get_name() == inName; });
    return found.empty() ? nullptr : found.front();
}

// The words before the last one, walked through.
struct Place {
    const CLI::App* mVerb;
    bool mIsValue = false;     // of the option before
    bool mIsTrailing = false;  // behind "--"
    int mPositionals = 0;      // those of the verb that are there
};

bool TakesValue(const CLI::App& inVerb, const std::string& inOption) {
    const CLI::Option* const option = inVerb.get_option_no_throw(inOption);
    return option != nullptr && option->get_items_expected_max() > 0;
}

Place Walk(const CLI::App& inTool, std::span<const std::string> inWords) {
    Place place{&inTool};
    for (const std::string& word : inWords) {
        if (place.mIsValue) {
            place.mIsValue = false;
        } else if (place.mIsTrailing) {
            ++place.mPositionals;
        } else if (word == "--") {
            place.mIsTrailing = true;
        } else if (word.starts_with('-')) {
            place.mIsValue = TakesValue(*place.mVerb, word);
        } else if (const CLI::App* const verb = FindVerb(*place.mVerb, word)) {
            place.mVerb = verb;
        } else {
            ++place.mPositionals;
        }
    }
    return place;
}

Words Options(const CLI::App& inVerb) {
    Words options;
    for (const CLI::Option* const option : inVerb.get_options())
        for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    return options;
}

Words Verbs(const CLI::App& inVerb) {
    Words verbs;
    for (const CLI::App* const verb : inVerb.get_subcommands({})) verbs.push_back(verb->get_name());
    return verbs;
}

// An app id is what the verbs call "ID".
bool AsksForAppId(const Place& inPlace) {
    return inPlace.mPositionals == 0 && inPlace.mVerb->get_option_no_throw("ID") != nullptr;
}

struct Shell {
    const char* mName;
    const char* mScript;
    const char* mUse;
};

constexpr std::array kShells{
    Shell{"bash", kBashScript, "source <(plexa completion bash)"},
    Shell{"zsh", kZshScript, "source <(plexa completion zsh)"},
    Shell{"fish", kFishScript, "plexa completion fish | source"},
};

}  // namespace

std::vector<std::string> Candidates(const CLI::App& inTool, std::span<const std::string> inWords,
                                    const std::function<std::vector<std::string>()>& inAppIds) {
    if (inWords.empty()) return {};
    const std::string& last = inWords.back();
    const Place place = Walk(inTool, inWords.first(inWords.size() - 1));
    if (place.mIsValue) return {};
    Words candidates;
    if (last.starts_with('-') && !place.mIsTrailing) {
        candidates = Options(*place.mVerb);
    } else if (AsksForAppId(place)) {
        candidates = inAppIds();
    } else if (place.mPositionals == 0 && !place.mIsTrailing) {
        candidates = Verbs(*place.mVerb);
    }
    std::erase_if(candidates, [&](const std::string& inCandidate) { return !inCandidate.starts_with(last); });
    std::sort(candidates.begin(), candidates.end());
    return candidates;
}

void AddCompletionVerb(CLI::App& ioApp) {
    CLI::App* const verb = ioApp.add_subcommand(
        "completion", "Print what a shell has to be told to complete command lines of this tool");
    verb->require_subcommand(1);
    const std::string exitCodes = "\nExit codes: 0 printed, 2 wrong command line.";
    std::string use;
    for (const Shell& shell : kShells) {
        CLI::App* const one = verb->add_subcommand(shell.mName, std::string("For ") + shell.mName);
        one->callback([script = shell.mScript] { Output().Write(script); });
        const std::string example = std::string("  ") + shell.mUse + '\n';
        one->footer("Examples:\n" + example + exitCodes);
        use += example;
    }
    verb->footer("Examples:\n" + use + exitCodes);
}

}  // namespace orvane::plexa::tool
