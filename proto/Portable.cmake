# Writes the schema file INPUT to OUTPUT with another name for each field in
# RENAMED: _1hx1w becomes size_1hx1w. Bytes, JSON and comments stay the same. It
# fails if such a field is not there exactly once, or if another name has that form.
cmake_minimum_required(VERSION 3.25)
cmake_path(GET INPUT FILENAME file)
file(READ ${INPUT} text)

set(names "No name differs.")
if(RENAMED)
  set(names "These names differ:")
endif()
foreach(old IN LISTS RENAMED)
  set(new size${old})
  string(REGEX MATCHALL "${old}" found "${text}")
  list(LENGTH found count)
  if(NOT count EQUAL 1 OR NOT text MATCHES "\n[^/\n]* ${old} = [0-9]+;")
    message(FATAL_ERROR "${file}: ${old} is there ${count} times, not once as a plain field")
  endif()
  # What protoc makes of the old name for JSON.
  string(SUBSTRING ${old} 1 -1 json)
  string(REGEX REPLACE " ${old} = ([0-9]+);" " ${new} = \\1 [json_name = \"${json}\"];" text
                       "${text}")
  string(APPEND names "\n//   ${old} is ${new}, in JSON ${json}")
endforeach()

string(REGEX REPLACE "//[^\n]*" "" code "${text}")
if(code MATCHES "[^A-Za-z0-9_](_+[0-9][A-Za-z0-9_]*)")
  message(FATAL_ERROR "${file}: ${CMAKE_MATCH_1} becomes a name that begins with a digit in "
                      "some languages, and is not in the list of names to change")
endif()
file(WRITE ${OUTPUT} "// Made from ${file} in the folder above, for the generators of all\n"
                     "// languages. Bytes and JSON are the same. ${names}\n\n${text}")
