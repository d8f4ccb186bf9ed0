# Debian packages: `cpack -G DEB` in the build folder makes one of the program, one of the shared object and one for
# development. See docs/packaging.md.
set(CPACK_PACKAGE_VENDOR vantu)
set(CPACK_PACKAGE_CONTACT "vantu <packages@vantu.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "platform layer of a Wi-Fi quality-of-service daemon")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL program library development)
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME vantu-wifi-cli)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "iproute2, ipset, iptables")
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
  "Command-line harness: calls one operation of the layer on a gateway and prints what comes back.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvantu-platform${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
  "Shared library: answers what a Wi-Fi daemon asks of its gateway, from the gateway's own tools and files.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantu-platform-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Development files: headers, the archive, and what find_package and pkg-config read.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}), libjson-c-dev")
if(TARGET PkgConfig::netfilter_conntrack)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libnetfilter-conntrack-dev")
endif()
include(CPack)
