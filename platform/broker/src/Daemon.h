/// What a background program does with the process it was started in. Called once, before anything else runs.
#pragma once

#include "FileDescriptor.h"

namespace orvane::plexa::broker {

/// Own session, standard streams to /dev/null: whoever started this process may end, and nobody waits for
/// output of it.
void Detach();

/// Leaves the directory it was started in, lets as many descriptors be opened as the system allows, keeps
/// files private, gets errors instead of signals from writing (SIGPIPE, SIGXFSZ).
void SettleProcess();

/// A descriptor that becomes readable when the process is asked to end (SIGTERM, SIGINT), which then doesn't
/// end it by itself any more. Throws std::system_error.
FileDescriptor WatchTermination();

}  // namespace orvane::plexa::broker
