# Compares what lies in STAGE with the list EXPECTED, in which @VERSION@ stands
# for VERSION, and @CONFIG@ for the build type CONFIG. The explorer is expected
# where EXPLORER is set. With UPDATE set, writes
# the list instead. A folder that COPIED names, INSTALLED=SOURCE, is not listed:
# it has to be the same in both.
cmake_minimum_required(VERSION 3.25)
file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE ${STAGE} ${STAGE}/*)
foreach(copied IN LISTS COPIED)
  string(REGEX MATCH "^(.*)=(.*)$" copied ${copied})
  list(FILTER files EXCLUDE REGEX "^${CMAKE_MATCH_1}/")
  execute_process(COMMAND diff -r ${STAGE}/${CMAKE_MATCH_1} ${CMAKE_MATCH_2}
                          COMMAND_ERROR_IS_FATAL ANY)
endforeach()
list(SORT files)
list(JOIN files "\n" text)
string(REPLACE ${VERSION} "@VERSION@" text "${text}\n")
string(TOLOWER "-${CONFIG}.cmake" config)
string(REPLACE ${config} "-@CONFIG@.cmake" text "${text}")
if(UPDATE)
  file(WRITE ${EXPECTED} "${text}")
  return()
endif()
file(READ ${EXPECTED} expected)
if(NOT EXPLORER)
  string(REPLACE "share/doc/tarn/explorer.html\n" "" expected "${expected}")
endif()
if(NOT text STREQUAL expected)
  message(FATAL_ERROR "The installed files are not those of ${EXPECTED}.\n"
                      "Installed:\n${text}\nExpected:\n${expected}")
endif()
