#include "Trouble.h"

#include <string>

#include "nuocore/Trace.h"

namespace orvane::plexa::control {

void TraceTrouble(std::string_view inText) {
    static constinit nuocore::debug::TraceSwitch sSwitch("PlexaControl", 1);
    if (sSwitch.IsEnabled()) sSwitch.Trace(std::string(inText) + "\r\n");
}

}  // namespace orvane::plexa::control
