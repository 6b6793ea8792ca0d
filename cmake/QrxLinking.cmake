# What compiler and linker can do for the library: QRX_LINK_TIME_OPTIMISATION, QRX_HAS_PACKED_RELOCATIONS, QRX_SMALLEST.

include(CheckCXXCompilerFlag)
include(CheckIPOSupported)
include(CheckLinkerFlag)
include(CheckSourceCompiles)

# Optimised builds optimise when they link, unless somebody decided (CMAKE_INTERPROCEDURAL_OPTIMIZATION) or the library is
# to be small. Objects that are made for it are for this compiler alone, so not where the static library is installed.
set(QRX_LINK_TIME_OPTIMISATION OFF)
if(PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_INTERPROCEDURAL_OPTIMIZATION AND CMAKE_BUILD_TYPE MATCHES "Rel"
        AND NOT QRX_SMALL AND NOT "QrxHIDManager-embedded-static" IN_LIST QRX_FORMS)
    check_ipo_supported(RESULT QRX_LINK_TIME_OPTIMISATION OUTPUT reason LANGUAGES CXX)
endif()

# Relative relocations (places that hold addresses within the library) would be a tenth of the file. Packed they are a
# hundredth, which the C library of the system must understand: glibc 2.36 or musl 1.2.4.
set(QRX_HAS_PACKED_RELOCATIONS OFF)
if(NOT APPLE)
    check_linker_flag(CXX "LINKER:--fatal-warnings,-z,pack-relative-relocs" QRX_LINKER_PACKS_RELOCATIONS)
    check_source_compiles(CXX "
        #include <climits>
        #ifdef __GLIBC__
        static_assert(__GLIBC_PREREQ(2, 36));
        #endif
        int main() {}" QRX_LIBRARY_READS_PACKED_RELOCATIONS)
    if(QRX_LINKER_PACKS_RELOCATIONS AND QRX_LIBRARY_READS_PACKED_RELOCATIONS)
        set(QRX_HAS_PACKED_RELOCATIONS ON)
    endif()
endif()

# Since GCC 12 there is more than -Os.
check_cxx_compiler_flag(-Oz QRX_COMPILER_HAS_OZ)
if(QRX_COMPILER_HAS_OZ)
    set(QRX_SMALLEST -Oz)
else()
    set(QRX_SMALLEST -Os)
endif()

# On x86, GCC puts data further apart than its type asks for.
check_cxx_compiler_flag(-malign-data=abi QRX_COMPILER_ALIGNS_DATA)
if(QRX_COMPILER_ALIGNS_DATA)
    list(APPEND QRX_SMALLEST -malign-data=abi)
endif()

# Nothing tells where it was built, so that it is the same wherever that was.
set(QRX_WITHOUT_FOLDERS -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)

# qrx_optimise_linking(TARGET): for the components and the library of them.
function(qrx_optimise_linking target)
    if(QRX_LINK_TIME_OPTIMISATION)
        set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            # What is compiled when it is linked names the folder in which that is done.
            target_link_options(${target} PRIVATE ${QRX_WITHOUT_FOLDERS})
        endif()
    endif()
endfunction()
