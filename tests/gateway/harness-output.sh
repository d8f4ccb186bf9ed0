#!/bin/bash
# The program as its users meet it: what it prints and how it exits, in the `home` network. Each run is compared
# with golden/NAME.out, .err and .status; VANTU_UPDATE_GOLDEN=1 (./dev golden) rewrites them.
#
# What differs between two right runs is replaced first: the time of a log line and the source line it came from.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

golden=$case_dir/golden
program=${VANTU_WIFI_CLI:?the program under test}

normalised() {
	sed -E 's/^[0-9]{2}:[0-9]{2}:[0-9]{2} /HH:MM:SS /; s/(\.cpp):[0-9]+:/\1:LINE:/; s|^/[^ ]*/(vantu-wifi-cli: )|\1|' "$1"
}

# compare NAME SUFFIX FILE
compare() {
	local kept=$golden/$1.$2
	if [[ -n ${VANTU_UPDATE_GOLDEN-} ]]; then
		cp "$3" "$kept"
	fi
	expect_is "$(cat "$kept" 2>&1; echo .)" "$(cat "$3"; echo .)"
}

# run NAME COMMAND...
run() {
	local name=$1
	shift
	check "$name"
	"$@" >"$scratch/out" 2>"$scratch/err.raw" </dev/null
	echo $? >"$scratch/status"
	normalised "$scratch/err.raw" >"$scratch/err"
	compare "$name" out "$scratch/out"
	compare "$name" err "$scratch/err"
	compare "$name" status "$scratch/status"
}

# A process without a single privilege, in the same network.
without_privileges() {
	setpriv --bounding-set -all --inh-caps -all "$@"
}

if [[ ${1-} == inside ]]; then
	run help "$program" -h
	run unknown-option "$program" -x
	run missing-argument "$program" -f
	run no-test "$program"
	run unknown-test "$program" -f no_such_test
	run advertised-setup "$program" -f get_system_setup
	run advertised-destroy "$program" -f get_system_destroy
	run system-setup "$program" -f system_setup
	run needs-mac "$program" -f is_device_active -r wl0
	run needs-radio "$program" -f is_device_active -m 02:00:00:00:00:01
	run calculate-issues-needs-mac "$program" -f calculate_issues
	run every-option "$program" -c rows.csv -d platform.so -m 02:00:00:00:00:01 -r wl0 \
		-i 192.168.1.200 -v -f system_destroy
	run dhcpleases "$program" -f get_dhcpleases
	run conntrack "$program" -f get_conntrack

	# Bad input: each ends with its message, an empty result and the exit status of a finished run.
	run conntrack-refused without_privileges "$program" -f get_conntrack
	rm /etc/dhcp_lan.leases
	run leases-missing "$program" -f get_dhcpleases
	mkdir /etc/dhcp_lan.leases
	run leases-a-directory "$program" -f get_dhcpleases
	rmdir /etc/dhcp_lan.leases
	: >/etc/dhcp_lan.leases
	run leases-empty "$program" -f get_dhcpleases
	printf '1767225600 02:00:00:00:00:01 192.168.1.50\n' >/etc/dhcp_lan.leases
	run leases-cut "$program" -f get_dhcpleases

	check 'the result of reading connections'
	expect_status 0 "$VANTU_FLOW_PROBE"
	expect_has $'result 0\n' "$out"
	expect_status 0 without_privileges "$VANTU_FLOW_PROBE"
	expect_out_is 'result -1'
	conntrack -F >/dev/null 2>&1
	expect_status 0 "$VANTU_FLOW_PROBE"
	expect_out_is 'result 0'
	run conntrack-empty "$program" -f get_conntrack

	check 'neighbours are read by the real ip tool'
	expect_status 0 "$VANTU_NEIGH_PROBE"
	expect_out_has $'192.168.1.21\tbr-lan\t02:aa:bb:cc:dd:01\tREACHABLE'
	expect_out_has $'192.168.1.61\tbr-lan\t\tFAILED'
	check 'the state of a router is its last word, not the flag'
	expect_out_has $'fe80::5eff:fe00:301\teth3\t02:00:5e:00:03:01\tREACHABLE'
	check 'a missing ip tool gives no neighbours and no crash'
	expect_status 0 env PATH=/nonexistent "$VANTU_NEIGH_PROBE"
	expect_out_is ''
else
	inside
fi
