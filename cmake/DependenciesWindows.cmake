# The same libraries for Windows, from their sources and headers: Debian has no packages of them. Headers are reached through
# folders that hold nothing but a link to them, so that nothing else of the building system is seen.
set(NUOPLEXA_EXPAT_SOURCE "" CACHE PATH "Folder of expat's unpacked source")
set(NUOPLEXA_GOOGLETEST_SOURCE "/usr/src/googletest" CACHE PATH "Folder of GoogleTest's source")
find_package(Threads REQUIRED)

# A library that is only headers: those of one folder under /usr/include.
function(nuoplexa_header_library target folder)
  if(NOT EXISTS "/usr/include/${folder}")
    message(FATAL_ERROR "there is no /usr/include/${folder}: scripts/setup.sh installs what is needed")
  endif()
  set(include "${CMAKE_BINARY_DIR}/headers/${folder}")
  file(MAKE_DIRECTORY "${include}")
  file(CREATE_LINK "/usr/include/${folder}" "${include}/${folder}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${include}")
endfunction()

nuoplexa_header_library(Boost::headers boost)
nuoplexa_header_library(fmt::fmt-header-only fmt)
target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
nuoplexa_header_library(spdlog::spdlog_header_only spdlog)
target_compile_definitions(spdlog::spdlog_header_only INTERFACE SPDLOG_FMT_EXTERNAL)
target_link_libraries(spdlog::spdlog_header_only INTERFACE fmt::fmt-header-only)

add_library(boost_json STATIC "${PROJECT_SOURCE_DIR}/cmake/windows/boost_json.cpp")
target_link_libraries(boost_json PUBLIC Boost::headers)
add_library(Boost::json ALIAS boost_json)

if(NOT EXISTS "${NUOPLEXA_EXPAT_SOURCE}/lib/xmlparse.c")
  message(FATAL_ERROR "there is no expat in NUOPLEXA_EXPAT_SOURCE, \"${NUOPLEXA_EXPAT_SOURCE}\"; "
    "scripts/fetch-expat.sh FOLDER fetches its source")
endif()
enable_language(C)
add_library(expat STATIC
  "${NUOPLEXA_EXPAT_SOURCE}/lib/xmlparse.c"
  "${NUOPLEXA_EXPAT_SOURCE}/lib/xmlrole.c"
  "${NUOPLEXA_EXPAT_SOURCE}/lib/xmltok.c")
target_include_directories(expat SYSTEM PUBLIC "${NUOPLEXA_EXPAT_SOURCE}/lib")
target_compile_definitions(expat PUBLIC XML_STATIC)
target_include_directories(expat PRIVATE "${PROJECT_SOURCE_DIR}/cmake/windows")
add_library(PkgConfig::EXPAT ALIAS expat)

# In the place of a function that neither Wine's C library nor MinGW's import library has.
add_library(dupenv STATIC "${PROJECT_SOURCE_DIR}/cmake/windows/dupenv.c")

if(NUOPLEXA_BUILD_TESTS)
  set(INSTALL_GTEST OFF)
  add_subdirectory("${NUOPLEXA_GOOGLETEST_SOURCE}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
  include(GoogleTest)
endif()

# The compiler's own libraries stand beside the programs, as they would in an installation.
foreach(library libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
  execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${library}
    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
  file(COPY "${file}" DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
endforeach()
