# Installation: the library, its headers, the tool, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS fusekit EXPORT fusekitTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/fusekit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(FUSEKIT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/fusekit)
install(EXPORT fusekitTargets NAMESPACE fusekit:: DESTINATION ${FUSEKIT_CMAKE_DIR})
configure_package_config_file(cmake/fusekitConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/fusekitConfig.cmake
                              INSTALL_DESTINATION ${FUSEKIT_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fusekitConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/fusekitConfig.cmake
              ${PROJECT_BINARY_DIR}/fusekitConfigVersion.cmake
        DESTINATION ${FUSEKIT_CMAKE_DIR})

# The pkg-config file finds its prefix from its own place, so the installed tree can be moved
# (or installed with --prefix) and still work.
file(RELATIVE_PATH FUSEKIT_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
configure_file(cmake/fusekit.pc.in ${PROJECT_BINARY_DIR}/fusekit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/fusekit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
