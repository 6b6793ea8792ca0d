# Builds and runs release_order. Variables: SOURCE, WORK, LIBRARY, COMPILER, FLAGS, GENERATOR.

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${status}:\n${output}")
    endif()
endfunction()

run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK} -DLIBRARY=${LIBRARY} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_CXX_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${WORK})
run(${WORK}/release_order)
