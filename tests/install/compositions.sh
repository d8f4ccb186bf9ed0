#!/bin/bash
# Builds the program for every composition but the default one and runs all its tests on the gateway: none may crash,
# whatever the composition leaves out. Of the shipped ones it is known what they find.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/../gateway/lib.sh"

build=${VANTU_BUILD:?the build folder}/compositions
jobs=$(nproc)
station=02:AA:BB:CC:DD:01
export SIM_KEEP=$SIM_KEEP:$build

# configure NAME - in a build folder of its own.
configure() {
	cmake -S "$root" -B "$build/$1" -G "${VANTU_GENERATOR:?}" "-DVANTU_PLATFORM=$1" \
		"-DCMAKE_BUILD_TYPE=$VANTU_BUILD_TYPE" "-DCMAKE_C_COMPILER=$VANTU_CC" "-DCMAKE_CXX_COMPILER=$VANTU_CXX" \
		"-DVANTU_UCI=$VANTU_UCI" "-DVANTU_SANITIZE=$VANTU_SANITIZE" -DVANTU_BUILD_TESTS=OFF -DVANTU_BUILD_BENCH=OFF
}

wrong_name_is_refused() {
	check 'a composition that is not there stops the configuration, with the names of those that are'
	expect_status 1 configure nowhere
	expect_has 'VANTU_PLATFORM is one of hobe-lxc, ' "${err//$'\n' / }"
	expect_has ", not 'nowhere'" "${err//$'\n' / }"
	rm -rf "$build/nowhere"
}

build_and_run() {
	local platform=$1
	check "composition $platform is built"
	need configure "$platform"
	need cmake --build "$build/$platform" --target vantu-wifi-cli -j "$jobs"
	PLATFORM=$platform PROGRAM=$build/$platform/vantu-wifi-cli inside
}

# --- on the gateway ------------------------------------------------------------

# shown TEST - runs a test; $lines are its log lines without time, place and colours.
shown() {
	expect_status 0 "$PROGRAM" -f "$1" -r wl0 -m "$station"
	lines=$(sed -E 's/\x1b\[[0-9;]*m//g; s/^[0-9:]{8} ([A-Z]+) +[^ ]+:[0-9]+: /\1 /' <<<"$err")
}

every_test_runs() {
	local test
	expect_status 1 "$PROGRAM" -h
	mapfile -t tests < <(sed '1,/Supported functions/d; s/ .*//' <<<"$out")
	expect_at_least 20 ${#tests[@]}
	for test in "${tests[@]}" system_setup system_destroy; do
		check "$PLATFORM: $test does not crash"
		shown "$test"
		expect_lacks 'runtime error' "$err"
	done
}

# The bus of a router with radios that iwinfo knows names them.
name_radios() {
	mkdir -p /run/sim/ubus
	printf '{ "devices": [ "wl0", "wl1", "wl2" ] }\n' >/run/sim/ubus/iwinfo.devices
}

found_by_openwrt() {
	check 'openwrt: says so when the bus names no radios'
	rm /run/sim/ubus/iwinfo.devices
	shown get_radios
	expect_has 'ops->get_radios(radios): -1 != 0' "$lines"
	expect_has 'ERROR iwinfo names no devices' "$lines"
	printf '{ "devices": [ 7, "wl1" ] }\n' >/run/sim/ubus/iwinfo.devices
	shown get_radios
	expect_has 'DEBUG   Found 1 radios' "$lines"
	name_radios

	check 'openwrt: radios are listed'
	shown get_radios
	expect_has 'DEBUG   Found 3 radios' "$lines"
	expect_has 'DEBUG  -interface: wl2' "$lines"

	check 'openwrt: leases are listed'
	shown get_dhcpleases
	expect_is 13 "$(grep -cP '^DEBUG \t\t' <<<"$lines")"

	check 'openwrt: devices are listed, stations of all radios among them'
	shown get_associated_devices
	expect_is 'wl0 wl0 wl0 wl1 wl1 wl1 wl2 wl2' \
		"$(sed -nE 's/^DEBUG +interface: +(wl.)/\1/p' <<<"$lines" | paste -sd ' ')"
	expect_is 'eth' "$(sed -nE 's/^DEBUG +interface: +([^w ].*)/\1/p' <<<"$lines" | sort -u)"

	check 'openwrt: flows are listed'
	shown get_conntrack
	expect_at_least 20 "$(sed -nE 's/^DEBUG   got ([0-9]+) flows/\1/p' <<<"$lines")"

	check 'openwrt: rules come and go'
	shown iptables_destroy
	shown iptables_check
	expect_lacks 'iptables_check returned 0' "$lines"
	shown iptables_setup
	shown iptables_check
	expect_has 'DEBUG iptables_check returned 0' "$lines"

	check 'openwrt: members of sets are added, listed and removed'
	shown test_ipset
	expect_has 'TRACE Got 3 members' "$lines"
	expect_has '. 203.0.113.77,udp:19305,192.168.2.133' "$lines"
	expect_has 'DEBUG Done test_ipset' "$lines"

	check 'openwrt: router and WAN are named'
	shown get_router_info
	expect_has 'INFO routerid: 02:00:5E:00:01:01' "$lines"
	expect_has 'INFO vantu_platform_name: openwrt' "$lines"
	shown test_all
	expect_has 'DEBUG   WAN interface: eth3' "$lines"
}

found_by_stubs() {
	local test stub
	while read -r test stub; do
		check "stubs: $test warns"
		shown "$test"
		expect_has "WARN the stub $stub called because the platform did not define it" "$lines"
	done <<-'END'
		get_radios stub_get_radios
		get_dhcpleases stub_nss_dump_leases
		get_conntrack stub_get_conntrack
		get_associated_devices stub_get_associated_devices
		get_data_struct_size stub_get_data_struct_size
		get_data_headers stub_get_data_headers
		is_device_active stub_is_device_active
		get_routerid stub_get_routerid
		get_router_info stub_get_router_info
		iptables_setup stub_iptables_setup
		iptables_check stub_iptables_check
		iptables_destroy stub_iptables_destroy
		test_ipset stub_ipset_cmd_add_member
		system_setup stub_system_setup
		system_destroy stub_system_destroy
	END
	check 'stubs: what has no stub is not there'
	shown get_networks
	expect_has 'function get_networks not implemented!' "$lines"
}

if [[ ${1-} == inside ]]; then
	name_radios
	every_test_runs
	case $PLATFORM in
	openwrt | stubs) "found_by_$PLATFORM" ;;
	esac
else
	wrong_name_is_refused
	for composition in "$root"/platforms/*/vantu-init-ops.cpp; do
		name=${composition%/*}
		name=${name##*/}
		[[ $name == hobe-lxc ]] || build_and_run "$name"
	done
fi
