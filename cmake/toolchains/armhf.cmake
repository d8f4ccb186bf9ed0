# 32-bit ARM with hardware floating point, as most routers have: time_t, off_t and size_t of 32 bits.
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm-static)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
