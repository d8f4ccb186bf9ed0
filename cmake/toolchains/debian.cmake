# What the toolchain files of this folder share: Debian's cross compiler for the machine `triplet`, the libraries of
# Debian's architecture for it beside the host's own, and QEMU's user mode, under which its programs run.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(PKG_CONFIG_EXECUTABLE /usr/bin/${triplet}-pkg-config)
# Programs of the build are the host's; libraries are looked for where the architecture keeps its own.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_IGNORE_PREFIX_PATH /usr/local)

# The loader and the C library are installed where the program looks for them: QEMU needs no folder of its own.
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator})
