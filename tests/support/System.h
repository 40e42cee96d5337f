/// What tests need of the system they run on, the same on all of them.
#pragma once

#include <filesystem>
#include <string>

namespace support {

/// Variables of this process's environment. While no other thread looks at them.
void SetVariable(const char* inName, const std::string& inValue);
void UnsetVariable(const char* inName);

/// Makes a new folder in the system's place for temporary ones. Throws `std::runtime_error`.
std::filesystem::path MakeTemporaryFolder(const std::string& inPrefix);

/// Sets the process's locale to one with a decimal comma. Throws `std::runtime_error` when there is none.
void UseGermanLocale();

/// Whether a line of a call stack stands for a call that a function has made. Where the system has no names
/// for the functions of a program, whether its address is shortly after the function's beginning.
bool IsCallFrom(const std::string& inLine, const char* inName, const void* inFunction);

/// A shared library, loaded until the object goes.
class LoadedLibrary {
  public:
    /// Throws `std::runtime_error`.
    explicit LoadedLibrary(const char* inFile);
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;
    ~LoadedLibrary();

    /// Null when there is no such function.
    [[nodiscard]] void (*Find(const char* inName) const)();

  private:
    void* mLibrary;
};

}  // namespace support
