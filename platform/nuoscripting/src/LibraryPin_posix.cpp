#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <exception>
#include <string>

#include "LibraryPin.h"

namespace nuoscripting::detail {

namespace {

struct Search {
    std::uintptr_t mAddress;
    std::string mFile;            // empty for the program itself
    std::exception_ptr mTrouble;  // which doesn't pass through the loader
};

bool Contains(const ::dl_phdr_info& inLibrary, std::uintptr_t inAddress) {
    for (int i = 0; i < inLibrary.dlpi_phnum; ++i) {
        const auto& part = inLibrary.dlpi_phdr[i];
        // What lies before the part becomes a large distance.
        if (part.p_type == PT_LOAD && inAddress - (inLibrary.dlpi_addr + part.p_vaddr) < part.p_memsz) {
            return true;
        }
    }
    return false;
}

int Look(::dl_phdr_info* inLibrary, std::size_t /*inSize*/, void* ioSearch) noexcept {
    auto& search = *static_cast<Search*>(ioSearch);
    if (!Contains(*inLibrary, search.mAddress)) {
        return 0;
    }
    try {
        search.mFile = inLibrary->dlpi_name;
    } catch (...) {
        search.mTrouble = std::current_exception();
    }
    return 1;
}

}  // namespace

std::shared_ptr<void> PinLibraryOf(const void* inAddress) {
    // The name is the library's, which another thread may unload as soon as the loader's lock is given up.
    Search search{reinterpret_cast<std::uintptr_t>(inAddress), {}, {}};
    ::dl_iterate_phdr(&Look, &search);
    if (search.mTrouble) {
        std::rethrow_exception(search.mTrouble);
    }
    if (search.mFile.empty()) {
        return nullptr;
    }
    void* const library = ::dlopen(search.mFile.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) {
        return nullptr;
    }
    return {library, [](void* inLibrary) { ::dlclose(inLibrary); }};
}

}  // namespace nuoscripting::detail
