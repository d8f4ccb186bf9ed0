#!/bin/bash
# Radios and client devices as the program lists them: in a home, in a crowded network, and where everything is broken.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}

# shown TEST [OPTION...] - runs a test; $lines are its log lines without time, place and colours.
shown() {
	expect_status 0 "$program" -f "$@"
	lines=$(sed -E 's/\x1b\[[0-9;]*m//g; s/^[0-9:]{8} ([A-Z]+) +[^ ]+:[0-9]+: /\1 /' <<<"$err")
}

# field LABEL - the values that the listing shows behind a label, in order, blanks between.
field() {
	sed -nE "s/^DEBUG +(- )?$1: +//p" <<<"$lines" | tr '\n' ' '
}

# runs ARGUMENTS - how often wlctl was run with them since its log was emptied.
runs() {
	grep -cE "^wlctl $1\$" /run/sim/tools.log
}

in_home() {
	check 'every device of the home is listed, in the order of the leases'
	shown get_associated_devices
	expect_has 'DEBUG   Found 12 devices' "$lines"
	expect_is '02:AA:BB:CC:DD:01 02:AA:BB:CC:DD:02 02:AA:BB:CC:DD:03 02:AA:BB:CC:DD:11 02:AA:BB:CC:DD:12 02:AA:BB:CC:DD:13 02:AA:BB:CC:DD:21 02:AA:BB:CC:DD:22 02:AA:BB:CC:EE:01 02:AA:BB:CC:EE:02 2856116481 2856116482 ' "$(field mac)"
	expect_is 'wl0 wl0 wl0 wl1 wl1 wl1 wl2 wl2 eth eth eth eth ' "$(field interface)"
	expect_is '1 1 1 1 1 1 1 1 0 0 0 0 ' "$(field is_wifi)"
	expect_is '-50 -60 -74 -66 -82 -62 -52 -85 0 0 0 0 ' "$(field rssi)"
	expect_is '-91 -90 -90 -86 -86 -86 -93 -93 0 0 0 0 ' "$(field noise)"
	expect_is '192.168.1.21 192.168.1.22 192.168.1.23 192.168.1.31 192.168.1.32 192.168.1.33 192.168.1.41 192.168.1.42 192.168.1.51 192.168.1.52 fd42:c0de:1::21 fd42:c0de:1::51 ' "$(field ip)"
	check 'the phone that left the house is not listed'
	expect_lacks 02:AA:BB:CC:DD:7F "$lines"
	check 'no reader complains in a home'
	expect_lacks ERROR "$lines"
	expect_lacks 'error in brcm' "$lines"

	check 'the three radios are listed and read the way a daemon does'
	shown get_radios
	expect_has 'DEBUG   Found 3 radios' "$lines"
	expect_is 'wl0 wl1 wl2 ' "$(sed -nE 's/^DEBUG +-interface: +//p' <<<"$lines" | tr '\n' ' ')"
	expect_has $'INFO New radio found wl0\nINFO New radio found wl1\nINFO New radio found wl2' "$lines"

	check 'a station with traffic is active, one without is not'
	shown is_device_active -r wl0 -m 02:aa:bb:cc:dd:01
	expect_has 'DEBUG Active: 1' "$lines"
	shown is_device_active -r wl1 -m 02:aa:bb:cc:dd:12
	expect_has 'DEBUG Active: 0' "$lines"
	check 'a station that the driver does not know counts as active'
	shown is_device_active -r wl0 -m 02:00:00:00:00:99
	expect_has 'DEBUG Active: 1' "$lines"

	check 'the size of a row and its header'
	shown get_data_struct_size
	expect_at_least 900 "$(sed -nE 's/^DEBUG   got size: //p' <<<"$lines")"
	shown get_data_headers
	expect_has 'DEBUG   chanspec,tx,inbss,' "$lines"
	expect_is 69 "$(sed -nE 's/^DEBUG   (chanspec,.*,wan_tx_bytes)$/\1/p' <<<"$lines" | tr ',' '\n' | wc -l)"

	check 'the operations that this platform lacks say so'
	local name
	for name in get_host_ip get_ap_neighbors get_networks get_systeminfo; do
		shown "$name"
		expect_has "DEBUG   function $name not implemented!" "$lines"
		expect_err_has "_check_funcptr(\"$name\", ops->$name): -1 != 0 "
	done
}

in_crowded() {
	check 'a listing runs the tools that it must, and no others'
	local started=$SECONDS seconds chanims
	: >/run/sim/tools.log
	shown get_associated_devices
	seconds=$((SECONDS - started + 1))
	expect_is 64 "$(field is_wifi | tr ' ' '\n' | grep -c 1)"
	expect_is 3 "$(runs '-i wl[0-2] assoclist')"
	expect_is 64 "$(runs '-i wl[0-2] sta_info 02:[0-9A-F:]*')"
	expect_is 64 "$(runs '-i wl[0-2] wme_counters')"
	# Once a radio and second: the figures are kept that long.
	chanims=$(runs '-i wl[0-2] chanim_stats')
	expect_at_least 3 "$chanims"
	expect_at_least "$chanims" $((3 * (seconds + 1)))
	expect_is $((3 + 64 + 64 + chanims)) "$(wc -l </run/sim/tools.log)"
	expect_lacks ERROR "$lines"
}

in_broken() {
	check 'where everything is broken each test still ends, with its messages'
	shown get_radios
	expect_has 'DEBUG   Found 3 radios' "$lines"
	expect_has 'DEBUG Done get_radios' "$lines"
	expect_has 'INFO New radio found wl2' "$lines"
	shown get_associated_devices
	expect_has 'DEBUG Done get_associated_devices' "$lines"
	expect_has 'ERROR ' "$lines"
	expect_has 'ERROR Error parsing dhcp ' "$lines"
	expect_has 'DEBUG error in brcm_fill_data_struct -' "$lines"
	expect_has 'ERROR Error getting assoclist for wl' "$lines"
	shown get_data_struct_size
	expect_has 'DEBUG   got size: ' "$lines"
	shown get_data_headers
	expect_has ',wan_tx_bytes' "$lines"
	local radio
	for radio in wl0 wl1 wl2; do
		shown is_device_active -r "$radio" -m 02:00:00:00:00:99
		expect_has 'DEBUG Active: 1' "$lines"
	done
}

case ${1-} in
inside) "in_$SIM_SCENARIO" ;;
*)
	for scenario in home crowded broken; do
		inside --scenario "$scenario"
	done
	;;
esac
