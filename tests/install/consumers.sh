#!/bin/bash
# Installs into an empty folder, looks at what is there, builds two outside programs on it, and runs them on the
# gateway.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/../gateway/lib.sh"

build=${VANTU_BUILD:?the build folder}
libdir=${VANTU_LIBDIR:?the folder of libraries below the prefix}
export CC=${VANTU_CC:?} CXX=${VANTU_CXX:?} CFLAGS=${VANTU_FLAGS-} CXXFLAGS=${VANTU_FLAGS-} LDFLAGS=${VANTU_FLAGS-}
export SIM_KEEP=$SIM_KEEP:$scratch
prefix=$scratch/prefix
lib=$prefix/$libdir

# declared_functions HEADER... - what the compiler says that these declare for others to link to.
declared_functions() {
	printf '#include <%s>\n' "${@#"$prefix/include/"}" >"$scratch/all.c"
	need "$CC" -std=c11 "-I$prefix/include" -fsyntax-only -aux-info "$scratch/declared" "$scratch/all.c"
	sed -nE "s,^/\* $prefix/.* extern [^(]*[ *]([A-Za-z0-9_]+) \(.*,\1,p" "$scratch/declared"
}

declared_variables() {
	sed -nE 's/^extern [^"(]*[ *]([A-Za-z0-9_]+);$/\1/p' "$@"
}

what_is_installed() {
	local headers file
	check 'everything is installed'
	need cmake --install "$build" --prefix "$prefix"
	for file in bin/vantu-wifi-cli include/vantu-platforms/vantu-platform-ops.h "$libdir/libvantu-platform.a" \
		"$libdir"/libvantu-platform.so "$libdir/pkgconfig/vantu-platform.pc" \
		"$libdir/cmake/vantu-platform/vantu-platform-config.cmake"; do
		expect_status 0 test -e "$prefix/$file"
	done
	(cd "$root" && printf '%s\n' */include/*/*.h | sed 's,^[^/]*/,,' | sort) >"$scratch/public"
	(cd "$prefix" && find include -type f | sort) >"$scratch/installed"
	expect_status 0 diff "$scratch/public" "$scratch/installed"
	expect_out_is ''

	check 'a program finds the shared object by its major version'
	expect_status 0 readelf -d "$lib/libvantu-platform.so"
	expect_out_has "soname: [libvantu-platform.so.${VANTU_VERSION%%.*}]"
	expect_is "libvantu-platform.so.$VANTU_VERSION" "$(basename "$(readlink -f "$lib/libvantu-platform.so")")"

	if [[ $("$CC" --version) != *'Free Software Foundation'* ]]; then
		note 'only the GNU compiler lists declarations: exports are not compared'
		return
	fi
	check 'the shared object exports what the headers declare, and nothing else'
	mapfile -t headers < <(find "$prefix/include" -name '*.h')
	{
		declared_functions "${headers[@]}"
		declared_variables "${headers[@]}"
	} | sort -u >"$scratch/want"
	nm -D --defined-only "$lib/libvantu-platform.so" | awk '{ print $3 }' | sort >"$scratch/exported"
	expect_at_least 200 "$(wc -l <"$scratch/want")"
	expect_has global_ops "$(<"$scratch/want")"
	expect_status 0 diff "$scratch/want" "$scratch/exported"
	expect_out_is ''
}

build_consumers() {
	check 'a program in C is built with pkg-config and make'
	need cp -R "$case_dir/consumer-c" "$case_dir/consumer-cpp" "$scratch"
	export PKG_CONFIG_PATH=$lib/pkgconfig
	need make -s -C "$scratch/consumer-c"

	check 'a program in C++ is built with find_package'
	unset PKG_CONFIG_PATH
	need cmake -S "$scratch/consumer-cpp" -B "$scratch/consumer-cpp/build" "-DCMAKE_PREFIX_PATH=$prefix"
	need cmake --build "$scratch/consumer-cpp/build"

	check 'the installed tree may be moved'
	expect_status 1 grep -rl "$prefix\|$build" "$prefix"/{include,"$libdir"/{cmake,pkgconfig}}
	expect_out_is ''
}

# Which of the programs load the library.
links() {
	readelf -d "$1" | grep -c 'NEEDED.*libvantu-platform' || true
}

on_the_gateway() {
	local program kind
	for kind in shared static; do
		check "the program in C lists the devices of the home ($kind)"
		program=$SCRATCH/consumer-c/devices-$kind
		expect_status 0 env LD_LIBRARY_PATH="$LIB" "$program"
		expect_out_has $'mac,interface\n02:AA:BB:CC:DD:01,wl0\n'
		expect_out_has $'\n02:AA:BB:CC:EE:01,eth'
		expect_is "$([[ $kind == static ]] || echo 1)" "$(links "$program" | grep -v 0)"
	done
	for kind in '' -static; do
		check "the program in C++ knows the leases of the home (leases$kind)"
		program=$SCRATCH/consumer-cpp/build/leases$kind
		expect_status 0 "$program" '02:AA:BB:CC:DD:01,02:aa:bb:cc:ee:99'
		expect_out_is $'13 leases\n02:AA:BB:CC:DD:01 is living-room-laptop\n02:aa:bb:cc:ee:99 is nobody'
		expect_is "$([[ $kind ]] || echo 1)" "$(links "$program" | grep -v 0)"
	done
}

if [[ ${1-} == inside ]]; then
	on_the_gateway
else
	what_is_installed
	build_consumers
	SCRATCH=$scratch LIB=$lib inside
fi
