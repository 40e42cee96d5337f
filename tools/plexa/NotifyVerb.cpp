#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BusConnection.h"
#include "DesktopService.h"
#include "Failure.h"
#include "NotificationOptions.h"
#include "Output.h"
#include "PayloadOptions.h"
#include "Verbs.h"
#include "bus/MessageTypes.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

struct NotifyOptions {
    ConnectionOptions mConnection;
    NotificationKind mKind;
    std::vector<std::string> mPairs;
    bool mIsJSON = false;
};

// Notifications travel as XML, which knows nothing else.
void RequireTexts(const VariantObject& inObject) {
    for (const auto& [key, value] : inObject) {
        if (const auto* const object = boost::any_cast<VariantObject>(value.get())) {
            RequireTexts(*object);
        } else if (value->type() != typeid(UTF8String) && value->type() != typeid(bool)) {
            throw Failure(kExitUsage,
                          "cannot take the value of \"" + PlainLine(key) +
                              "\": a notification carries texts, true, false and dictionaries of these; "
                              "write numbers as texts (key=text)");
        }
    }
}

void Notify(const NotifyOptions& inOptions) {
    const VariantObject values = DictionaryOf(inOptions.mPairs);
    RequireTexts(values);
    VariantObject notification = inOptions.mKind.AsObject();
    notification["values"] = MakeValue(values);

    CheckQuestion(notification);

    const Interruption interruption;
    BusConnection bus(inOptions.mConnection);
    bus.Connect(interruption);
    const api5::EndPoint service = RequireService(bus, interruption);
    const VariantObject answer = AskService(bus, service, zarnd::kPushType, notification, interruption);
    const auto count = nuocore::serialization::ExtractPropertyFromObject<std::int64_t>(answer, "observers");
    Output output(interruption.Descriptor());
    if (inOptions.mIsJSON) {
        VariantObject line;
        line["observers"] = MakeValue(std::int64_t{count});
        output.Line(JSONLine(VariantValue(line)));
    } else {
        output.Line("sent to " + std::to_string(count) + (count == 1 ? " observer" : " observers"));
    }
}

}  // namespace

void AddNotifyVerb(CLI::App& ioApp) {
    CLI::App* const verb =
        ioApp.add_subcommand("notify", "Have a push notification told to everybody who observes its kind");
    const auto options = std::make_shared<NotifyOptions>();
    AddNotificationKind(*verb, options->mKind);
    verb->add_option("pair", options->mPairs, "What it carries: pairs key=text, or one JSON object")
        ->type_name("KEY=VALUE...");
    verb->add_flag("--json", options->mIsJSON, "Print the number of observers as a JSON object");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Notify(*options); });
    verb->footer(
        "The desktop service zarnd tells notifications; if it is not on the bus, the tool starts it. That\n"
        "nobody observes the kind is no error.\n\n"
        "Examples:\n"
        "  plexa notify mail new from=Ada subject='it works'\n"
        "  plexa notify mail new '{\"from\":{\"name\":\"Ada\"},\"read\":false}'\n\n"
        "Exit codes: 0 sent, 1 refused, 2 wrong command line, 3 no answer, 4 no broker or no desktop service.");
}

}  // namespace orvane::plexa::tool
