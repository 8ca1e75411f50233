include(CMakePackageConfigHelpers)

install(TARGETS zel zel_host EXPORT zelTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/zel/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zel
    FILES_MATCHING PATTERN "*.hpp" PATTERN "*.h"
    PATTERN "*_test*" EXCLUDE
    PATTERN "internal" EXCLUDE
    PATTERN "testing" EXCLUDE)
install(EXPORT zelTargets NAMESPACE zel:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zelConfig.cmake.in
    ${PROJECT_BINARY_DIR}/zelConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zelConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/zelConfig.cmake
    ${PROJECT_BINARY_DIR}/zelConfigVersion.cmake
    ${PROJECT_SOURCE_DIR}/cmake/zel_dependencies.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel)
