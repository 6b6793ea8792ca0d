# Builds for macOS on another system, with clang and lld, to see that it compiles, links and installs.
#
# QRX_MACOS_SDK     a folder with the platform's headers and link stubs, as Xcode's MacOSX.sdk is one
# QRX_MACOS_ARCH    arm64 (the default) or x86_64
# QRX_MACOS_MIN     the oldest system that the result is for; 12.0 by default
# QRX_MACOS_LIBCXX  the headers of LLVM's C++ library (include/c++/v1); those beside clang by default
#
# Each is a variable of CMake or of the environment.
foreach(name SDK ARCH MIN LIBCXX)
    if(NOT QRX_MACOS_${name} AND DEFINED ENV{QRX_MACOS_${name}})
        set(QRX_MACOS_${name} $ENV{QRX_MACOS_${name}})
    endif()
endforeach()
if(NOT QRX_MACOS_SDK)
    message(FATAL_ERROR "QRX_MACOS_SDK must name the folder with the platform's headers and link stubs")
endif()
if(NOT QRX_MACOS_ARCH)
    set(QRX_MACOS_ARCH arm64)
endif()
if(NOT QRX_MACOS_MIN)
    set(QRX_MACOS_MIN 12.0)
endif()
if(NOT QRX_MACOS_LIBCXX)
    file(GLOB candidates /usr/lib/llvm-*/include/c++/v1)
    list(SORT candidates COMPARE NATURAL ORDER DESCENDING)
    list(GET candidates 0 QRX_MACOS_LIBCXX)
endif()
# What CMake tries out while it configures is a project of its own.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QRX_MACOS_SDK QRX_MACOS_ARCH QRX_MACOS_MIN QRX_MACOS_LIBCXX)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${QRX_MACOS_ARCH})
set(CMAKE_OSX_SYSROOT ${QRX_MACOS_SDK})
set(CMAKE_OSX_ARCHITECTURES ${QRX_MACOS_ARCH})
set(CMAKE_OSX_DEPLOYMENT_TARGET ${QRX_MACOS_MIN})

set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET ${QRX_MACOS_ARCH}-apple-macos${QRX_MACOS_MIN})
# Without this name, headers that are published for all platforms at once name functions as they were in 32 bits.
set(CMAKE_CXX_FLAGS_INIT
    "-DXNU_PLATFORM_MacOSX -Wno-unused-command-line-argument -nostdinc++ -isystem ${QRX_MACOS_LIBCXX} -stdlib=libc++")
set(CMAKE_USER_MAKE_RULES_OVERRIDE ${CMAKE_CURRENT_LIST_DIR}/macos_rules.cmake)
foreach(kind EXE SHARED MODULE)
    # Without a version of the linker clang passes options that only the oldest one knows.
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -mlinker-version=609 -nostdlib++ -lc++")
endforeach()

# LLVM's tools; Debian gives some of them only with a version behind the name.
file(GLOB llvm_folders /usr/lib/llvm-*/bin)
list(SORT llvm_folders COMPARE NATURAL ORDER DESCENDING)
foreach(tool ar ranlib install-name-tool otool)
    string(TOUPPER ${tool} variable)
    string(REPLACE - _ variable CMAKE_${variable})
    find_program(${variable} NAMES llvm-${tool} HINTS ${llvm_folders} REQUIRED)
endforeach()

set(CMAKE_FIND_ROOT_PATH ${QRX_MACOS_SDK})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# A consumer finds the installed library outside the platform's folder.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE NEVER)
