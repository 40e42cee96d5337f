#include <dlfcn.h>

#include "LibraryPin.h"

namespace nuoscripting::detail {

std::shared_ptr<void> PinLibraryOf(const void* inAddress) {
    Dl_info info{};
    if (::dladdr(inAddress, &info) == 0 || info.dli_fname == nullptr) {
        return nullptr;
    }
    void* const library = ::dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) {
        return nullptr;
    }
    return {library, [](void* inLibrary) { ::dlclose(inLibrary); }};
}

}  // namespace nuoscripting::detail
