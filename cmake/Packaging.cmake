# Installation: libraries, headers, the CMake package and the pkg-config file. Two components: "runtime" is what programs need,
# "dev" what their builds need. Programs install themselves, where they are defined.
include(CMakePackageConfigHelpers)

set(packaged_targets nuocore PlexaMessage5 PlexaControl nuoscripting nuoscripting_engine nuoplexasupport)
set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/nuoplexasupport")

install(TARGETS ${packaged_targets} EXPORT nuoplexasupportTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)
foreach(folder include/nuoplexasupport platform/nuocore/include/nuocore platform/message5/include/PlexaMessage5
    platform/control/include/PlexaControl platform/nuoscripting/include/nuoscripting)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev
    FILES_MATCHING PATTERN "*.h")
endforeach()

install(EXPORT nuoplexasupportTargets NAMESPACE nuoplexasupport:: DESTINATION "${package_folder}" COMPONENT dev)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/nuoplexasupportConfig.cmake.in"
  "${CMAKE_CURRENT_BINARY_DIR}/nuoplexasupportConfig.cmake" INSTALL_DESTINATION "${package_folder}")
# The interfaces may still change with every minor version before 1.0.
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/nuoplexasupportConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/nuoplexasupportConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/nuoplexasupportConfigVersion.cmake"
  DESTINATION "${package_folder}" COMPONENT dev)

file(RELATIVE_PATH nuoplexa_prefix_from_pkgconfig "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" nuoplexa_prefix_from_pkgconfig "${nuoplexa_prefix_from_pkgconfig}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/nuoplexasupport.pc.in" "${CMAKE_CURRENT_BINARY_DIR}/nuoplexasupport.pc" @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/nuoplexasupport.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
