#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include <unistd.h>

#include "BrokerFacts.h"
#include "BrokerStatusText.h"
#include "ConnectionOptions.h"
#include "Failure.h"
#include "Interruption.h"
#include "Output.h"
#include "PayloadText.h"
#include "PlexaMessage5/BrokerStatus.h"
#include "Verbs.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::tool {

using nuocore::serialization::AddToObject;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

struct StatusOptions {
    bool mIsJSON = false;
    std::optional<double> mTimeout = 5;
    std::optional<double> mWatch;  // seconds between views
    int mCount = 0;                // of views; 0: until interrupted
};

struct RestartOptions {
    bool mIsJSON = false;
    std::optional<double> mTimeout = 10;
};

// How often to look whether another broker has taken over.
constexpr double kLookSeconds = 0.02;

// What becomes of a bus without a broker. A directory that is missing stays so: nothing is started here.
std::string Outlook() {
    const std::string directory = wire::RuntimeDirectoryPath();
    std::error_code error;
    const bool isThere = std::filesystem::exists(std::filesystem::symlink_status(directory, error));
    const std::string trouble = isThere ? wire::EnsureRuntimeDirectory(directory, ::geteuid()) : "";
    return trouble.empty() ? "the first application on the bus starts one, or says why it can't" : trouble;
}

// Throws `Failure`.
VariantObject Query(std::optional<double> inTimeout) {
    std::string text;
    const int milliseconds =
        static_cast<int>(std::min(std::ceil(inTimeout.value_or(0) * 1000), 86'400'000.0));
    switch (api5::QueryBrokerStatus(milliseconds, text)) {
        case api5::kPlexaMessageErrorCode_None:
        case api5::kPlexaMessageErrorCode_AlreadyDone:
            return ParseObject(text, "the broker's status");
        case api5::kPlexaMessageErrorCode_BrokerProcessDoesNotExist:
            throw Failure(kExitNoBroker, "no broker answers: " + PlainLine(text + "; " + Outlook()));
        default:
            throw Failure(kExitFailure, "cannot get the broker's status: " + PlainLine(text));
    }
}

void Show(const StatusOptions& inOptions, Output& ioOutput) {
    const VariantObject status = Query(inOptions.mTimeout);
    if (inOptions.mIsJSON) {
        ioOutput.Line(JSONLine(VariantValue(status)));
    } else {
        PrintStatus(status, ioOutput);
    }
}

// One view after the other, also while one broker takes over from another.
void Watch(const StatusOptions& inOptions) {
    const Interruption interruption;
    Output output(interruption.Descriptor());
    const bool redraws = !inOptions.mIsJSON && ::isatty(STDOUT_FILENO) != 0;
    for (int views = 0; !interruption.HasCome();) {
        if (redraws) {
            output.Write("\033[H\033[2J");
        } else if (!inOptions.mIsJSON && views != 0) {
            output.Line("");
        }
        try {
            Show(inOptions, output);
        } catch (const Failure& failure) {
            if (failure.Code() != kExitNoBroker || inOptions.mIsJSON) throw;
            output.Line(failure.what());
        }
        if (++views == inOptions.mCount) return;
        (void)interruption.Await(-1, After(inOptions.mWatch));
    }
}

void Status(const StatusOptions& inOptions) {
    if (inOptions.mWatch) {
        Watch(inOptions);
    } else {
        Output output;
        Show(inOptions, output);
    }
}

std::int64_t NumberOf(const VariantObject& inStatus, const char* inKey) {
    const auto* const number = FindFact<std::int64_t>(inStatus, inKey);
    if (number == nullptr) {
        throw Failure(kExitFailure, std::string("the broker's status has no \"") + inKey + "\"");
    }
    return *number;
}

std::int64_t CountAway(const VariantObject& inStatus) {
    const auto* const members = FindFact<VariantArray>(inStatus, "members");
    if (members == nullptr) return 0;
    return std::count_if(members->begin(), members->end(), [](const auto& inMember) {
        const auto* const member = boost::any_cast<VariantObject>(inMember.get());
        const auto* const text =
            member == nullptr ? nullptr : FindFact<nuocore::UTF8String>(*member, "state");
        return text != nullptr && *text == "away";
    });
}

void Stop(std::int64_t inProcess) {
    if (inProcess <= 1 || ::kill(static_cast<pid_t>(inProcess), SIGTERM) != 0) {
        const int error = inProcess <= 1 ? EINVAL : errno;
        throw Failure(kExitFailure, "cannot end the broker, process " + std::to_string(inProcess) + ": " +
                                        std::generic_category().message(error));
    }
}

