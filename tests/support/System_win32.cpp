#include <windows.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "System.h"

namespace support {

void SetVariable(const char* inName, const std::string& inValue) { ::_putenv_s(inName, inValue.c_str()); }
void UnsetVariable(const char* inName) { ::_putenv_s(inName, ""); }

std::filesystem::path MakeTemporaryFolder(const std::string& inPrefix) {
    for (unsigned number = ::GetCurrentProcessId();; ++number) {
        const auto folder = std::filesystem::temp_directory_path() / (inPrefix + std::to_string(number));
        if (std::filesystem::create_directory(folder)) return folder;
    }
}

void UseGermanLocale() {
    if (std::setlocale(LC_ALL, "German") == nullptr) throw std::runtime_error("no German locale");
}

bool IsCallFrom(const std::string& inLine, const char* /*inName*/, const void* inFunction) {
    constexpr std::uintptr_t kLongestFunction = 512;
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(inFunction);
    const std::uintptr_t address = std::stoull(inLine, nullptr, 16);
    return begin < address && address < begin + kLongestFunction;
}

LoadedLibrary::LoadedLibrary(const char* inFile) : mLibrary(::LoadLibraryA(inFile)) {
    if (mLibrary == nullptr) throw std::runtime_error(std::string("cannot load ") + inFile);
}
LoadedLibrary::~LoadedLibrary() { ::FreeLibrary(static_cast<HMODULE>(mLibrary)); }
void (*LoadedLibrary::Find(const char* inName) const)() {
    const FARPROC found = ::GetProcAddress(static_cast<HMODULE>(mLibrary), inName);
    return reinterpret_cast<void (*)()>(reinterpret_cast<void*>(found));
}

}  // namespace support
