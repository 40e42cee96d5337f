#include <dlfcn.h>

#include "EngineExtras.h"

namespace nuoscripting::engine {

DrainMicrotasks* FindDrainMicrotasks() {
    // A member function of what a group is, without parameters.
    static void* const sFound = ::dlsym(RTLD_DEFAULT, "_ZN3JSC2VM15drainMicrotasksEv");
    return reinterpret_cast<DrainMicrotasks*>(sFound);
}

}  // namespace nuoscripting::engine
