# The platform's own SDK in the places of this repository's libraries: its headers in include/NAME, its libraries in lib.
foreach(library nuocore PlexaMessage5 PlexaControl nuoscripting)
  # Not remembered: another SDK may be named in the same build tree.
  unset(sdk_library)
  find_library(sdk_library NAMES ${library} NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
    PATHS "${NUOPLEXA_PLATFORM_SDK}/${CMAKE_INSTALL_LIBDIR}" "${NUOPLEXA_PLATFORM_SDK}/lib")
  if(NOT sdk_library)
    message(FATAL_ERROR "there is no library ${library} in ${NUOPLEXA_PLATFORM_SDK}/lib")
  endif()
  if(NOT IS_DIRECTORY "${NUOPLEXA_PLATFORM_SDK}/include/${library}")
    message(FATAL_ERROR "there is no folder of headers ${NUOPLEXA_PLATFORM_SDK}/include/${library}")
  endif()
  add_library(${library} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(${library} PROPERTIES
    IMPORTED_LOCATION "${sdk_library}"
    INTERFACE_INCLUDE_DIRECTORIES "${NUOPLEXA_PLATFORM_SDK}/include")
endforeach()
target_link_libraries(nuocore INTERFACE Boost::headers)
target_compile_features(nuocore INTERFACE cxx_std_20)
