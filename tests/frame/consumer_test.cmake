# Installs the library into a folder of its own, then builds and runs the consumer: by the CMake package, and by
# pkg-config. Variables: BUILD, SOURCE, WORK, COMPILER, GENERATOR.

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${status}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

# expect(TEXT command...)
function(expect text)
    run(${ARGN})
    if(NOT output MATCHES "${text}\n$")
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
    expect("received 2 bytes" ${WORK}/build${form}/consumer)
    expect("found 0 devices" ${WORK}/build${form}/shipped)
endforeach()

# Without the library of virtual devices.
foreach(component IN ITEMS runtime development)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/shipped --component ${component})
endforeach()
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/buildshipped -DCMAKE_PREFIX_PATH=${WORK}/shipped
    -DCMAKE_CXX_COMPILER=${COMPILER} -DFORM=)
run(${CMAKE_COMMAND} --build ${WORK}/buildshipped)
expect("found 0 devices" ${WORK}/buildshipped/shipped)

file(GLOB_RECURSE pkgconfig_file ${WORK}/prefix/*-embedded.pc)
get_filename_component(pkgconfig_dir ${pkgconfig_file} DIRECTORY)
get_filename_component(library_dir ${pkgconfig_dir} DIRECTORY)
# build_by_pkg_config(TEXT SOURCE LIBRARY option...): a program that then says the text.
function(build_by_pkg_config text source library)
    run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgconfig_dir}
        pkg-config --cflags --libs ${ARGN} QrxHIDManager-${library})
    separate_arguments(flags UNIX_COMMAND "${output}")
    run(${COMPILER} -std=c++17 ${SOURCE}/${source} ${flags} -Wl,-rpath,${library_dir} -o ${WORK}/by_pkg_config)
    expect(${text} ${WORK}/by_pkg_config)
endfunction()
build_by_pkg_config("received 2 bytes" main.cpp virtual)
build_by_pkg_config("found 0 devices" shipped.cpp embedded)
# Without the shared libraries the linker takes the static ones, which need what --static names.
file(GLOB shared_library ${library_dir}/*.so*)
file(REMOVE ${shared_library})
build_by_pkg_config("received 2 bytes" main.cpp virtual --static)
build_by_pkg_config("found 0 devices" shipped.cpp embedded --static)
