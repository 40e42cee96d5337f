/// Keeps the control library's instance alive between calls.
#pragma once

#include <memory>

#include "PlexaControl/Controller.h"

namespace nuoplexasupport {

/// One reference to the controller. Its end doesn't release the reference: the core library's singleton
/// termination does, as long as the process-wide holder lives, and nobody else.
struct PlexaControllerRetainRef {
    orvane::plexa::api5::IPlexaController* mController = nullptr;  ///< null when none could be obtained
};

/// The process-wide holder; the first call makes it. Any thread.
std::shared_ptr<PlexaControllerRetainRef> GetControllerRetainRef();

}  // namespace nuoplexasupport
