#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BusConnection.h"
#include "Output.h"
#include "PayloadText.h"
#include "Table.h"
#include "Verbs.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

struct EndpointsOptions {
    ConnectionOptions mConnection;
    bool mIsJSON = false;
};

std::string AsJSON(const api5::EndPoint& inEndPoint, bool inIsSelf) {
    VariantObject line;
    line["app_id"] = MakeValue(UTF8String(std::string_view(AppIdOf(inEndPoint))));
    line["instance"] = MakeValue(std::uint64_t{inEndPoint.GetInstance()});
    line["pid"] = MakeValue(std::int64_t{inEndPoint.GetProcessId()});
    line["self"] = MakeValue(bool{inIsSelf});
    return JSONLine(VariantValue(line));
}

void PrintEndPoints(const std::vector<api5::EndPoint>& inEndPoints, const api5::EndPoint& inSelf,
                    Output& ioOutput) {
    std::vector<std::vector<std::string>> rows = {{"APP ID", "INSTANCE", "PID", ""}};
    for (const api5::EndPoint& endPoint : inEndPoints)
        rows.push_back({PlainLine(AppIdOf(endPoint)), std::to_string(endPoint.GetInstance()),
                        std::to_string(endPoint.GetProcessId()), endPoint == inSelf ? "this tool" : ""});
    PrintTable(rows, ioOutput);
}

void Endpoints(const EndpointsOptions& inOptions) {
    const Interruption interruption;
    BusConnection bus(inOptions.mConnection);
    bus.Connect(interruption);
    const api5::EndPoint self = bus.Self();
    const std::vector<api5::EndPoint> endPoints = bus.EndPoints();
    Output output(interruption.Descriptor());
    if (!inOptions.mIsJSON) {
        PrintEndPoints(endPoints, self, output);
        return;
    }
    for (const api5::EndPoint& endPoint : endPoints) output.Line(AsJSON(endPoint, endPoint == self));
}

}  // namespace

void AddEndpointsVerb(CLI::App& ioApp) {
    CLI::App* const verb =
        ioApp.add_subcommand("endpoints", "List the processes on the bus, oldest first, this tool included");
    const auto options = std::make_shared<EndpointsOptions>();
    verb->add_flag("--json", options->mIsJSON, "Print one JSON object a line");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Endpoints(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa endpoints\n"
        "  plexa endpoints --json | grep '\"self\":false'\n\n"
        "Exit codes: 0 listed, 2 wrong command line, 4 no broker.");
}

}  // namespace orvane::plexa::tool
