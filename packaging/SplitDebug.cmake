# Moves the debug information of LIBRARY into DEBUG_FILE beside it, and names
# that file in the library's debug link. OBJCOPY is the tool to use.
cmake_minimum_required(VERSION 3.25)
get_filename_component(folder ${DEBUG_FILE} DIRECTORY)
get_filename_component(name ${DEBUG_FILE} NAME)
# objcopy takes the name for the link from the path it is given, so it is run
# where the file is.
foreach(arguments
        "--only-keep-debug;${LIBRARY};${name}"
        "--strip-unneeded;--remove-section=.comment;${LIBRARY}"
        "--add-gnu-debuglink=${name};${LIBRARY}")
  execute_process(COMMAND ${OBJCOPY} ${arguments} WORKING_DIRECTORY ${folder}
                          COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(COMMAND chmod -x ${name} WORKING_DIRECTORY ${folder})
