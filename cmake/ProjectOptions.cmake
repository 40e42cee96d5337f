# What every target of this project is compiled with, and nothing that leaks into the installed targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

# Programs and libraries stand together in the build tree, as they do once installed.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

# What the files of one system end in.
set(NUOPLEXA_SYSTEM posix)
if(WIN32)
  set(NUOPLEXA_SYSTEM win32)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
  add_compile_definitions(UNICODE _UNICODE NOMINMAX _WIN32_WINNT=0x0A00)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Precompiled headers carry time stamps and macros that ccache has to be told to look past. What one clone has compiled serves the
  # next one.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env
      "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      "${CCACHE_PROGRAM}")
endif()

# Warnings are errors in our own code; link this privately. Another compiler keeps its own.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow;-Werror>
  # GCC 12 takes inlined concatenations of strings for overlapping copies.
  $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess;-Wno-restrict>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wno-unknown-warning-option -fpch-instantiate-templates>)

# For what becomes part of a shared library: calls of its own functions needn't go through its table of foreign ones, and calls of
# foreign ones take the address from there without a stub in between.
add_library(shared_code_options INTERFACE)
if(NOT WIN32)
  target_compile_options(shared_code_options INTERFACE -fno-semantic-interposition -fno-plt)
endif()

if(NUOPLEXA_SANITIZER)
  # To look at an object's type the sanitizer opens descriptors, and takes it for wrong when a test has left none.
  add_compile_options(-fsanitize=${NUOPLEXA_SANITIZER} -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${NUOPLEXA_SANITIZER})
endif()

# A shared library of this project: hidden symbols, versioned name, alias target, one header folder.
function(nuoplexa_shared_library target)
  cmake_parse_arguments(ARG "" "INCLUDE" "" ${ARGN})
  add_library(${target} SHARED)
  add_library(nuoplexasupport::${target} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${target})
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${ARG_INCLUDE}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:project_options> $<BUILD_INTERFACE:shared_code_options>)
  if(NOT WIN32)
    target_link_options(${target} PRIVATE LINKER:-Bsymbolic-functions)
  endif()
endfunction()
