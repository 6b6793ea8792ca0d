# Tests that run on a real kernel under QEMU; see README.md beside this file.
include_guard(DIRECTORY)
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

set(qrx_guest_cache_default ${CMAKE_BINARY_DIR}/guest)
if(DEFINED ENV{QRX_GUEST_CACHE})
    set(qrx_guest_cache_default $ENV{QRX_GUEST_CACHE})
endif()
set(QRX_GUEST_CACHE ${qrx_guest_cache_default} CACHE PATH "The guest's kernel package and base image; may be shared by build folders")
set(qrx_guest_rig ${CMAKE_CURRENT_LIST_DIR}/rig)

# The command line of the rig, as a list in the variable `result`.
function(qrx_guest_command result)
    set(${result} ${CMAKE_COMMAND} -E env PYTHONDONTWRITEBYTECODE=1
        ${Python3_EXECUTABLE} ${qrx_guest_rig} --cache ${QRX_GUEST_CACHE} ${ARGN} PARENT_SCOPE)
endfunction()

# qrx_add_guest_boot(NAME PROGRAMS "target [argument...]"... [CARRY target...] [DATA "source:path in the guest"...]
#                    [DATA_FROM_ENV variable...] [ENV "NAME=VALUE"...] [TIMEOUT seconds] [LABELS label...] [UDEVD] [ICOUNT]
#                    [JUDGE command...])
# One test of CTest, guest.NAME: one boot that runs the programs one after the other as root; it passes if all end with 0.
# A program may also be an absolute path. CARRY: programs that are there but not run. DATA_FROM_ENV: folders named by variables of the
# environment at test time; the guest sees the variable with its own path. TIMEOUT (120) holds for the boot and all
# programs. JUDGE: a command of this machine that is the test instead, and is given the command line of the boot to run.
function(qrx_add_guest_boot name)
    cmake_parse_arguments(arg "UDEVD;ICOUNT" "TIMEOUT" "PROGRAMS;CARRY;DATA;DATA_FROM_ENV;ENV;LABELS;JUDGE" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set(options --timeout ${arg_TIMEOUT})
    foreach(program IN LISTS arg_CARRY)
        if(NOT IS_ABSOLUTE ${program})
            set(program $<TARGET_FILE:${program}>)
        endif()
        list(APPEND options --carry ${program})
    endforeach()
    foreach(item IN LISTS arg_DATA)
        list(APPEND options --data ${item})
    endforeach()
    foreach(variable IN LISTS arg_DATA_FROM_ENV)
        list(APPEND options --data-from-env ${variable})
    endforeach()
    foreach(setting IN LISTS arg_ENV)
        list(APPEND options --env ${setting})
    endforeach()
    if(arg_UDEVD)
        list(APPEND options --udevd)
    endif()
    if(arg_ICOUNT)
        list(APPEND options --icount)
    endif()
    if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=[a-z,]*address")
        # The leak check knows what is kept on purpose by the names of functions, which somebody must look up for it.
        find_program(QRX_ADDR2LINE addr2line REQUIRED)
        list(APPEND options --memory 1024 --carry ${QRX_ADDR2LINE} --env ASAN_SYMBOLIZER_PATH=${QRX_ADDR2LINE})
    endif()
    if(CMAKE_CXX_FLAGS MATCHES "--coverage")
        # The programs write their counters through the share to where they would lie if they had run here.
        string(REGEX MATCHALL "/" levels ${CMAKE_BINARY_DIR})
        list(LENGTH levels depth)
        list(APPEND options --share ${CMAKE_BINARY_DIR} --env GCOV_PREFIX=/host --env GCOV_PREFIX_STRIP=${depth})
    endif()
    set(programs)
    foreach(program IN LISTS arg_PROGRAMS)
        set(words ${program})
        if(NOT IS_ABSOLUTE ${program})
            string(REGEX REPLACE "^([^ ]+)" "$<TARGET_FILE:\\1>" words ${program})
        endif()
        list(APPEND programs ${words})
    endforeach()
    qrx_guest_command(command run ${options} -- ${programs})
    add_test(NAME guest.${name} COMMAND ${arg_JUDGE} ${command})
    # CTest's own limit is only the net below the rig's, and covers building the image.
    math(EXPR limit "${arg_TIMEOUT} + 240")
    set_tests_properties(guest.${name} PROPERTIES TIMEOUT ${limit} SKIP_RETURN_CODE 77 DEPENDS guest.image
        LABELS "guest;${arg_LABELS}")
endfunction()

# qrx_add_guest_test(NAME PROGRAM "target [argument...]" and the options of qrx_add_guest_boot)
# A boot of its own for one program.
function(qrx_add_guest_test name)
    cmake_parse_arguments(arg "" "PROGRAM" "" ${ARGN})
    qrx_add_guest_boot(${name} PROGRAMS ${arg_PROGRAM} ${arg_UNPARSED_ARGUMENTS})
endfunction()
