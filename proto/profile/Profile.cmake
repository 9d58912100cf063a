# Compiles the library with a profile: its source is compiled with counters, run
# by the trainer, and compiled again with what was counted.
option(SCHEMA_PROFILE "Train a profile and compile the library with it, where that works" ON)

string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
get_directory_property(directory_options COMPILE_OPTIONS)
set(flags "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${build_type}} ${directory_options}")
get_property(multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)

set(obstacle)
if(NOT SCHEMA_PROFILE)
  set(obstacle "SCHEMA_PROFILE is off")
elseif(NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU OR CMAKE_CXX_COMPILER_VERSION VERSION_LESS 11)
  set(obstacle "only g++ 11 and later can do it")
elseif(multi_config)
  set(obstacle "${CMAKE_GENERATOR} builds several configurations at once")
elseif(build_type MATCHES "^(DEBUG|MINSIZEREL)$")
  set(obstacle "a ${CMAKE_BUILD_TYPE} build is not made for speed")
elseif(flags MATCHES "-fsanitize=|--coverage|-fprofile-|-ftest-coverage|-fauto-profile")
  set(obstacle "the compiler flags have ${CMAKE_MATCH_0}, which does not go with it")
elseif(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  set(obstacle "the trainer cannot run here without CMAKE_CROSSCOMPILING_EMULATOR")
endif()
if(obstacle)
  message(STATUS "libschema is compiled without a profile: ${obstacle}")
  return()
endif()

# The compiler derives the name of the profile from these two options, and so
# both compilations name the same file.
set(profile_dir ${PROJECT_BINARY_DIR}/profile)
set(profile ${profile_dir}/schema.gcda)
set(profile_name -dumpdir ${profile_dir}/ -dumpbase schema)
file(MAKE_DIRECTORY ${profile_dir})
add_subdirectory(profile)

# Unrolled and peeled loops and duplicated tails, which a profile brings along,
# make the library larger and not faster. Nor are copying and clearing by string
# instructions, which it makes of all longer ones on amd64, as fast as the C
# library's ways. There, aligning what is jumped to and leaving members
# unvectorized gain another per cent of a serialize.
set(profile_use -fprofile-use -Werror=missing-profile -fno-unroll-loops -fno-peel-loops
                -fno-tracer)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  list(APPEND profile_use -mmemcpy-strategy=unrolled_loop:32:noalign,libcall:-1:noalign
       -mmemset-strategy=unrolled_loop:128:noalign,libcall:-1:noalign -fno-tree-vectorize
       -falign-functions=32 -falign-loops=32)
endif()
target_compile_options(schema PRIVATE ${profile_use} ${profile_name})
set_source_files_properties(schema.cc PROPERTIES OBJECT_DEPENDS ${profile})

# Counters are added to what a profile holds already, so it goes first.
add_custom_command(
  OUTPUT ${profile}
  COMMAND ${CMAKE_COMMAND} -E rm -f ${profile}
  COMMAND schema_trainer
  DEPENDS schema_trainer
  COMMENT "Training the profile of the library"
  VERBATIM)
