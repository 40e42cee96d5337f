#include "Subscriber.h"

#include <CLI/CLI.hpp>

#include "ConnectionOptions.h"
#include "Failure.h"
#include "Output.h"
#include "PayloadText.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;
using nuocore::UTF8String;
using nuocore::serialization::VariantObject;

void Subscriber::ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                          const VariantObject& inPayload) {
    mMailbox.Put({Arrival::Kind::kDictionary, std::string(inMessageType.View()), {}, {}, {}, inPayload});
}

void Subscriber::ReceiveRawSubscribedMessage(const ImmutableString& inMessageType,
                                             const UTF8String& inPayloadText, const char* inSenderAppId) {
    mMailbox.Put(
        {Arrival::Kind::kRaw, std::string(inMessageType.View()), {}, inSenderAppId, inPayloadText, {}});
}

void Subscriber::ReceiveTaviNotification(const ImmutableString& inNotificationType,
                                         const ImmutableString& inNotificationSubType,
                                         const VariantObject& inPayload) {
    mMailbox.Put({Arrival::Kind::kNotification,
                  std::string(inNotificationType.View()),
                  std::string(inNotificationSubType.View()),
                  {},
                  {},
                  inPayload});
}

void AddPrintOptions(CLI::App& ioVerb, PrintOptions& outOptions, const std::string& inThings) {
    ioVerb.add_option("--count", outOptions.mCount, "End after this many " + inThings)
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 62U))
        ->type_name("N");
    AddSeconds(ioVerb, "--timeout", outOptions.mTimeout,
               "End after this time; with --count it is an error then");
    ioVerb.add_flag("--json", outOptions.mIsJSON, "Print one JSON object a line");
    ioVerb.add_flag("--quiet", outOptions.mIsQuiet, "Don't say on stderr that the bus is ready");
}

void PrintArrivals(Mailbox<Arrival>& ioMailbox, const PrintOptions& inOptions,
                   const Interruption& inInterruption, const std::string& inThings) {
    Output output(inInterruption.Descriptor());
    const Deadline deadline = After(inOptions.mTimeout);
    std::uint64_t printed = 0;
    while (inOptions.mCount == 0 || printed < inOptions.mCount) {
        if (!inInterruption.Await(ioMailbox.Descriptor(), deadline)) break;
        if (const auto arrival = ioMailbox.Take()) {
            output.Line(inOptions.mIsJSON ? AsJSON(*arrival)
                                          : AsText(*arrival, output.Strong(PlainLine(arrival->mType))));
            ++printed;
        }
    }
    if (printed < inOptions.mCount && !inInterruption.HasCome()) {
        throw Failure(kExitTimeout, std::to_string(printed) + " of " + std::to_string(inOptions.mCount) +
                                        " " + inThings + " came in time");
    }
}

}  // namespace orvane::plexa::tool
