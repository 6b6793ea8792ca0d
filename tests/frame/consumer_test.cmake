# Installs the library into a folder of its own, then builds and runs the consumer: by the CMake package, and by
# pkg-config. Variables: BUILD, SOURCE, WORK, COMPILER, GENERATOR.

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${status}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_bytes)
    run(${ARGN})
    if(NOT output MATCHES "received 2 bytes\n")
        message(FATAL_ERROR "${ARGN} said: ${output}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
# Moved: nothing may depend on where it was installed.
file(RENAME ${WORK}/installed ${WORK}/prefix)

foreach(form "" shared static)
    run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/build${form} -DCMAKE_PREFIX_PATH=${WORK}/prefix
        -DCMAKE_CXX_COMPILER=${COMPILER} -DFORM=${form})
    run(${CMAKE_COMMAND} --build ${WORK}/build${form})
    expect_bytes(${WORK}/build${form}/consumer)
endforeach()

file(GLOB_RECURSE pkgconfig_file ${WORK}/prefix/*.pc)
get_filename_component(pkgconfig_dir ${pkgconfig_file} DIRECTORY)
get_filename_component(library_dir ${pkgconfig_dir} DIRECTORY)
function(build_by_pkg_config name)
    run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgconfig_dir}
        pkg-config --cflags --libs ${ARGN} QrxHIDManager-embedded)
    separate_arguments(flags UNIX_COMMAND "${output}")
    run(${COMPILER} -std=c++17 ${SOURCE}/main.cpp ${flags} -Wl,-rpath,${library_dir} -o ${WORK}/${name})
    expect_bytes(${WORK}/${name})
endfunction()
build_by_pkg_config(by_pkg_config)
# Without the shared library the linker takes the static one, which needs what --static names.
file(GLOB shared_library ${library_dir}/*.so*)
file(REMOVE ${shared_library})
build_by_pkg_config(by_pkg_config_static --static)
