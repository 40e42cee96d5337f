#include <windows.h>

#include <string>

#include "Engine.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting::detail {

namespace {

// The folder of this library, where the binding stands too.
std::wstring OwnFolder() {
    HMODULE own = nullptr;
    ::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&LoadEngine), &own);
    std::wstring file(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(own, file.data(), static_cast<DWORD>(file.size()));
        if (length < file.size()) {
            file.resize(length);
            return file.substr(0, file.rfind(L'\\') + 1);
        }
        file.resize(2 * file.size());
    }
}

MakeEngine* Load() {
    const std::string name = NUOSCRIPTING_ENGINE_FILE;
    // Never unloaded: the engine's threads run until the process ends.
    const HMODULE library = ::LoadLibraryW((OwnFolder() + std::wstring(name.begin(), name.end())).c_str());
    const FARPROC entry = library == nullptr ? nullptr : ::GetProcAddress(library, kEngineEntry);
    if (entry == nullptr) {
        throw ScriptError("cannot load the script engine: there is no usable " + name + " (error " +
                          std::to_string(::GetLastError()) + ")");
    }
    return reinterpret_cast<MakeEngine*>(reinterpret_cast<void*>(entry));
}

}  // namespace

MakeEngine* LoadEngine() {
    static MakeEngine* const sEntry = Load();  // a failure is tried again
    return sEntry;
}

}  // namespace nuoscripting::detail
