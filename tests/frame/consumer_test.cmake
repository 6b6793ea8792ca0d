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
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)

run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_CXX_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build ${WORK}/build)
expect_bytes(${WORK}/build/consumer)
expect_bytes(${WORK}/build/consumer_static)

file(GLOB_RECURSE pkgconfig_file ${WORK}/prefix/*.pc)
get_filename_component(pkgconfig_dir ${pkgconfig_file} DIRECTORY)
get_filename_component(library_dir ${pkgconfig_dir} DIRECTORY)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgconfig_dir}
    pkg-config --define-variable=prefix=${WORK}/prefix --define-variable=libdir=${library_dir}
    --define-variable=includedir=${WORK}/prefix/include/QrxHIDManager --cflags --libs QrxHIDManager-embedded)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} -std=c++17 ${SOURCE}/main.cpp ${flags} -Wl,-rpath,${library_dir} -o ${WORK}/by_pkg_config)
expect_bytes(${WORK}/by_pkg_config)
