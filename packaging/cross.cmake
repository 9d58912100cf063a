# Toolchain: cross-builds with Debian's compiler and libraries for the processor
# that SCHEMA_PROCESSOR names as Debian does, and runs what it builds with the
# loader and libraries of Debian's packages for it.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SCHEMA_PROCESSOR)
set(CMAKE_SYSTEM_NAME Linux)
if(SCHEMA_PROCESSOR STREQUAL arm64)
  set(CMAKE_SYSTEM_PROCESSOR aarch64)
  set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
elseif(SCHEMA_PROCESSOR STREQUAL armhf)
  set(CMAKE_SYSTEM_PROCESSOR arm)
  set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
elseif(SCHEMA_PROCESSOR STREQUAL s390x)
  set(CMAKE_SYSTEM_PROCESSOR s390x)
  set(CMAKE_LIBRARY_ARCHITECTURE s390x-linux-gnu)
else()
  message(FATAL_ERROR "SCHEMA_PROCESSOR is \"${SCHEMA_PROCESSOR}\", not arm64, armhf or s390x.")
endif()
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR})
