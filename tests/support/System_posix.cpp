#include <dlfcn.h>

#include <clocale>
#include <cstdlib>
#include <stdexcept>

#include "System.h"

namespace support {

void SetVariable(const char* inName, const std::string& inValue) { ::setenv(inName, inValue.c_str(), 1); }
void UnsetVariable(const char* inName) { ::unsetenv(inName); }

std::filesystem::path MakeTemporaryFolder(const std::string& inPrefix) {
    std::string name = (std::filesystem::temp_directory_path() / (inPrefix + "XXXXXX")).string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    return name;
}

void UseGermanLocale() {
    const std::filesystem::path folder = MakeTemporaryFolder("locale-");
    const std::string make = "localedef -c -i de_DE -f UTF-8 " + folder.string() + "/de_DE.UTF-8 2>/dev/null";
    const bool isMade = std::system(make.c_str()) == 0;
    SetVariable("LOCPATH", folder.string());
    const bool isSet = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    std::filesystem::remove_all(folder);
    if (!isMade || !isSet)
        throw std::runtime_error("no German locale: is the package \"locales\" installed?");
}

bool IsCallFrom(const std::string& inLine, const char* inName, const void* /*inFunction*/) {
    return inLine.find(inName) != std::string::npos;
}

LoadedLibrary::LoadedLibrary(const char* inFile) : mLibrary(::dlopen(inFile, RTLD_NOW)) {
    if (mLibrary == nullptr) throw std::runtime_error(::dlerror());
}
LoadedLibrary::~LoadedLibrary() { ::dlclose(mLibrary); }
void (*LoadedLibrary::Find(const char* inName) const)() {
    return reinterpret_cast<void (*)()>(::dlsym(mLibrary, inName));
}

}  // namespace support
