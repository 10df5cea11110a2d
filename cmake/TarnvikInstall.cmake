# Install rules: headers, the library and a CMake package, so that another project can
# write find_package(tarnvik REQUIRED) and link tarnvik::tarnvik.
include(CMakePackageConfigHelpers)

install(TARGETS tarnvik EXPORT tarnvikTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tarnvik/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnvik
  FILES_MATCHING PATTERN "*.h")
install(EXPORT tarnvikTargets
  NAMESPACE tarnvik::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnvik)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tarnvikConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tarnvikConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnvik)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarnvikConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarnvikConfig.cmake ${PROJECT_BINARY_DIR}/tarnvikConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnvik)
