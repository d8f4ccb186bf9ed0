# The steps of a package: prepare, configure, install for others, and one folder for each BuildPackage.
PKG_INSTALL_DIR := $(PKG_BUILD_DIR)/ipkg-install

all: $(OUT)/staging

$(OUT)/prepared:
	$(Build/Prepare)
	touch $@

$(OUT)/configured: $(OUT)/prepared
	$(Build/Configure)
	touch $@

$(OUT)/installed: $(OUT)/configured
	$(Build/Install)
	touch $@

$(OUT)/staging: $(OUT)/installed
	$(call Build/InstallDev,$@)

# Whatever is missing stops here: a package without a title, a section or files.
define BuildPackage
$(eval $(Package/$(1)))
$(foreach name,SECTION CATEGORY TITLE DEPENDS,$(if $($(name)),,$(error $(1) has no $(name))))
$(foreach step,description install,$(if $(value Package/$(1)/$(step)),,$(error $(1) has no $(step))))
$(info $(1): $(DEPENDS))
all: $(OUT)/packages/$(1)
$(OUT)/packages/$(1): $(OUT)/installed
	$(call Package/$(1)/install,$(OUT)/packages/$(1))
endef
