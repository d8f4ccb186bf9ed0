# The build of the package: configured only, since the same sources are built already (INSTALL_FROM).
define Build/Configure
	cmake -S $(PKG_BUILD_DIR) -B $(PKG_BUILD_DIR)/configured $(CMAKE_OPTIONS) > $(OUT)/configure.log
endef

define Build/Install
	cmake --install $(INSTALL_FROM) --prefix $(PKG_INSTALL_DIR)/usr > $(OUT)/install.log
endef
