#include "Trouble.h"

#include <string>

#include "nuocore/Trace.h"

namespace orvane::plexa::control {

void TraceTrouble(std::string_view inText) noexcept {
    static constinit nuocore::debug::TraceSwitch sSwitch("PlexaControl", 1);
    try {
        if (sSwitch.IsEnabled()) sSwitch.Trace(std::string(inText) + "\r\n");
    } catch (...) {  // NOLINT(bugprone-empty-catch): what was to be told of is more than the telling
    }
}

}  // namespace orvane::plexa::control
