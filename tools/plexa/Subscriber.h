/// What a client is delivered, as the verbs that print it need it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Arrival.h"
#include "Interruption.h"
#include "Mailbox.h"
#include "nuoplexasupport/IPlexaClient.h"

namespace CLI {
class App;
}

namespace orvane::plexa::tool {

/// Puts everything that it is delivered into a mailbox.
class Subscriber final : public nuoplexasupport::IPlexaClient {
  public:
    explicit Subscriber(Mailbox<Arrival>& outMailbox) : mMailbox(outMailbox) {}

    void ReceiveSubscribedMessage(const nuocore::ImmutableString& inMessageType,
                                  const nuocore::serialization::VariantObject& inPayload) override;
    void ReceiveRawSubscribedMessage(const nuocore::ImmutableString& inMessageType,
                                     const nuocore::UTF8String& inPayloadText,
                                     const char* inSenderAppId) override;
    void ReceiveTaviNotification(const nuocore::ImmutableString& inNotificationType,
                                 const nuocore::ImmutableString& inNotificationSubType,
                                 const nuocore::serialization::VariantObject& inPayload) override;

  private:
    Mailbox<Arrival>& mMailbox;
};

/// How many arrivals are printed, for how long, and how.
struct PrintOptions {
    std::uint64_t mCount = 0;  ///< 0: any number
    std::optional<double> mTimeout;
    bool mIsJSON = false;
    bool mIsQuiet = false;
};
/// Adds --count, --timeout, --json and --quiet; `inThings` says what is counted.
void AddPrintOptions(CLI::App& ioVerb, PrintOptions& outOptions, const std::string& inThings);

/// Prints arrivals until there were enough, the time is over or it is interrupted. Throws `Failure` when
/// there were fewer than were to come.
void PrintArrivals(Mailbox<Arrival>& ioMailbox, const PrintOptions& inOptions,
                   const Interruption& inInterruption, const std::string& inThings);

}  // namespace orvane::plexa::tool
