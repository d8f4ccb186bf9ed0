# A big-endian machine with 64 bits: no router has one, but whatever depends on the order of bytes fails on it.
set(triplet s390x-linux-gnu)
set(emulator qemu-s390x-static)
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
