# 64-bit ARM, where char has no sign.
set(triplet aarch64-linux-gnu)
set(emulator qemu-aarch64-static)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
