# Compares what lies in STAGE with the list EXPECTED, in which @VERSION@ stands
# for VERSION. With UPDATE set, writes the list instead.
cmake_minimum_required(VERSION 3.25)
file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE ${STAGE} ${STAGE}/*)
list(SORT files)
list(JOIN files "\n" text)
string(REPLACE ${VERSION} "@VERSION@" text "${text}\n")
if(UPDATE)
  file(WRITE ${EXPECTED} "${text}")
  return()
endif()
file(READ ${EXPECTED} expected)
if(NOT text STREQUAL expected)
  message(FATAL_ERROR "The installed files are not those of ${EXPECTED}.\n"
                      "Installed:\n${text}\nExpected:\n${expected}")
endif()
