# Compiles for the Cortex-M3 of the board MPS2 with the image AN385, which
# qemu-system-arm has as mps2-an385: 4 MiB of flash at 0, 4 MiB of RAM. Another
# chip needs its own processor, addresses, and line_*.c.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-m3 -mthumb --specs=picolibc.specs")
string(CONCAT CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--fatal-warnings"
              " -Wl,--defsym=__flash=0,--defsym=__flash_size=0x400000"
              " -Wl,--defsym=__ram=0x20000000,--defsym=__ram_size=0x400000")
