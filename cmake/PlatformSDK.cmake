# The platform's own SDK in the places of this repository's libraries: its headers in include/NAME, its libraries in lib.
foreach(library nuocore PlexaMessage5 PlexaControl nuoscripting)
  find_library(NUOPLEXA_SDK_${library} NAMES ${library} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
    PATHS "${NUOPLEXA_PLATFORM_SDK}/${CMAKE_INSTALL_LIBDIR}" "${NUOPLEXA_PLATFORM_SDK}/lib")
  if(NOT NUOPLEXA_SDK_${library})
    message(FATAL_ERROR "there is no library ${library} in ${NUOPLEXA_PLATFORM_SDK}/lib")
  endif()
  add_library(${library} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(${library} PROPERTIES
    IMPORTED_LOCATION "${NUOPLEXA_SDK_${library}}"
    INTERFACE_INCLUDE_DIRECTORIES "${NUOPLEXA_PLATFORM_SDK}/include")
endforeach()
target_link_libraries(nuocore INTERFACE Boost::headers)
target_compile_features(nuocore INTERFACE cxx_std_20)
