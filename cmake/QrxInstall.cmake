# Installation: libraries, headers, a CMake package and a pkg-config file.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QrxHIDManager)
install(TARGETS QrxHIDManager-embedded QrxHIDManager-embedded-static
    EXPORT QrxHIDManager-targets
    FRAMEWORK DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QrxHIDManager)
install(EXPORT QrxHIDManager-targets NAMESPACE QrxHIDManager:: DESTINATION ${package_dir})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QrxHIDManagerConfig.cmake.in
    ${PROJECT_BINARY_DIR}/QrxHIDManagerConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QrxHIDManagerConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/QrxHIDManagerConfig.cmake
    ${PROJECT_BINARY_DIR}/QrxHIDManagerConfigVersion.cmake
    DESTINATION ${package_dir})

if(NOT APPLE)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/QrxHIDManager-embedded.pc.in
        ${PROJECT_BINARY_DIR}/QrxHIDManager-embedded.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/QrxHIDManager-embedded.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
