# An application that has the library as a part of its project is built, installed, moved and started: by FetchContent and
# by add_subdirectory, with the static library, which is the default there, and with the shared one. All ways share one
# build folder, so the library is compiled once. Variables: SOURCE, LIBRARY, WORK, COMPILER, GENERATOR.
cmake_policy(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${status}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
foreach(way IN ITEMS FetchContent subdirectory)
    foreach(is_shared IN ITEMS OFF ON)
        run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/build -DCMAKE_BUILD_TYPE=Debug
            -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_FLAGS_DEBUG= -DLIBRARY=${LIBRARY} -DWAY=${way}
            -DBUILD_SHARED_LIBS=${is_shared} -DQRX_INSTALL=${is_shared})
        run(${CMAKE_COMMAND} --build ${WORK}/build)
        file(REMOVE_RECURSE ${WORK}/installed ${WORK}/moved)
        run(${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/installed)
        file(RENAME ${WORK}/installed ${WORK}/moved)
        # Nothing of the library but what the program needs to start.
        file(GLOB_RECURSE installed RELATIVE ${WORK}/moved ${WORK}/moved/*)
        if(NOT is_shared AND NOT "${installed}" STREQUAL "bin/application")
            message(FATAL_ERROR "installed by ${way}: ${installed}")
        endif()
        run(${WORK}/moved/bin/application)
        if(NOT output MATCHES "received 2 bytes\n")
            message(FATAL_ERROR "the application said: ${output}")
        endif()
    endforeach()
endforeach()
