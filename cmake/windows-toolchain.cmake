# Builds for 64-bit Windows on Debian, with MinGW-w64 and POSIX threads; what has been built runs under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Headers and libraries of the building system are none of the target's.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(WINE_PROGRAM NAMES wine64 wine64-stable PATHS /usr/lib/wine)
if(WINE_PROGRAM)
  # Wine keeps a page at 0x7ffe0000, and the heap of the program that starts it lies wherever the system puts it, now and then
  # there. Then Wine ends with code 1 and no word, so the layout of addresses must not be left to chance.
  execute_process(COMMAND setarch -R true RESULT_VARIABLE wine_layout_stays_random OUTPUT_QUIET ERROR_QUIET)
  if(wine_layout_stays_random)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${WINE_PROGRAM}")
  else()
    set(CMAKE_CROSSCOMPILING_EMULATOR setarch -R "${WINE_PROGRAM}")
  endif()
endif()
