/// The whole program but for its command line.
#pragma once

#include "Options.h"

namespace orvane::plexa::broker {

/// Prepares the process, the runtime directory and the socket, serves until the end, and returns the exit
/// code. Complaints from before the log is open go to stderr.
int RunBroker(const Options& inOptions);

}  // namespace orvane::plexa::broker
