#include <CLI/CLI.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "BusConnection.h"
#include "DesktopService.h"
#include "Failure.h"
#include "NotificationOptions.h"
#include "PayloadText.h"
#include "Subscriber.h"
#include "Verbs.h"
#include "bus/MessageTypes.h"
#include "nuoplexasupport/nuoplexasupport.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;

namespace {

struct ObserveOptions {
    ConnectionOptions mConnection;
    NotificationKind mKind;
    PrintOptions mPrint;
};

// An observer for as long as it lives.
class Observation {
  public:
    Observation(Mailbox<Arrival>& outMailbox, const NotificationKind& inKind)
        : mMailbox(outMailbox),
          mObserver(boost::make_shared<Subscriber>(outMailbox)),
          mType(inKind.mType),
          mSubType(inKind.mSubType) {
        nuoplexasupport::RegisterTaviNotificationObserver(mObserver, mType, mSubType);
    }
    Observation(const Observation&) = delete;
    Observation& operator=(const Observation&) = delete;
    ~Observation() {
        mMailbox.Close();
        nuoplexasupport::UnregisterTaviNotificationObserver(mObserver, mType, mSubType);
    }

  private:
    Mailbox<Arrival>& mMailbox;
    boost::shared_ptr<Subscriber> mObserver;
    ImmutableString mType;
    ImmutableString mSubType;
};

bool IsTaken(const nuocore::serialization::VariantObject& inAnswer) {
    return nuocore::serialization::ExtractPropertyFromObject<std::int64_t>(inAnswer, "observers") > 0;
}

void Observe(const ObserveOptions& inOptions) {
    const Interruption interruption;
    Mailbox<Arrival> mailbox;
    BusConnection bus(inOptions.mConnection);
    bus.Connect(interruption);
    const api5::EndPoint service = RequireService(bus, interruption);
    const Observation observation(mailbox, inOptions.mKind);
    // The service says nothing to a registration; asked behind it, it tells whether it has one.
    if (!IsTaken(
            AskService(bus, service, zarnd::kCountObserversType, inOptions.mKind.AsObject(), interruption))) {
        throw Failure(kExitFailure,
                      "the desktop service has refused the observer; its log says why, perhaps there are too "
                      "many");
    }
    if (!inOptions.mPrint.mIsQuiet) {
        std::cerr << "plexa: observing as " + PlainLine(AppIdOf(bus.Self())) + "\n" << std::flush;
    }
    PrintArrivals(mailbox, inOptions.mPrint, interruption, "notifications");
}

}  // namespace

void AddObserveVerb(CLI::App& ioApp) {
    CLI::App* const verb =
        ioApp.add_subcommand("observe", "Print the push notifications of a kind as they come, one a line");
    const auto options = std::make_shared<ObserveOptions>();
    AddNotificationKind(*verb, options->mKind);
    AddPrintOptions(*verb, options->mPrint, "notifications");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Observe(*options); });
    verb->footer(
        "The desktop service zarnd tells notifications; if it is not on the bus, the tool starts it.\n\n"
        "Examples:\n"
        "  plexa observe mail new\n"
        "  plexa observe mail new --json --count 1 --timeout 60\n\n"
        "JSON lines have \"notification\", \"sub-type\" and \"payload\".\n"
        "Exit codes: 0 ended as asked or by Ctrl-C, 1 refused, 2 wrong command line, 3 fewer than --count\n"
        "notifications came in time, 4 no broker or no desktop service.");
}

}  // namespace orvane::plexa::tool
