#include <dlfcn.h>

#include "KeepLoaded.h"

void nuocore::runtime::KeepLoaded(const void* inCode) noexcept {
    Dl_info info{};
    if (::dladdr(inCode, &info) == 0 || info.dli_fname == nullptr) return;
    // The mark stays when the handle is given back. Programs, which have no name here, can't be unloaded
    // anyway.
    if (void* const library = ::dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE))
        ::dlclose(library);
}
