# Finds the compiler and the runtime of Protocol Buffers 3.21.x. The generated
# code works with no other version: its headers refuse to compile, and another
# runtime has another soname than libprotobuf.so.32.
set(how_to_get_protobuf
    "On Debian 12 and 13: script/bootstrap, or apt-get install protobuf-compiler libprotobuf-dev.")

# Quiet, because the messages about versions below are our own.
set(Protobuf_FIND_QUIETLY ON)
find_package(Protobuf MODULE QUIET)

if(NOT Protobuf_PROTOC_EXECUTABLE)
  message(FATAL_ERROR "libschema needs protoc of the 3.21 line, and found none.\n"
                      "${how_to_get_protobuf}")
endif()
execute_process(COMMAND ${Protobuf_PROTOC_EXECUTABLE} --version OUTPUT_VARIABLE protoc_version
                OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT protoc_version MATCHES "^libprotoc 3\\.21\\.")
  message(FATAL_ERROR "libschema needs protoc of the 3.21 line; ${Protobuf_PROTOC_EXECUTABLE} "
                      "says \"${protoc_version}\".\n${how_to_get_protobuf}")
endif()
if(NOT Protobuf_INCLUDE_DIR OR NOT Protobuf_LIBRARY)
  message(FATAL_ERROR "libschema needs the headers and the library of Protocol Buffers 3.21, "
                      "and found none.\n${how_to_get_protobuf}")
endif()
if(NOT Protobuf_VERSION MATCHES "^3\\.21\\.")
  message(FATAL_ERROR "libschema needs the headers of Protocol Buffers 3.21; those in "
                      "${Protobuf_INCLUDE_DIR} are of ${Protobuf_VERSION}.\n"
                      "${how_to_get_protobuf}")
endif()
