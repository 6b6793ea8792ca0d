# Installation: the libraries, headers, a CMake package and pkg-config files, in components:
#   runtime      the shared library
#   virtual      the shared library of recordings and virtual devices, which tests need, and what tells CMake of it
#   development  what programs are built with: headers, static libraries, package files
#   tools        qrxhid with its manual pages and completions
#   manual       manual pages of the library

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QrxHIDManager)

set(virtual_forms)
if(NOT APPLE)
    list(TRANSFORM QRX_FORMS REPLACE "-embedded" "-virtual" OUTPUT_VARIABLE virtual_forms)
endif()
# qrx_install_library(COMPONENT EXPORT target...): EXPORT.cmake tells others of the targets.
function(qrx_install_library component export)
    install(TARGETS ${ARGN}
        EXPORT ${export}
        FRAMEWORK DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QrxHIDManager COMPONENT development)
endfunction()
qrx_install_library(runtime QrxHIDManager-targets ${QRX_FORMS})
install(EXPORT QrxHIDManager-targets NAMESPACE QrxHIDManager:: DESTINATION ${package_dir} COMPONENT development)
if(virtual_forms)
    qrx_install_library(virtual QrxHIDManager-virtual-targets ${virtual_forms})
    # Not there where that library is not.
    install(EXPORT QrxHIDManager-virtual-targets NAMESPACE QrxHIDManager:: DESTINATION ${package_dir} COMPONENT virtual)
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QrxHIDManagerConfig.cmake.in
    ${PROJECT_BINARY_DIR}/QrxHIDManagerConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QrxHIDManagerConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/QrxHIDManagerConfig.cmake
    ${PROJECT_BINARY_DIR}/QrxHIDManagerConfigVersion.cmake
    ${CMAKE_CURRENT_LIST_DIR}/FindLibudev.cmake
    DESTINATION ${package_dir} COMPONENT development)

# The file finds its prefix from where it lies, so that the installation can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
set(pkgconfig_requires)
set(pkgconfig_libs "-L\${libdir} -lQrxHIDManager-embedded")
if(NOT APPLE)
    set(pkgconfig_requires libudev)
elseif("QrxHIDManager-embedded-static" IN_LIST QRX_FORMS)
    # -l finds the static library alone, since the other form is a framework.
    list(JOIN QRX_FRAMEWORKS " " frameworks)
    string(APPEND pkgconfig_libs " ${frameworks}")
else()
    set(pkgconfig_libs "-F\${libdir} -framework QrxHIDManager-embedded")
endif()
set(pkgconfig_virtual_libs)
if(NOT APPLE)
    set(pkgconfig_virtual_libs "-L\${libdir} -lQrxHIDManager-virtual")
endif()
foreach(library IN ITEMS embedded virtual)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/QrxHIDManager-${library}.pc.in
        ${PROJECT_BINARY_DIR}/QrxHIDManager-${library}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/QrxHIDManager-${library}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

if(PROJECT_IS_TOP_LEVEL)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/uninstall.cmake.in ${PROJECT_BINARY_DIR}/uninstall.cmake @ONLY)
    add_custom_target(uninstall
        COMMAND ${CMAKE_COMMAND} -P ${PROJECT_BINARY_DIR}/uninstall.cmake
        COMMENT "Removing what was installed" VERBATIM)

    set(CPACK_PACKAGE_VENDOR "the maintainers of QrxHIDManager")
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
    set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
    set(CPACK_GENERATOR TGZ)
    set(CPACK_SOURCE_GENERATOR TGZ)
    set(CPACK_SOURCE_IGNORE_FILES "/build/;/\\\\.git/")
    set(CPACK_VERBATIM_VARIABLES ON)
    include(CPack)
endif()
