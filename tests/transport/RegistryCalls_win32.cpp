#include "transport/RegistryCalls_win32.h"

#include <vector>

namespace {

transport_test::RegistryCalls sCalls;
std::vector<HKEY> sOpen;

template <class Function>
Function* SystemFunction(const char* inName) {
    const FARPROC found = ::GetProcAddress(::GetModuleHandleW(L"advapi32"), inName);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

LSTATUS WINAPI Open(HKEY inRoot, LPCWSTR inKey, DWORD inOptions, REGSAM inAccess, PHKEY outKey) {
    sCalls.mRoot = inRoot;
    sCalls.mKey = inKey;
    sCalls.mAccess = inAccess;
    const LSTATUS result = SystemFunction<decltype(::RegOpenKeyExW)>("RegOpenKeyExW")(
        inRoot, inKey, inOptions, inAccess, outKey);
    if (result == ERROR_SUCCESS) {
        ++sCalls.mOpened;
        sOpen.push_back(*outKey);
    }
    return result;
}

LSTATUS WINAPI Query(HKEY inKey, LPCWSTR inName, LPDWORD inReserved, LPDWORD outType, LPBYTE outData,
                     LPDWORD ioBytes) {
    sCalls.mAskedBytes = *ioBytes;
    return SystemFunction<decltype(::RegQueryValueExW)>("RegQueryValueExW")(inKey, inName, inReserved,
                                                                            outType, outData, ioBytes);
}

LSTATUS WINAPI Close(HKEY inKey) {
    sCalls.mClosed += static_cast<int>(std::erase(sOpen, inKey));
    return SystemFunction<decltype(::RegCloseKey)>("RegCloseKey")(inKey);
}

}  // namespace

// The names under which calls of the system's functions are linked: in this program they come by here.
extern "C" const decltype(&::RegOpenKeyExW) __imp_RegOpenKeyExW = &Open;
extern "C" const decltype(&::RegQueryValueExW) __imp_RegQueryValueExW = &Query;
extern "C" const decltype(&::RegCloseKey) __imp_RegCloseKey = &Close;

namespace transport_test {

const RegistryCalls& SeenRegistryCalls() { return sCalls; }

}  // namespace transport_test
