# Building blocks of the project's targets.

# Warnings every target of ours is built with; -Werror is a preset's business (CMAKE_COMPILE_WARNING_AS_ERROR).
set(is_optimised_by_gcc_12
    $<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<NOT:$<CONFIG:Debug>>>)
add_library(qrx_warnings INTERFACE)
target_compile_options(qrx_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    # GCC 12 takes an optimised `"text" + std::string()` for a copy onto itself (its bug 105651).
    $<${is_optimised_by_gcc_12}:-Wno-restrict>)

# qrx_add_component(NAME SOURCES file... [HOT file...] [INCLUDES dir...] [LINKS target...])
# One folder of the library, as objects: hidden symbols, position independent. Its folder and INCLUDES are on the include
# path of whoever links it. HOT names those of its sources that QRX_SMALL does not make small: each report passes them,
# and optimising them for speed was measured to pay.
function(qrx_add_component name)
    cmake_parse_arguments(arg "" "" "SOURCES;HOT;INCLUDES;LINKS" ${ARGN})
    add_library(${name} OBJECT ${arg_SOURCES})
    target_compile_features(${name} PUBLIC cxx_std_20)
    set_target_properties(${name} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_include_directories(${name} PUBLIC ${arg_INCLUDES})
    # A name that is unique in the process keeps the library that has it from being unloaded.
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    if(NOT APPLE)
        # Other libraries' functions are found when the program is loaded, not each at its first call, which takes some
        # 1,200 instructions.
        target_compile_options(${name} PRIVATE -fno-plt)
    endif()
    set(is_optimised "$<CONFIG:Release,RelWithDebInfo>")
    if(NOT APPLE)
        # Nobody puts functions of their own in place of the library's, and the linker leaves out what nobody calls.
        target_compile_options(${name} PRIVATE
            "$<${is_optimised}:-fno-semantic-interposition;-ffunction-sections;-fdata-sections>")
    endif()
    target_compile_options(${name} PRIVATE "$<${is_optimised}:${QRX_WITHOUT_FOLDERS}>")
    if(QRX_SMALL)
        target_compile_options(${name} PRIVATE "$<${is_optimised}:${QRX_SMALLEST}>")
        # Options of a source come last.
        set_source_files_properties(${arg_HOT} PROPERTIES COMPILE_OPTIONS "$<${is_optimised}:-O2>")
    endif()
    qrx_optimise_linking(${name})
    target_link_libraries(${name} PRIVATE qrx_warnings PUBLIC ${arg_LINKS})
    if(TARGET qrx_precompiled AND NOT name STREQUAL "qrx_precompiled")
        target_precompile_headers(${name} REUSE_FROM qrx_precompiled)
    endif()
endfunction()

# The headers of the standard library are most of what a source takes to compile without optimisation.
if(QRX_PRECOMPILE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    qrx_add_component(qrx_precompiled SOURCES ${CMAKE_CURRENT_LIST_DIR}/precompiled.cpp)
    set(QRX_STANDARD_HEADERS <algorithm> <array> <chrono> <cstdint> <cstring> <functional> <iostream> <map> <memory> <mutex>
        <optional> <set> <span> <sstream> <string> <string_view> <system_error> <unordered_map> <utility> <vector>)
    target_precompile_headers(qrx_precompiled PRIVATE ${QRX_STANDARD_HEADERS})
endif()

# qrx_add_test(NAME SOURCES file... [LINKS target...] [TIMEOUT seconds] [LABELS label...] [WHOLE])
# A GoogleTest program. Each case is a test of CTest; with WHOLE the program is one (many small cases over a corpus).
# LINKS names every component whose objects the program needs: objects are not passed on. What is labelled "threads" is
# what ThreadSanitizer is for; the target thread_tests builds just that.
add_custom_target(thread_tests)
function(qrx_add_test name)
    cmake_parse_arguments(arg "WHOLE" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_compile_features(${name} PRIVATE cxx_std_20)
    # With -O3 it takes a comparison of texts for a copy beyond their ends as well (its bug 105329).
    target_compile_options(${name} PRIVATE "$<${is_optimised_by_gcc_12}:-Wno-stringop-overflow;-Wno-array-bounds>")
    target_link_libraries(${name} PRIVATE qrx_warnings ${arg_LINKS} GTest::gtest GTest::gmock GTest::gtest_main)
    if(TARGET qrx_test_headers)
        target_precompile_headers(${name} REUSE_FROM qrx_test_headers)
    endif()
    if("threads" IN_LIST arg_LABELS)
        add_dependencies(thread_tests ${name})
    endif()
    if(arg_WHOLE)
        add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
        set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
            SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
    else()
        gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
            PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
    endif()
endfunction()
