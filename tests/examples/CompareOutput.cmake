# Runs PROGRAM, which must succeed, and compares what it prints with EXPECTED.
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ended with ${result}")
endif()
file(READ ${EXPECTED} expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "Expected, as ${EXPECTED} has it:\n${expected}\nPrinted:\n${output}")
endif()
