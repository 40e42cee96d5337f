#include <windows.h>

#include "LibraryPin.h"

namespace nuoscripting::detail {

std::shared_ptr<void> PinLibraryOf(const void* inAddress) {
    HMODULE library = nullptr;
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<LPCWSTR>(inAddress),
                             &library) == FALSE) {
        return nullptr;
    }
    return {library, [](HMODULE inLibrary) { ::FreeLibrary(inLibrary); }};
}

}  // namespace nuoscripting::detail
