# How other projects find the installed library: CMake's find_package and pkg-config. Both look for it relative to
# their own files, so that the installed tree may be moved and staged.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/roqutil)
set(package_room ${PROJECT_BINARY_DIR}/package)
install(EXPORT roqutil NAMESPACE roqutil:: FILE roqutil-targets.cmake DESTINATION ${package_folder})
write_basic_package_version_file(${package_room}/roqutil-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/roqutil-config.cmake.in ${package_room}/roqutil-config.cmake
  INSTALL_DESTINATION ${package_folder} NO_CHECK_REQUIRED_COMPONENTS_MACRO)
install(FILES ${package_room}/roqutil-config-version.cmake ${package_room}/roqutil-config.cmake
  DESTINATION ${package_folder})
set(bus_link -lroqmsg)
if(ROQ_PLATFORM_BUS)
  configure_package_config_file(cmake/roqutil-bus.cmake.in ${package_room}/roqutil-bus.cmake
    INSTALL_DESTINATION ${package_folder} NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  install(FILES ${package_room}/roqutil-bus.cmake DESTINATION ${package_folder})
  set(bus_link -l:${ROQ_BUS_FILE})
endif()

set(pkgconfig_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig ${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
file(RELATIVE_PATH libdir_in_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includedir_in_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
foreach(module roqutil roqutilcore)
  configure_file(cmake/${module}.pc.in ${package_room}/${module}.pc @ONLY)
  install(FILES ${package_room}/${module}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
