/// All of the library: classes that a host declares for scripts, and the contexts that scripts run in.
#pragma once

#include "nuoscripting/Definitions.h"
#include "nuoscripting/Errors.h"
#include "nuoscripting/NativePromise.h"
#include "nuoscripting/Registry.h"
#include "nuoscripting/ScriptContext.h"
#include "nuoscripting/ScriptObject.h"
#include "nuoscripting/ScriptObjectDefinition.h"
#include "nuoscripting/ScriptValue.h"
#include "nuoscripting/Threads.h"
