# Toolchain: cross-builds for 64-bit Arm with Debian's compiler and libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
# Runs the programs that it builds with the loader and libraries of Debian's
# arm64 packages.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
