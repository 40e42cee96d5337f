#include "BrokerStatusText.h"

#include <algorithm>
#include <string>
#include <utility>

#include "BrokerFacts.h"
#include "Output.h"
#include "PayloadText.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;

namespace {

std::string Fact(const VariantObject& inFacts, const char* inKey) {
    const auto found = inFacts.find(inKey);
    if (found == inFacts.end() || !found->second) return "-";
    const auto* const text = boost::any_cast<UTF8String>(found->second.get());
    return text != nullptr ? PlainLine(*text) : JSONLine(*found->second);
}

VariantObject Group(const VariantObject& inFacts, const char* inKey) {
    const auto* const group = FindFact<VariantObject>(inFacts, inKey);
    return group != nullptr ? *group : VariantObject();
}

// A text and blanks behind it, up to a width.
std::string Padded(std::string inText, std::size_t inWidth) {
    inText.resize(std::max(inText.size() + 1, inWidth), ' ');
    return inText;
}

// What a member has sent and its receivers have not finished with.
void PrintLanes(const VariantObject& inMember, Output& ioOutput) {
    const VariantArray* const lanes = FindFact<VariantArray>(inMember, "lanes");
    if (lanes == nullptr) return;
    for (const auto& lane : *lanes) {
        const auto* const facts = boost::any_cast<VariantObject>(lane.get());
        if (facts == nullptr) continue;
        ioOutput.Line("         to member " + Fact(*facts, "receiver") + ": " +
                      Fact(*facts, "in_flight_bytes") + " bytes on the way, message " +
                      Fact(*facts, "queued") + " given, " + Fact(*facts, "consumed") + " consumed");
    }
}

void PrintMembers(const VariantObject& inStatus, Output& ioOutput) {
    const VariantArray* const members = FindFact<VariantArray>(inStatus, "members");
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
            line += Padded(Fact(*facts, key), width);
        }
        ioOutput.Line(line + Fact(*facts, "app_id"));
        PrintLanes(*facts, ioOutput);
    }
}

void PrintBounds(const VariantObject& inStatus, Output& ioOutput) {
    const VariantObject bounds = Group(inStatus, "bounds");
    if (bounds.empty()) return;
    ioOutput.Line("");
    ioOutput.Line(ioOutput.Strong("BOUND              IN USE         LIMIT"));
    for (const auto& [name, value] : bounds) {
        const auto* const facts = boost::any_cast<VariantObject>(value.get());
        if (facts == nullptr) continue;
        const bool isTime = facts->contains("limit_ms");
        ioOutput.Line(Padded(PlainLine(name), 19) + Padded(Fact(*facts, "in_use"), 15) +
                      Fact(*facts, isTime ? "limit_ms" : "limit") + (isTime ? " ms" : ""));
    }
}

}  // namespace

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
    PrintBounds(inStatus, ioOutput);
    PrintMembers(inStatus, ioOutput);
}

}  // namespace orvane::plexa::tool
