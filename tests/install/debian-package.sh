#!/bin/bash
# Makes the Debian packages, installs them on this system under a writable layer that is gone afterwards, uses them, and
# removes them: nothing is left behind.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/../gateway/lib.sh"

packages=(vantu-wifi-cli "libvantu-platform${VANTU_VERSION%%.*}" libvantu-platform-dev)

# Where this system is laid out. It is no folder of this case's own: those are removed at the end with all that is in
# them, and nothing of the machine may ever be mounted there.
system=/media

# layer - this system in $system/root, with what is written there in $system/upper. What the packages write to is there
# from the start, as one who is root in a namespace only cannot change what is root's. Of the devices there is only
# the one that scripts need, and no /proc or /sys.
layer() {
	local upper=$system/upper base=$system/root folder
	mount -t tmpfs tmpfs "$system" && mkdir -p "$upper" "$base"/{dev,tmp,root} || return
	prepare_upper "$upper"
	for folder in /*; do
		[[ ! -L $folder ]] || cp -P "$folder" "$base" || return
	done
	for folder in usr etc var; do
		mkdir -p "$base/$folder" "$system/aside/$folder" &&
			mount -t overlay -o "userxattr,lowerdir=/$folder,upperdir=$upper/$folder,workdir=$system/aside/$folder" \
				overlay "$base/$folder" || return
	done
	# The index of manual pages is made anew by a user that there is not in a namespace.
	rm -f "$base/var/lib/man-db/auto-update"
	mount -t tmpfs tmpfs "$base/var/lib/dpkg" && copy_records "$base" &&
		cp "$DEBS"/*.deb "$base/tmp" && cp -R "$case_dir/consumer-c" "$base/tmp" &&
		: >"$base/dev/null" && mount --bind /dev/null "$base/dev/null"
}

# What dpkg knows, without its locks, which only root may read.
copy_records() {
	cp -R /var/lib/dpkg/. "$1/var/lib/dpkg" 2>/dev/null || [[ -s $1/var/lib/dpkg/status ]]
}

prepare_upper() {
	local upper=$1 file
	for file in "$DEBS"/*.deb; do
		dpkg-deb -c "$file"
	done | sed -n 's,^d.* \./,,p' | sort -u >"$system/folders"
	while read -r file; do
		[[ ! -d /$file ]] || mkdir -p "$upper/$file"
	done <"$system/folders"
	mkdir -p "$upper"/{usr,etc,var/log,var/lib/{dpkg,man-db},var/cache/ldconfig}
	for file in etc/ld.so.cache var/log/dpkg.log var/cache/ldconfig/aux-cache; do
		cat "/$file" >"$upper/$file" 2>/dev/null || true
	done
}

within() {
	chroot "$system/root" "$@"
}

# state - the files of the layer, and the packages of the system.
state() {
	find "$system/upper" | sort
	within dpkg-query -W
	within find /var/lib/dpkg/info | sort
}

installed_and_removed() {
	check 'a writable layer over this system'
	need layer
	# A machine that has the packages is as good as one without them.
	within dpkg -P "${packages[@]}" >/dev/null 2>&1
	expect_status 1 within sh -c 'ls /usr/bin/vantu-wifi-cli /usr/lib/libvantu-platform* 2>/dev/null | grep .'
	state >"$scratch/before"

	check 'the packages are installed, with what they depend on'
	need within sh -c 'dpkg -i /tmp/*.deb'
	expect_err_lacks dpkg:

	check 'the program runs'
	expect_status 1 within vantu-wifi-cli -h
	expect_out_has 'Usage: vantu-wifi-cli [options]'
	expect_out_has get_associated_devices

	check 'the manual page and the completion come with it'
	expect_status 0 within dpkg -L vantu-wifi-cli
	[[ ! -e $root/docs/vantu-wifi-cli.8 ]] || expect_out_has /usr/share/man/man8/vantu-wifi-cli.8
	[[ ! -e $root/packaging/completion/vantu-wifi-cli.bash ]] ||
		expect_out_has /usr/share/bash-completion/completions/vantu-wifi-cli

	check 'the shared object is found without being told where'
	expect_status 0 within ldconfig -p
	expect_out_has "libvantu-platform.so.${VANTU_VERSION%%.*} "

	check 'a program is built on the development files, and runs'
	expect_status 0 within env -u PKG_CONFIG_PATH CC="$VANTU_CC" make -s -C /tmp/consumer-c
	expect_status 0 within /tmp/consumer-c/devices-shared
	expect_out_has 'mac,interface'

	check 'the packages are removed without a trace'
	expect_status 0 within dpkg -P "${packages[@]}"
	expect_err_lacks dpkg:
	state >"$scratch/after"
	expect_status 0 diff "$scratch/before" "$scratch/after"
	expect_out_is ''
}

make_packages() {
	check 'three packages are made'
	need cpack -G DEB --config "${VANTU_BUILD:?the build folder}/CPackConfig.cmake" -B "$scratch/packages"
	expect_is 3 "$(find "$scratch/packages" -maxdepth 1 -name '*.deb' | wc -l)"

	check 'they name what they need'
	expect_status 0 dpkg-deb -f "$scratch"/packages/vantu-wifi-cli_*.deb Depends
	expect_out_has libnetfilter-conntrack3
	expect_out_has libjson-c5
	expect_out_has libc6
	expect_status 0 dpkg-deb -f "$scratch"/packages/libvantu-platform-dev_*.deb Depends
	expect_out_has "libvantu-platform${VANTU_VERSION%%.*} (= $VANTU_VERSION)"
	du -b "$scratch"/packages/*.deb | sed 's,\t.*/, bytes: ,'
}

# Without the rights of the machine's root, also for root, as long as the machine has user namespaces.
enter() {
	local namespaces=(unshare --mount --net --pid --fork --kill-child --propagation private)
	if unshare --user --map-root-user "${namespaces[@]:1}" true 2>/dev/null; then
		namespaces=(unshare --user --map-root-user "${namespaces[@]:1}")
	fi
	DEBS=$scratch/packages "${namespaces[@]}" bash "$case_file" inside
	local status=$?
	check 'the part under the layer'
	expect_is 0 "$status"
}

if [[ ${1-} == inside ]]; then
	installed_and_removed
elif ! type -P dpkg-shlibdeps >/dev/null; then
	note 'not a system with Debian packages (dpkg-dev)'
	exit 77
else
	make_packages
	enter
fi
