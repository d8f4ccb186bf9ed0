# Of the OpenWrt build system as much as the package needs: its names, and where things go.
INCLUDE_DIR := $(TOPDIR)
BUILD_DIR := $(OUT)/build
CONFIG_VANTU_PLATFORM := "hobe-lxc"

qstrip = $(strip $(subst ",,$(1)))
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
CP := cp -fpR
