# Finds libudev, by which the library hears of devices: the imported target Libudev::Libudev. Installed with the package,
# since who links the static library needs it.
find_path(Libudev_INCLUDE_DIR libudev.h)
find_library(Libudev_LIBRARY udev)
mark_as_advanced(Libudev_INCLUDE_DIR Libudev_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Libudev
    REQUIRED_VARS Libudev_LIBRARY Libudev_INCLUDE_DIR
    REASON_FAILURE_MESSAGE "Debian's package is libudev-dev, Fedora's systemd-devel")

if(Libudev_FOUND AND NOT TARGET Libudev::Libudev)
    add_library(Libudev::Libudev UNKNOWN IMPORTED)
    set_target_properties(Libudev::Libudev PROPERTIES
        IMPORTED_LOCATION ${Libudev_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Libudev_INCLUDE_DIR})
endif()
