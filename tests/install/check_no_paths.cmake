# Fails when a file in STAGE, other than debug information, names one of the
# folders in FORBIDDEN: such a tree would stop working when it is moved.
cmake_minimum_required(VERSION 3.25)
file(GLOB_RECURSE files LIST_DIRECTORIES false ${STAGE}/*)
list(FILTER files EXCLUDE REGEX "\\.debug$")
list(LENGTH files count)
if(count LESS 10)
  message(FATAL_ERROR "Only ${count} files in ${STAGE}.")
endif()
foreach(folder IN LISTS FORBIDDEN)
  execute_process(COMMAND grep -rlF --exclude=*.debug -e ${folder} ${STAGE}
                  OUTPUT_VARIABLE found RESULT_VARIABLE status)
  if(NOT status EQUAL 1)
    message(SEND_ERROR "These name ${folder}:\n${found}")
  endif()
endforeach()
