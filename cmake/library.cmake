# What a daemon links to: all floors as one archive and as one shared object, their public headers, and how
# find_package and pkg-config find them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(cmake/exports.cmake)

set(floors ${own_store} vantu-sclist vantu-ll-api vantu-libs2 vantu-platforms)
list(TRANSFORM floors REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
set(header_folders sclist ll-api platforms libs2)

# What the archive needs, as targets and as link flags.
set(needed_targets PkgConfig::json-c)
set(needed_flags -ljson-c -lm)
if(TARGET PkgConfig::netfilter_conntrack)
  list(PREPEND needed_targets PkgConfig::netfilter_conntrack)
  list(PREPEND needed_flags -lnetfilter_conntrack)
endif()
if(NOT own_store)
  list(PREPEND needed_targets uci::uci)
  list(PREPEND needed_flags -luci)
endif()

add_library(vantu-platform-static STATIC ${objects})
set_target_properties(vantu-platform-static PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME vantu-platform)
target_link_libraries(vantu-platform-static INTERFACE ${needed_targets} m)

# Of the shared object a program sees the functions of the public headers only; what lies behind them may change.
set(export_list ${PROJECT_BINARY_DIR}/vantu-platform.map)
foreach(folder IN LISTS header_folders)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/include/*/*.h)
  list(APPEND public_headers ${headers})
endforeach()
vantu_export_list(${export_list} ${public_headers})
add_library(vantu-platform SHARED ${objects})
set_target_properties(vantu-platform PROPERTIES LINKER_LANGUAGE CXX LINK_DEPENDS ${export_list}
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_link_libraries(vantu-platform PRIVATE vantu-product ${needed_targets} m)
target_link_options(vantu-platform PRIVATE -Wl,--version-script=${export_list} -Wl,-Bsymbolic-functions)

foreach(target vantu-platform vantu-platform-static)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
install(TARGETS vantu-platform vantu-platform-static EXPORT vantu-platform
  ARCHIVE COMPONENT development
  LIBRARY COMPONENT library NAMELINK_COMPONENT development)
foreach(folder IN LISTS header_folders)
  install(DIRECTORY ${folder}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vantu-platform)
configure_package_config_file(cmake/vantu-platform-config.cmake.in vantu-platform-config.cmake
  INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(vantu-platform-config-version.cmake COMPATIBILITY SameMinorVersion)
set(package_files ${CMAKE_CURRENT_BINARY_DIR}/vantu-platform-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vantu-platform-config-version.cmake)
if(NOT own_store)
  list(APPEND package_files ${PROJECT_SOURCE_DIR}/cmake/Finduci.cmake)
endif()
install(FILES ${package_files} DESTINATION ${package_dir} COMPONENT development)
install(EXPORT vantu-platform NAMESPACE vantu-platform:: FILE vantu-platform-targets.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The installed tree may be moved: the file finds its prefix from where it stands.
file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
list(JOIN needed_flags " " private_libraries)
configure_file(cmake/vantu-platform.pc.in vantu-platform.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vantu-platform.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
