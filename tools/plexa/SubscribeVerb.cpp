#include <CLI/CLI.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "BusConnection.h"
#include "PayloadText.h"
#include "Subscriber.h"
#include "Verbs.h"
#include "nuoplexasupport/nuoplexasupport.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;

namespace {

struct SubscribeOptions {
    ConnectionOptions mConnection;
    std::vector<std::string> mTypes;
    PrintOptions mPrint;
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

void Subscribe(const SubscribeOptions& inOptions) {
    const Interruption interruption;
    Mailbox<Arrival> mailbox;
    BusConnection bus(inOptions.mConnection);
    const Subscription subscription(mailbox, inOptions.mTypes);
    bus.Connect(interruption);
    if (!inOptions.mPrint.mIsQuiet) {
        std::cerr << "plexa: listening as " + PlainLine(AppIdOf(bus.Self())) + "\n" << std::flush;
    }
    PrintArrivals(mailbox, inOptions.mPrint, interruption, "messages");
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
    AddPrintOptions(*verb, options->mPrint, "messages");
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
