/// What happens to the service, in the order in which it deals with it.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "bus/IPort.h"
#include "deployment/Types.h"
#include "service/Inbox.h"

namespace orvane::plexa::zarnd {

/// Work on a module has come further.
struct ShareReport {
    ModuleKey mKey;
    double mShare = 0;
};

/// Work on a module has ended.
struct WorkDone {
    ModuleKey mKey;
    Outcome mOutcome;
};

/// An answer that took its time is ready to be sent.
struct AnswerReady {
    Message mAnswer;                     ///< to whom it says "from"
    std::optional<ModuleKey> mReleased;  ///< this module may be worked on again
};

/// These are on the bus now.
struct EndPointsChanged {
    std::vector<Asker> mEndPoints;
};

/// The service is to end.
struct EndAsked {};

using Input = std::variant<Message, ShareReport, WorkDone, AnswerReady, EndPointsChanged, EndAsked>;
using Inputs = Inbox<Input>;

/// Of end points one right after another only the newest matter. What stands between two is dealt with by
/// the first: an end that came after a move is told where the process is now.
inline void PutEndPoints(Inputs& ioInputs, std::vector<Asker> inEndPoints) {
    ioInputs.PutAfter(EndPointsChanged{std::move(inEndPoints)},
                      [](const Input& inInput) { return std::holds_alternative<EndPointsChanged>(inInput); });
}

}  // namespace orvane::plexa::zarnd
