# The compositions, and the folders of platforms/ that each takes its operations from besides its own. A new gateway is
# a folder with a vantu-init-ops.cpp and a line here.
set(platform_folders_hobe-lxc brcm-generic hobe nf_conntrack openwrt-generic tch-dga4231)
set(platform_folders_openwrt openwrt-generic)
set(platform_folders_stubs "")

file(GLOB compositions CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}/platforms
  ${CMAKE_CURRENT_SOURCE_DIR}/platforms/*/vantu-init-ops.cpp)
list(TRANSFORM compositions REPLACE "/vantu-init-ops.cpp$" "")
set_property(CACHE VANTU_PLATFORM PROPERTY STRINGS ${compositions})
if(NOT VANTU_PLATFORM IN_LIST compositions)
  list(JOIN compositions ", " known)
  message(FATAL_ERROR "VANTU_PLATFORM is one of ${known}, not '${VANTU_PLATFORM}'")
endif()
if(NOT DEFINED platform_folders_${VANTU_PLATFORM})
  message(FATAL_ERROR "cmake/platforms.cmake does not say which folders of platforms/ '${VANTU_PLATFORM}' is made of: "
    "a line \"set(platform_folders_${VANTU_PLATFORM} ...)\" is missing")
endif()
set(platform_folders ${platform_folders_${VANTU_PLATFORM}} ${VANTU_PLATFORM})
