/// Orderly release of singletons before a process or library ends.
#pragma once

#include <functional>

#include "nuocore/export.h"

namespace nuocore::singleton {

/// Adds a termination under a name that shows in diagnostics (null: "(unnamed)"). `RunSingletonTerminations`
/// runs each once, last added first. What a termination throws is reported as an assertion, and the next one
/// runs. The library that calls this isn't unloaded any more. Any thread.
NUOCORE_API void AddTerminationForSingleton(const char* inName, std::function<void()> inTermination);

/// Runs and forgets all terminations, those too that are added meanwhile. The host calls it at the end of its
/// life, with no other thread using singletons. It also runs at process exit, after the static objects of the
/// libraries that use this one have been destroyed: a termination must not rely on them.
NUOCORE_API void RunSingletonTerminations();

}  // namespace nuocore::singleton
