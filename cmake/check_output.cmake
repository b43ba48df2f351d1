# Does a program succeed, and print what is expected? It runs in a folder of its own, which is empty at the start.
#
#   cmake -DPROGRAM="COMMAND;ARGUMENT..." -DEXPECTED=FILE -DFOLDER=FOLDER -P check_output.cmake
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
list(REMOVE_ITEM PROGRAM "")
set(ENV{ZUK_CONFIG_DIR} ${FOLDER})
execute_process(COMMAND ${PROGRAM} WORKING_DIRECTORY ${FOLDER} OUTPUT_VARIABLE output RESULT_VARIABLE result)
file(READ ${EXPECTED} expected)
string(REPLACE "\r\n" "\n" output "${output}")
if(NOT result EQUAL 0)
    message(FATAL_ERROR "ended with ${result} after\n${output}")
endif()
if(NOT output STREQUAL expected)
    message(FATAL_ERROR "printed\n${output}instead of\n${expected}")
endif()
