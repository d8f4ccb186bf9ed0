#!/bin/bash
# Sets, rules and the router's identity where something is wrong: a clear message, the result of a finished run, and
# nothing changed that should not be.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}
probe=${VANTU_MARKING_PROBE:?the probe}

# shown TEST - runs a test; $lines are its log lines without time, place and colours.
shown() {
	expect_status 0 "$program" -f "$@"
	lines=$(sed -E 's/\x1b\[[0-9;]*m//g; s/^[0-9:]{8} ([A-Z]+) +[^ ]+:[0-9]+: /\1 /' <<<"$err")
}

# fault TOOL FAULT VALUE PATTERN - from the next call on.
fault() {
	printf '%s\n' "$*" >>/run/sim/faults
}

no_faults() {
	rm -f /run/sim/faults
}

members() {
	ipset list "$1" 2>/dev/null | sed '1,/^Members/d' | sort
}

bad_sets() {
	local udp=203.0.113.5,udp:443,192.168.1.21

	check 'flows are not added to a set that does not exist'
	expect_status 0 "$probe" add vantuvi 17 192.168.1.21 5000 203.0.113.5 443
	expect_out_is 0
	expect_err_has "Member already in set $udp"
	expect_err_has 'The set with the given name does not exist'
	check 'nothing is cleaned from one either'
	expect_status 0 "$probe" clean vantuvi
	expect_out_is 0
	check 'the test of the sets fails without them'
	shown test_ipset
	expect_err_has 'n_members: 0 != 3 '
	expect_lacks 'Done test_ipset' "$lines"

	check 'a full set keeps what it has'
	need ipset create vantuvi hash:ip,port,ip maxelem 1
	expect_status 0 "$probe" add vantuvi 17 192.168.1.21 5000 203.0.113.5 443 17 192.168.1.22 5000 203.0.113.5 443
	expect_out_is 1
	expect_err_has 'Member already in set 203.0.113.5,udp:443,192.168.1.22'
	expect_is "$udp" "$(members vantuvi)"

	check 'a flow of an unknown protocol changes nothing'
	expect_status 0 "$probe" add vantuvi 47 192.168.1.23 0 203.0.113.6 0
	expect_out_is 0
	expect_err_has 'Member already in set 203.0.113.6,err:0,192.168.1.23'
	expect_is "$udp" "$(members vantuvi)"

	check 'a set that holds other members fails the test, and keeps them'
	need ipset create vantuvi6 hash:ip,port,ip family inet6
	shown test_ipset
	expect_err_has 'n_members: 1 != 3 '
	expect_is "$udp" "$(members vantuvi)"

	check 'without the tool nothing is added, and nothing hangs'
	need ipset flush vantuvi
	need mount --bind /dev/null /usr/sbin/ipset
	shown test_ipset
	expect_err_has 'n_members: 0 != 3 '
	need umount /usr/sbin/ipset

	check 'empty sets pass the test, twice'
	need ipset destroy vantuvi
	need ipset create vantuvi hash:ip,port,ip
	shown test_ipset
	expect_has 'DEBUG Done test_ipset' "$lines"
	shown test_ipset
	expect_has 'DEBUG Done test_ipset' "$lines"
	expect_is '' "$(members vantuvi)$(members vantuvi6)"
	expect_has 'fcctl flush' "$(cat /run/sim/tools.log)"
}

rules() {
	check "under the router's shell the check fails for a chain that is not there"
	expect_is busybox "$(basename "$(readlink -f /bin/sh)")"
	shown iptables_check
	expect_lacks 'DEBUG iptables_check returned 0' "$lines"
	expect_has 'DEBUG iptables_check returned ' "$lines"
	check 'it succeeds for one that is'
	shown iptables_setup
	shown iptables_check
	expect_has 'DEBUG iptables_check returned 0' "$lines"
	check 'it leaves a file named 1 in the working directory, which stays so'
	expect_is yes "$([[ -e 1 ]] && echo yes)"
	check 'setting up twice makes the chain once'
	shown iptables_setup
	expect_is 1 "$(iptables -t mangle -S FORWARD | grep -c vantu_vi_zone)"
	check 'it is taken away'
	shown iptables_destroy
	shown iptables_check
	expect_lacks 'DEBUG iptables_check returned 0' "$lines"

	check 'a script that is missing changes no rules'
	local before
	before=$(iptables-save -t mangle; ip6tables-save -t mangle)
	need mv /usr/bin/vantu-iptables-functions.sh "$scratch/"
	shown iptables_setup
	expect_err_has 'vantu-iptables-functions.sh'
	expect_is "$before" "$(iptables-save -t mangle; ip6tables-save -t mangle)"
	need mv "$scratch/vantu-iptables-functions.sh" /usr/bin/
}

identity() {
	check 'a ubus that hangs for two seconds is waited for'
	fault ubus delay 2000 '*"serial"*'
	shown get_routerid
	expect_has 'DEBUG   Router ID: SN' "$lines"
	no_faults

	check 'a reply that is cut is no reply'
	fault ubus bytes 9 '*'
	shown get_routerid
	expect_is 'DEBUG   Router ID:' "$(grep 'Router ID' <<<"$lines" | sed 's/ *$//')"
	expect_lacks Found "$lines"
	shown get_router_info
	expect_has 'INFO hardware_model:' "$lines"
	expect_lacks 'TRACE Found' "$lines"
	expect_has "INFO kernel_version: $(uname -r)" "$lines"
	no_faults

	check 'a value from a tool that failed is not called found'
	fault ubus status 7 '*"prod_number"*'
	shown get_router_info
	expect_lacks 'Found hardware model' "$lines"
	expect_has 'Found basemac' "$lines"
	no_faults

	check 'so it is without the socket of the host'
	need rm /var/run/lxc_ipc/ubus.sock
	shown get_router_info
	expect_lacks 'TRACE Found' "$lines"
	expect_has "INFO kernel_version: $(uname -r)" "$lines"
}

if [[ ${1-} == inside ]]; then
	cd "$scratch" || exit 1
	"$2"
else
	for part in bad_sets rules identity; do
		"$gateway" --scenario home bash "$case_file" inside "$part"
		status=$?
		checking=$part
		expect_is 0 "$status"
	done
fi
