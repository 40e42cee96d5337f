#include <dlfcn.h>

#include <string>

#include "Engine.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::detail {

namespace {

MakeEngine* Load() {
    // Found beside this library. Never unloaded: the engine's threads run until the process ends.
    void* const library = ::dlopen(NUOSCRIPTING_ENGINE_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const entry = library == nullptr ? nullptr : ::dlsym(library, kEngineEntry);
    if (entry == nullptr) {
        throw ScriptError(std::string("cannot load the script engine: ") + ::dlerror() +
                          "; is the package libjavascriptcoregtk-4.1-0 installed?");
    }
    return reinterpret_cast<MakeEngine*>(entry);
}

}  // namespace

MakeEngine* LoadEngine() {
    static MakeEngine* const sEntry = Load();  // a failure is tried again
    return sEntry;
}

}  // namespace nuoscripting::detail
