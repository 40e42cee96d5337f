/// The desktop service "zarnd" as the tool meets it.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "BusConnection.h"
#include "Interruption.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

/// Makes sure that the service is on the bus: if it isn't, starts the one that stands beside this program, or
/// is found by PATH, to run on demand, and waits for it. Returns where it is; another one that takes its
/// place knows nothing of what this one was asked. Throws `Failure` when it doesn't come.
api5::EndPoint RequireService(const BusConnection& inBus, const Interruption& inInterruption);

/// Whether the same process is on the bus; under another end point, if the bus was restarted.
bool IsOnBus(const BusConnection& inBus, const api5::EndPoint& inService);

/// Tells that somebody has gone who is looked after now and then: when missed twice in a row. The last words
/// may come a moment after the news of the departure, and after a restart of the bus the others a moment
/// after this process; so there has to be a wait between looks.
class Departure {
  public:
    explicit Departure(std::function<bool()> inIsThere) : mIsThere(std::move(inIsThere)) {}

    /// Looks once.
    [[nodiscard]] bool HasCome() { return std::exchange(mWasMissed, !mIsThere()) && mWasMissed; }

  private:
    std::function<bool()> mIsThere;
    bool mWasMissed = false;
};

/// A question with an id in the place of the one that it is sent with, which is as long.
nuocore::serialization::VariantObject AsSent(nuocore::serialization::VariantObject inQuestion);

/// Throws `Failure` (`kExitUsage`) for a question that the service would not take: too long, too deep, or
/// with too many values.
void CheckQuestion(const nuocore::serialization::VariantObject& inQuestion);
/// The same for what is not sent as JSON, by its length alone.
void CheckQuestionLength(std::size_t inBytes);

/// Seconds for what the service answers at once, unless it is busy.
inline constexpr double kAnswerSeconds = 30;

/// Asks the service that is there, and gives its answer. Waits so many seconds for it, or without a value as
/// long as the service is on the bus. Throws `Failure` when it refuses, or no answer comes.
nuocore::serialization::VariantObject AskService(const BusConnection& inBus, const api5::EndPoint& inService,
                                                 const std::string& inType,
                                                 const nuocore::serialization::VariantObject& inQuestion,
                                                 const Interruption& inInterruption,
                                                 std::optional<double> inSeconds = kAnswerSeconds);

/// A text that an answer must have; empty when it hasn't.
std::string TextOf(const nuocore::serialization::VariantObject& inObject, const char* inKey);

}  // namespace orvane::plexa::tool
