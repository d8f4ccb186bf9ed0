# How this project is compiled and linked; every target of it links to vantu-compiler.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(vantu-compiler INTERFACE)
target_compile_options(vantu-compiler INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wundef -Wvla -Wformat=2 -Werror)
target_compile_definitions(vantu-compiler INTERFACE _GNU_SOURCE)

# The shipped code throws nothing and needs no run-time type information; without them the C++ runtime
# library is not needed on the router at all.
add_library(vantu-product INTERFACE)
target_compile_options(vantu-product INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections
  # Scores must not differ from one machine to the next: no fused multiply-add.
  -ffp-contract=off)
target_link_libraries(vantu-product INTERFACE vantu-compiler)
target_link_options(vantu-product INTERFACE -Wl,--gc-sections -Wl,--as-needed -static-libgcc)

if(VANTU_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # With them the compiler takes variables of the standard library for uninitialized.
  add_compile_options(${sanitizers} -Wno-maybe-uninitialized)
  add_link_options(${sanitizers})
endif()
if(VANTU_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(VANTU_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# vantu_library(NAME SOURCES...): one floor's library with its public headers under include/.
function(vantu_library name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>)
  target_link_libraries(${name} PRIVATE vantu-product)
endfunction()
