# The router's configuration store library: header uci.h and library uci. Defines uci::uci when both are there.
find_path(uci_INCLUDE_DIR uci.h)
find_library(uci_LIBRARY uci)
mark_as_advanced(uci_INCLUDE_DIR uci_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(uci REQUIRED_VARS uci_LIBRARY uci_INCLUDE_DIR)
if(uci_FOUND AND NOT TARGET uci::uci)
  add_library(uci::uci UNKNOWN IMPORTED)
  set_target_properties(uci::uci PROPERTIES
    IMPORTED_LOCATION "${uci_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${uci_INCLUDE_DIR}")
endif()
