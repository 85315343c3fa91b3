# The installed form: headers, libraries, the CMake package and the pkg-config file. The platform is an export set of
# its own, so that another one can be installed in its place.

include(CMakePackageConfigHelpers)
set(QPD_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qProdData3D)

install(DIRECTORY include/qProdData3D DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qProdData3D EXPORT qProdData3DTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

install(EXPORT qPlatformTargets NAMESPACE qPlatform:: DESTINATION ${QPD_PACKAGE_DIR})
install(EXPORT qProdData3DTargets NAMESPACE qProdData3D:: DESTINATION ${QPD_PACKAGE_DIR})

configure_package_config_file(cmake/qProdData3DConfig.cmake.in qProdData3DConfig.cmake
                              INSTALL_DESTINATION ${QPD_PACKAGE_DIR})
write_basic_package_version_file(qProdData3DConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qProdData3DConfig.cmake ${PROJECT_BINARY_DIR}/qProdData3DConfigVersion.cmake
        DESTINATION ${QPD_PACKAGE_DIR})

# The prefix is found from where the file stands, so that an installed tree can be moved.
file(RELATIVE_PATH QPD_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/qProdData3D.pc.in qProdData3D.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qProdData3D.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
