#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ConnectionOptions.h"
#include "Failure.h"
#include "Output.h"
#include "PayloadText.h"
#include "PlexaMessage5/BrokerStatus.h"
#include "Verbs.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

struct StatusOptions {
    bool mIsJSON = false;
    std::optional<double> mTimeout = 5;
};

// The broker may be older or newer than this tool: every fact may be missing.
std::string Fact(const VariantObject& inFacts, const char* inKey) {
    const auto found = inFacts.find(inKey);
    if (found == inFacts.end() || !found->second) return "-";
    const auto* const text = boost::any_cast<UTF8String>(found->second.get());
    return text != nullptr ? PlainLine(*text) : JSONLine(*found->second);
}

VariantObject Group(const VariantObject& inFacts, const char* inKey) {
    const auto found = inFacts.find(inKey);
    const auto* const group =
        found == inFacts.end() ? nullptr : boost::any_cast<VariantObject>(found->second.get());
    return group != nullptr ? *group : VariantObject();
}

void PrintMembers(const VariantObject& inStatus, Output& ioOutput) {
    const auto found = inStatus.find("members");
    const auto* const members =
        found == inStatus.end() ? nullptr : boost::any_cast<VariantArray>(found->second.get());
    if (members == nullptr || members->empty()) return;
    ioOutput.Line("");
    ioOutput.Line(ioOutput.Strong("STATE  RECEIVES  QUEUED BYTES  PID       APP ID"));
    for (const auto& member : *members) {
        const auto* const facts = boost::any_cast<VariantObject>(member.get());
        if (facts == nullptr) continue;
        std::string line;
        for (const auto& [key, width] : {std::pair<const char*, std::size_t>{"state", 7},
                                         {"receives", 10},
                                         {"queued_bytes", 14},
                                         {"pid", 10}}) {
            std::string fact = Fact(*facts, key);
            fact.resize(std::max(fact.size() + 1, width), ' ');
            line += fact;
        }
        ioOutput.Line(line + Fact(*facts, "app_id"));
    }
}

void PrintStatus(const VariantObject& inStatus, Output& ioOutput) {
    const VariantObject totals = Group(inStatus, "totals");
    const VariantObject memory = Group(inStatus, "memory");
    ioOutput.Line(ioOutput.Strong("broker") + "       version " + Fact(inStatus, "version") + ", process " +
                  Fact(inStatus, "pid") + ", up " + Fact(inStatus, "uptime_s") + " s");
    ioOutput.Line(ioOutput.Strong("directory") + "    " + Fact(inStatus, "runtime_dir"));
    ioOutput.Line(ioOutput.Strong("members") + "      " + Fact(inStatus, "members_total") + ", connections " +
                  Fact(inStatus, "connections"));
    ioOutput.Line(ioOutput.Strong("carried") + "      " + Fact(totals, "messages") + " messages, " +
                  Fact(totals, "bytes") + " bytes; dropped " + Fact(totals, "dropped"));
    ioOutput.Line(ioOutput.Strong("connections") + "  accepted " + Fact(totals, "connections") +
                  ", refused " + Fact(totals, "refused") + ", faulty " + Fact(totals, "faulty"));
    ioOutput.Line(ioOutput.Strong("memory") + "       " + Fact(memory, "in_use") + " of " +
                  Fact(memory, "limit") + " bytes");
    PrintMembers(inStatus, ioOutput);
}

void Status(const StatusOptions& inOptions) {
    std::string text;
    const int milliseconds =
        static_cast<int>(std::min(std::ceil(inOptions.mTimeout.value_or(0) * 1000), 86'400'000.0));
    switch (api5::QueryBrokerStatus(milliseconds, text)) {
        case api5::kPlexaMessageErrorCode_None:
        case api5::kPlexaMessageErrorCode_AlreadyDone:
            break;
        case api5::kPlexaMessageErrorCode_BrokerProcessDoesNotExist:
            throw Failure(kExitNoBroker, "no broker answers: " + PlainLine(text) +
                                             "; the first application on the bus starts one");
        default:
            throw Failure(kExitFailure, "cannot get the broker's status: " + PlainLine(text));
    }
    const VariantObject status = ParseObject(text, "the broker's status");
    Output output;
    if (inOptions.mIsJSON) {
        output.Line(JSONLine(VariantValue(status)));
    } else {
        PrintStatus(status, output);
    }
}

}  // namespace

void AddBrokerVerb(CLI::App& ioApp) {
    CLI::App* const broker = ioApp.add_subcommand("broker", "Look at the broker");
    broker->require_subcommand(1);
    CLI::App* const verb =
        broker->add_subcommand("status", "Show what the broker does and who is connected; starts no broker");
    const auto options = std::make_shared<StatusOptions>();
    verb->add_flag("--json", options->mIsJSON, "Print one JSON object");
    AddSeconds(*verb, "--timeout", options->mTimeout, "Wait this long for the broker's answer (default: 5)");
    verb->callback([options] { Status(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa broker status\n"
        "  plexa broker status --json\n\n"
        "Exit codes: 0 shown, 1 the broker's answer can't be had, 2 wrong command line, 4 no broker.");
}

}  // namespace orvane::plexa::tool
