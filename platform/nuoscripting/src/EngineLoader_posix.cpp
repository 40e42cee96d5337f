#include <dlfcn.h>

#include <string>

#include "Engine.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::detail {

namespace {

// The binding stands beside this library. Its name alone would be looked for where whoever stands between
// this call and the system's, as a sanitizer does, says.
std::string EngineFile() {
    Dl_info own{};
    std::string file;
    if (::dladdr(reinterpret_cast<const void*>(&LoadEngine), &own) != 0 && own.dli_fname != nullptr)
        file = own.dli_fname;
    return file.substr(0, file.rfind('/') + 1) + NUOSCRIPTING_ENGINE_FILE;
}

MakeEngine* Load() {
    // Never unloaded: the engine's threads run until the process ends.
    void* const library = ::dlopen(EngineFile().c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const entry = library == nullptr ? nullptr : ::dlsym(library, kEngineEntry);
    if (entry == nullptr) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): each thread has its own
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
