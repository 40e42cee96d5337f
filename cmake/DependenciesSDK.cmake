# What the library alone needs, where the platform's SDK has the rest: Boost's headers.
find_package(Boost 1.81 REQUIRED)

# A function of the system's C library that older import libraries of MinGW lack.
if(MINGW)
  include(CheckCXXSourceCompiles)
  check_cxx_source_compiles("#include <stdlib.h>
    int main() { wchar_t* value; return _wdupenv_s(&value, nullptr, L\"name\"); }" NUOPLEXA_HAS_WDUPENV_S)
  if(NOT NUOPLEXA_HAS_WDUPENV_S)
    set(definition "${CMAKE_BINARY_DIR}/dupenv.def")
    set(import_library "${CMAKE_BINARY_DIR}/libdupenv.a")
    file(CONFIGURE OUTPUT "${definition}" CONTENT "LIBRARY msvcrt.dll\nEXPORTS\n_wdupenv_s\n")
    execute_process(COMMAND "${CMAKE_DLLTOOL}" -d "${definition}" -l "${import_library}" COMMAND_ERROR_IS_FATAL ANY)
    add_library(dupenv STATIC IMPORTED GLOBAL)
    set_target_properties(dupenv PROPERTIES IMPORTED_LOCATION "${import_library}")
  endif()
endif()
