# Holds UsageTables.pairs to what ChooseCodePairs.py chooses for the words of UsageTables.tsv.
#   cmake -D HID=folder -D WORK=folder -D PYTHON=interpreter -P code_pairs_test.cmake

set(words ${WORK}/words_without_pairs.cpp)
execute_process(COMMAND ${CMAKE_COMMAND} -DINPUT=${HID}/UsageTables.tsv -DOUTPUT=${words}
    -P ${HID}/GenerateUsageTables.cmake COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${PYTHON} ${HID}/ChooseCodePairs.py ${words} OUTPUT_VARIABLE chosen COMMAND_ERROR_IS_FATAL ANY)
file(READ ${HID}/UsageTables.pairs pairs)
if(NOT pairs STREQUAL chosen)
    message(FATAL_ERROR "The words have changed: choose their pairs anew, as ChooseCodePairs.py says")
endif()
