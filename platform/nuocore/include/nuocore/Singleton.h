/// Orderly release of singletons before a process or library ends.
#pragma once

#include <functional>

#include "nuocore/export.h"

namespace nuocore::singleton {

/// Adds a termination under a name that shows in diagnostics. `RunSingletonTerminations` runs each once, last
/// added first. What a termination throws is reported as an assertion, and the next one runs. Any thread.
NUOCORE_API void AddTerminationForSingleton(const char* inName, std::function<void()> inTermination);

/// Runs and forgets all terminations, those too that are added meanwhile. The host calls it at the end of its
/// life, with no other thread using singletons; it also runs at process exit.
NUOCORE_API void RunSingletonTerminations();

}  // namespace nuocore::singleton
