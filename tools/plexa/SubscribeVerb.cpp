#include <CLI/CLI.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Arrival.h"
#include "BusConnection.h"
#include "Failure.h"
#include "Mailbox.h"
#include "Output.h"
#include "PayloadText.h"
#include "Verbs.h"
#include "nuoplexasupport/nuoplexasupport.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;
using nuocore::UTF8String;
using nuocore::serialization::VariantObject;

namespace {

struct SubscribeOptions {
    ConnectionOptions mConnection;
    std::vector<std::string> mTypes;
    std::uint64_t mCount = 0;
    std::optional<double> mTimeout;
    bool mIsJSON = false;
    bool mIsQuiet = false;
};

class Subscriber final : public nuoplexasupport::IPlexaClient {
  public:
    explicit Subscriber(Mailbox<Arrival>& outMailbox) : mMailbox(outMailbox) {}

    void ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                  const VariantObject& inPayload) override {
        mMailbox.Put({Arrival::Kind::kDictionary, std::string(inMessageType.View()), {}, {}, {}, inPayload});
    }
    void ReceiveRawSubscribedMessage(const ImmutableString& inMessageType, const UTF8String& inPayloadText,
                                     const char* inSenderAppId) override {
        mMailbox.Put(
            {Arrival::Kind::kRaw, std::string(inMessageType.View()), {}, inSenderAppId, inPayloadText, {}});
    }
    void ReceiveTaviNotification(const ImmutableString& inNotificationType,
                                 const ImmutableString& inNotificationSubType,
                                 const VariantObject& inPayload) override {
        mMailbox.Put({Arrival::Kind::kNotification,
                      std::string(inNotificationType.View()),
                      std::string(inNotificationSubType.View()),
                      {},
                      {},
                      inPayload});
    }

  private:
    Mailbox<Arrival>& mMailbox;
};

// A subscription to each of the types for as long as it lives.
class Subscription {
  public:
    Subscription(Mailbox<Arrival>& outMailbox, const std::vector<std::string>& inTypes)
        : mMailbox(outMailbox), mSubscriber(boost::make_shared<Subscriber>(outMailbox)) {
        for (const std::string& type : inTypes) {
            mTypes.emplace_back(type);
            nuoplexasupport::SubscribeToMessage(mSubscriber, mTypes.back());
        }
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() {
        mMailbox.Close();
        for (const ImmutableString& type : mTypes) nuoplexasupport::UnsubscribeFromMessage(mSubscriber, type);
    }

  private:
    Mailbox<Arrival>& mMailbox;
    boost::shared_ptr<Subscriber> mSubscriber;
    std::vector<ImmutableString> mTypes;
};

void Print(const Arrival& inArrival, bool inIsJSON, Output& ioOutput) {
    ioOutput.Line(inIsJSON ? AsJSON(inArrival)
                           : AsText(inArrival, ioOutput.Strong(PlainLine(inArrival.mType))));
}

void Subscribe(const SubscribeOptions& inOptions) {
    const Interruption interruption;
    Mailbox<Arrival> mailbox;
    BusConnection bus(inOptions.mConnection);
    const Subscription subscription(mailbox, inOptions.mTypes);
    bus.Connect(interruption);
    if (!inOptions.mIsQuiet) {
        std::cerr << "plexa: listening as " + PlainLine(AppIdOf(bus.Self())) + "\n" << std::flush;
    }
    Output output(interruption.Descriptor());
    const Deadline deadline = After(inOptions.mTimeout);
    std::uint64_t printed = 0;
    while (inOptions.mCount == 0 || printed < inOptions.mCount) {
        if (!interruption.Await(mailbox.Descriptor(), deadline)) break;
        if (const auto arrival = mailbox.Take()) {
            Print(*arrival, inOptions.mIsJSON, output);
            ++printed;
        }
    }
    if (printed < inOptions.mCount && !interruption.HasCome()) {
        throw Failure(kExitTimeout, std::to_string(printed) + " of " + std::to_string(inOptions.mCount) +
                                        " messages came in time");
    }
}

}  // namespace

void AddSubscribeVerb(CLI::App& ioApp) {
    CLI::App* const verb =
        ioApp.add_subcommand("subscribe", "Print the messages of some types as they arrive, one a line");
    const auto options = std::make_shared<SubscribeOptions>();
    verb->add_option("type", options->mTypes, "Message types")
        ->required()
        ->check(CheckMessageType)
        ->type_name("TYPE...");
    verb->add_option("--count", options->mCount, "End after this many messages")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 62U))
        ->type_name("N");
    AddSeconds(*verb, "--timeout", options->mTimeout,
               "End after this time; with --count it is an error then");
    verb->add_flag("--json", options->mIsJSON, "Print one JSON object a line");
    verb->add_flag("--quiet", options->mIsQuiet, "Don't say on stderr that the bus is ready");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Subscribe(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa subscribe org.example.news org.example.weather\n"
        "  plexa subscribe org.example.news --json --count 1 --timeout 10\n\n"
        "JSON lines have \"type\" and either \"payload\" (a dictionary) or \"raw\" and \"sender\"; a push\n"
        "notification has \"notification\", \"sub-type\" and \"payload\".\n"
        "Exit codes: 0 ended as asked or by Ctrl-C, 2 wrong command line, 3 fewer than --count messages came "
        "in\ntime, 4 no broker.");
}

}  // namespace orvane::plexa::tool
