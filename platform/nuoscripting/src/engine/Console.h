/// The console of scripts.
#pragma once

#include <JavaScriptCore/JavaScript.h>

namespace nuoscripting::engine {

class EngineContext;

/// Replaces the engine's mute console by one that tells the host.
void DefineConsole(EngineContext& ioContext);

}  // namespace nuoscripting::engine
