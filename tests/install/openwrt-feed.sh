#!/bin/bash
# Runs the package of packaging/openwrt under stand-ins for the build system's files: its variables, its steps and what it
# installs, but no cross compiler.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/../gateway/lib.sh"

package=$root/packaging/openwrt/vantu-wifi-cli

# A store library as the target has one: the package asks for the system's.
mkdir -p "$scratch/store"
cp "$root/compat/uci/uci.h" "$scratch/store"
: | "${VANTU_CC:?}" -shared -x c - -o "$scratch/store/libuci.so"
export CMAKE_PREFIX_PATH=$scratch/store CMAKE_INCLUDE_PATH=$scratch/store CMAKE_LIBRARY_PATH=$scratch/store

check 'the version is that of the sources'
expect_is "PKG_VERSION:=${VANTU_VERSION:?}" "$(grep PKG_VERSION:= "$package/Makefile")"

check 'every step of the package runs'
need make -s -C "$package" TOPDIR="$case_dir/openwrt" OUT="$scratch/out" INSTALL_FROM="${VANTU_BUILD:?}"
expect_out_has 'libvantu-platform: +libjson-c +libuci +libnetfilter-conntrack'
expect_out_has 'vantu-wifi-cli: +libjson-c +libuci +libnetfilter-conntrack +ip-full +conntrack +ipset +iptables'

check 'the sources are copied without what was built'
expect_status 1 test -e "$scratch/out/build/vantu-wifi-cli-$VANTU_VERSION/build"
expect_status 0 test -e "$scratch/out/build/vantu-wifi-cli-$VANTU_VERSION/CMakeLists.txt"

check 'they are configured for the gateway, with the store of the system'
expect_has 'libuci.so' "$(<"$scratch/out/configure.log")"
expect_status 0 grep -c '^VANTU_PLATFORM:.*=hobe-lxc$' \
	"$scratch/out/build/vantu-wifi-cli-$VANTU_VERSION/configured/CMakeCache.txt"

check 'each package has its files and no other'
expect_is './usr/bin/vantu-wifi-cli' "$(cd "$scratch/out/packages/vantu-wifi-cli" && find . ! -type d)"
expect_is "./usr/lib/libvantu-platform.so.0 ./usr/lib/libvantu-platform.so.$VANTU_VERSION" \
	"$(cd "$scratch/out/packages/libvantu-platform" && find . ! -type d | sort | paste -sd ' ')"
expect_status 0 test -e "$scratch/out/staging/usr/include/vantu-sclist/sclist.h"
expect_status 0 test -e "$scratch/out/staging/usr/lib/libvantu-platform.a"