// What a new broker tells of itself once everybody is back; nothing when none has come. A broker is started
// by those who were connected.
std::optional<VariantObject> AwaitSuccessor(std::int64_t inOld, bool inIsWanted,
                                            const Interruption& inInterruption, Deadline inDeadline) {
    std::optional<VariantObject> status;
    while (!inInterruption.HasCome() && Clock::now() < inDeadline) {
        try {
            VariantObject current = Query(1);
            if (NumberOf(current, "pid") != inOld) {
                status = std::move(current);
                if (CountAway(*status) == 0) break;
            }
        } catch (const Failure& failure) {
            if (failure.Code() == kExitNoBroker && !inIsWanted) break;
        }
        (void)inInterruption.Await(-1, After(kLookSeconds));
    }
    return status;
}

void Restart(const RestartOptions& inOptions) {
    const Interruption interruption;
    const Deadline deadline = After(inOptions.mTimeout);
    const VariantObject before = Query(inOptions.mTimeout);
    const std::int64_t process = NumberOf(before, "pid");
    const bool isWanted = NumberOf(before, "members_total") != 0;
    const Clock::time_point began = Clock::now();
    Stop(process);
    const auto after = AwaitSuccessor(process, isWanted, interruption, deadline);
    const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
    if (!after && isWanted) {
        throw Failure(kExitTimeout, "process " + std::to_string(process) +
                                        " was told to end, and no other broker has come in time");
    }
    Output output;
    if (inOptions.mIsJSON) {
        VariantValue result = VariantObject();
        AddToObject(result, "before", process, false);
        AddToObject(result, "seconds", seconds, false);
        if (after) {
            AddToObject(result, "after", NumberOf(*after, "pid"), false);
            AddToObject(result, "members", NumberOf(*after, "members_total"), false);
            AddToObject(result, "away", CountAway(*after), false);
        }
        output.Line(JSONLine(result));
    } else if (!after) {
        output.Line("process " + std::to_string(process) +
                    " has ended; nobody is connected, so the next application starts a broker");
    } else {
        output.Line("process " + std::to_string(process) + " was replaced by " +
                    std::to_string(NumberOf(*after, "pid")) + " within " +
                    std::to_string(std::lround(seconds * 1000)) + " ms; members " +
                    std::to_string(NumberOf(*after, "members_total")) + ", not back yet " +
                    std::to_string(CountAway(*after)));
    }
}

void AddStatus(CLI::App& ioBroker) {
    CLI::App* const verb =
        ioBroker.add_subcommand("status", "Show what the broker does and who is connected; starts no broker");
    const auto options = std::make_shared<StatusOptions>();
    verb->add_flag("--json", options->mIsJSON, "Print one JSON object a line");
    AddSeconds(*verb, "--timeout", options->mTimeout, "Wait this long for the broker's answer (default: 5)");
    CLI::Option* const watch = AddSeconds(*verb, "--watch", options->mWatch,
                                          "Show it anew, so many seconds apart, until interrupted");
    verb->add_option("--count", options->mCount, "End after so many views")
        ->needs(watch)
        ->check(CLI::Range(1, 1'000'000));
    verb->callback([options] { Status(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa broker status\n"
        "  plexa broker status --json\n"
        "  plexa broker status --watch 1\n\n"
        "Exit codes: 0 shown, 1 the broker's answer can't be had, 2 wrong command line, 4 no broker.");
}

void AddRestart(CLI::App& ioBroker) {
    CLI::App* const verb = ioBroker.add_subcommand(
        "restart",
        "Replace the broker, by a newly installed one for instance; nothing that was sent is lost");
    const auto options = std::make_shared<RestartOptions>();
    verb->add_flag("--json", options->mIsJSON, "Print one JSON object a line");
    AddSeconds(*verb, "--timeout", options->mTimeout,
               "Wait this long for the new broker and for everybody to be back (default: 10)");
    verb->callback([options] { Restart(*options); });
    verb->footer(
        "The applications that are connected start the new broker themselves and go on where they were.\n\n"
        "Examples:\n"
        "  plexa broker restart\n\n"
        "Exit codes: 0 replaced, or ended with nobody connected; 1 it could not be ended; 2 wrong command\n"
        "line; 3 no new broker in time; 4 no broker.");
}

}  // namespace

void AddBrokerVerb(CLI::App& ioApp) {
    CLI::App* const broker = ioApp.add_subcommand("broker", "Look at the broker, or replace it");
    broker->require_subcommand(1);
    AddStatus(*broker);
    AddRestart(*broker);
}

}  // namespace orvane::plexa::tool
