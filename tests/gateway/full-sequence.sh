#!/bin/bash
# The full test sequence, and the tests of identity, sets and rules, on every network: where sampling works the sequence
# stops at the check that wants it to fail; where it fails the sequence goes on, to its end.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}

# shown TEST - runs a test; $lines are its log lines without time, place and colours.
shown() {
	expect_status 0 "$program" -f "$@"
	lines=$(sed -E 's/\x1b\[[0-9;]*m//g; s/^[0-9:]{8} ([A-Z]+) +[^ ]+:[0-9]+: /\1 /' <<<"$err")
}

# first_places TEXT... - of the lines that begin with the texts, in the order of the texts.
first_places() {
	local text
	for text in "$@"; do
		awk -v text="$text" 'index($0, text) == 1 { print NR; found = 1; exit } END { if (!found) print "missing" }' \
			<<<"$lines"
	done
}

expect_in_order() {
	local places
	places=$(first_places "$@")
	expect_lacks missing "$places"
	expect_is "$(sort -n <<<"$places")" "$places"
}

identity_and_rules() {
	check "$SIM_SCENARIO: who the router is"
	shown get_router_info
	expect_has 'INFO vantu_platform_name: hobe-lxc' "$lines"
	shown get_routerid
	expect_has 'DEBUG   Router ID: ' "$lines"

	check "$SIM_SCENARIO: the rules are made, found and taken away"
	shown iptables_setup
	shown iptables_check
	expect_has 'DEBUG iptables_check returned 0' "$lines"
	check "$SIM_SCENARIO: the script has made the sets"
	shown test_ipset
	expect_has 'DEBUG Done test_ipset' "$lines"
	shown iptables_destroy
	shown iptables_check
	expect_lacks 'DEBUG iptables_check returned 0' "$lines"
	need ipset destroy
	: >/run/sim/tools.log
}

stops_at_the_samples() {
	check "$SIM_SCENARIO: working samples stop the sequence"
	shown test_all
	expect_in_order 'TRACE ----Testing all functions----' 'TRACE Testing get_routerid' \
		'DEBUG   Found 3 radios' 'DEBUG Done get_associated_devices' 'INFO utilization:'
	expect_is 'test_sample_radio_stats(ops) failed!' "$(tail -n 1 <<<"$lines")"
	expect_lacks 'INFO signal:' "$lines"
}

stops_without_devices() {
	check "$SIM_SCENARIO: without devices there is nothing to go on with"
	shown test_all
	expect_in_order 'DEBUG No devices found ending test!' 'size!=0 failed!'
	expect_is 'size!=0 failed!' "$(tail -n 1 <<<"$lines")"
	expect_lacks 'INFO utilization:' "$lines"
}

# With what the tools were asked for, each run of the same question as one.
tools_in_order() {
	sed -E 's/^wlctl -i wl[0-9]+ ([a-z_]+).*/\1/; s/^ubus .*"option": "([a-z_]+)".*/\1/' /run/sim/tools.log | uniq
}

runs_the_tools_in_order() {
	check "$SIM_SCENARIO: the tools were run in the order of the sequence"
	expect_is "$(printf '%s\n' serial assoclist chanim_stats sta_info wme_counters)" \
		"$(tools_in_order | awk '!seen[$0]++' | head -n 5)"
	expect_is 'fcctl flush' "$(tail -n 1 /run/sim/tools.log)"
}

goes_to_the_end() {
	check "$SIM_SCENARIO: failing samples let the sequence go to its end"
	shown test_all
	expect_in_order \
		'TRACE ----Testing all functions----' \
		'DEBUG function pointers after platform_platform_init_ops(): (1=set, 0=not set)' \
		'TRACE Testing system_setup' \
		'TRACE Testing get_routerid' \
		'TRACE Testing get_host_ip' \
		'DEBUG   function get_routermac not implemented!' \
		'DEBUG   function get_routerbasemac not implemented!' \
		'DEBUG   function get_systeminfo not implemented!' \
		'DEBUG   Found 3 radios' \
		'TRACE Testing get_dhcpleases' \
		'DEBUG Done get_associated_devices' \
		'ops->sample_radio_stats(radio->interface, &stats, 0): -1 != 0 ' \
		'ops->sample_sta_stats(dev->interface, dev->mac, &stats, 0): -1 != 0 ' \
		'TRACE Testing get_conntrack' \
		'DEBUG   chanspec,tx,inbss,' \
		'DEBUG -----CSV out done-------' \
		'DEBUG Done csv_functions' \
		'DEBUG Done calculate_delta' \
		'DEBUG Creating vantuvi ipset. Error might appear due to already being created.' \
		'DEBUG Done test_ipset' \
		'TRACE test_get_ap_neighbors' \
		'TRACE Testing system_destroy'
	expect_lacks ' failed!' "$lines"
	check "$SIM_SCENARIO: a header and two rows were written"
	expect_is 3 "$(wc -l <cli-test.csv)"
	check "$SIM_SCENARIO: its sets are there, and empty"
	expect_is 'vantuvi vantuvi6 ' "$(ipset list -n | tr '\n' ' ')"
	expect_is '' "$(ipset list | sed -n '/^Members/{n;/^$/!p}' | grep -v '^Name')"
	# Where ubus is broken too there is less to see.
	[[ $SIM_SCENARIO == broken ]] || runs_the_tools_in_order
	check "$SIM_SCENARIO: a second run finds the sets and ends as well"
	shown test_all
	expect_has 'TRACE Testing system_destroy' "$lines"
}

if [[ ${1-} == inside ]]; then
	cd "$scratch" || exit 1
	identity_and_rules
	case $SIM_SCENARIO in
	bare) stops_without_devices ;;
	broken | counterless) goes_to_the_end ;;
	*) stops_at_the_samples ;;
	esac
else
	for scenario in "$scenarios"/*/; do
		scenario=${scenario%/}
		inside --scenario "${scenario##*/}"
	done
fi
