# A provider inside the library is a folder of three files and one file that names it: the build, the layers and both
# libraries take it from there. Variables: PROVIDER, PROJECT, WORK, COMPILER, GENERATOR, PYTHON.
cmake_policy(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${status}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

# A copy of what the two libraries are built of, and of the files that the layers are held with.
file(REMOVE_RECURSE ${WORK})
foreach(part IN ITEMS CMakeLists.txt IntLibs cmake tests/frame/include_rules.py tests/frame/layers.py tools)
    get_filename_component(folder ${WORK}/project/${part} DIRECTORY)
    file(COPY ${PROJECT}/${part} DESTINATION ${folder})
endforeach()
set(configure ${CMAKE_COMMAND} -G ${GENERATOR} -S ${WORK}/project -B ${WORK}/build -DCMAKE_BUILD_TYPE=Debug
    -DCMAKE_CXX_COMPILER=${COMPILER} -DQRX_BUILD_TOOLS=OFF -DQRX_BUILD_TESTS=OFF -DQRX_BUILD_EXAMPLES=OFF
    -DQRX_INSTALL=OFF)
run(${configure})

# Three new files and one edit.
set(platform ${WORK}/project/IntLibs/QrxHidMgr/Platform)
file(COPY ${PROVIDER}/CMakeLists.txt ${PROVIDER}/EmptyProvider.cpp ${PROVIDER}/EmptyProvider.h
    DESTINATION ${platform}/Empty)
file(READ ${platform}/Providers.cpp text)
string(REPLACE "#include \"Linux/LinuxProvider.h\"\n"
    "#include \"Empty/EmptyProvider.h\"\n#include \"Linux/LinuxProvider.h\"\n" text "${text}")
string(REPLACE "    return providers;\n"
    "    providers.push_back(makeEmptyProvider());\n    return providers;\n" text "${text}")
file(WRITE ${platform}/Providers.cpp "${text}")

run(${CMAKE_COMMAND} --build ${WORK}/build --target qrx_providers qrx_empty)
set(libraries QrxHIDManager-embedded QrxHIDManager-embedded-static)
file(STRINGS ${WORK}/build/CMakeCache.txt with_hidapi REGEX "^QRX_BUILD_HIDAPI:BOOL=ON$")
if(with_hidapi)
    list(APPEND libraries qrx_hidapi)
endif()
foreach(library IN LISTS libraries)
    # The commands that would be run; only one that links names objects of two folders.
    run(${CMAKE_COMMAND} --build ${WORK}/build --target ${library} -- -n -v)
    if(NOT output MATCHES "/EmptyProvider\\.cpp\\.o [^\n]*/Providers\\.cpp\\.o")
        message(FATAL_ERROR "${library} is linked without the provider:\n${output}")
    endif()
endforeach()
run(${PYTHON} ${WORK}/project/tests/frame/include_rules.py ${WORK}/project)
message(STATUS "${output}")
