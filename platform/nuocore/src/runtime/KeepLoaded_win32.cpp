#include <windows.h>

#include "KeepLoaded.h"

void nuocore::runtime::KeepLoaded(const void* inCode) noexcept {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         static_cast<LPCWSTR>(inCode), &module);
}
