# Headers, both libraries with their SONAME links, a CMake package and a
# pkg-config file.
include(CMakePackageConfigHelpers)

# Components follow the Debian split (cmake/KyPackage.cmake): each runtime
# library alone, everything for building against them in dev.
install(TARGETS vokymem EXPORT vokyutilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT mem NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS vokyutil EXPORT vokyutilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT util NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/ky DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

set(KY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vokyutil)
install(EXPORT vokyutilTargets NAMESPACE vokyutil:: DESTINATION ${KY_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/vokyutilConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vokyutilConfig.cmake INSTALL_DESTINATION ${KY_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vokyutilConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vokyutilConfig.cmake
  ${PROJECT_BINARY_DIR}/vokyutilConfigVersion.cmake DESTINATION ${KY_CMAKE_DIR} COMPONENT dev)

# The .pc file finds its prefix from its own place, so an installed tree can be
# moved (the install check installs into a scratch prefix).
file(RELATIVE_PATH KY_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" KY_PC_TO_PREFIX "${KY_PC_TO_PREFIX}")
configure_file(cmake/vokyutil.pc.in ${PROJECT_BINARY_DIR}/vokyutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vokyutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)
