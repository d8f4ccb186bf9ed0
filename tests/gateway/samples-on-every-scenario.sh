#!/bin/bash
# Samples and issues on every network: where all is well each radio and station is sampled; where a source fails the
# test ends with the message of that source.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}
rows=$root/tests/fixtures/data_rows/brcm/samples.txt

# shown TEST [OPTION...] - runs a test; $lines are its log lines without time, place and colours.
shown() {
	expect_status 0 "$program" -f "$@"
	lines=$(sed -E 's/\x1b\[[0-9;]*m//g; s/^[0-9:]{8} ([A-Z]+) +[^ ]+:[0-9]+: /\1 /' <<<"$err")
}

count() {
	grep -cE "$1" <<<"$lines"
}

radio_sample_failed='ops->sample_radio_stats(radio->interface, &stats, 0): -1 != 0 '
station_sample_failed='ops->sample_sta_stats(dev->interface, dev->mac, &stats, 0): -1 != 0 '

radios_are_sampled() {
	check "$SIM_SCENARIO: each radio is sampled"
	shown sample_radio_stats
	expect_is 3 "$(count '^INFO utilization:')"
	expect_lacks 'sample_radio_stats(radio' "$lines"
	expect_lacks ERROR "$lines"
}

stations_are_sampled() {
	local stations=(/run/sim/station/*/*)
	check "$SIM_SCENARIO: each station is sampled"
	shown sample_sta_stats
	expect_is "${#stations[@]}" "$(count '^INFO signal:-')"
	expect_lacks 'sample_sta_stats(dev' "$lines"
	expect_lacks ERROR "$lines"
}

in_bare() {
	check 'bare: a radio that the driver does not know ends the test after a repeated sample'
	shown sample_radio_stats
	expect_is 2 "$(count '^ERROR failed to get wme_counters -1 for wl')"
	expect_is 2 "$(count '^DEBUG failed to get chanims cached -1 for wl')"
	expect_has "$radio_sample_failed" "$lines"
	check 'bare: without devices there is nothing to sample'
	shown sample_sta_stats
	expect_has 'sclist_size(&devices) > 0 failed!' "$lines"
}

in_broken() {
	check 'broken: counters that stop in the third category end the test after a repeated sample'
	shown sample_radio_stats
	expect_is 2 "$(count '^ERROR failed to get wme_counters -1 for wl0')"
	expect_has "$radio_sample_failed" "$lines"
	check 'broken: a station whose report is empty ends the test after a repeated sample'
	shown sample_sta_stats
	expect_is 2 "$(count '^DEBUG sampling sta_info failed on device wl2 02:E1:57:30:00:02')"
	expect_has "$station_sample_failed" "$lines"
}

in_counterless() {
	check 'counterless: a driver without counters ends the test'
	shown sample_radio_stats
	expect_has "$radio_sample_failed" "$lines"
	check 'counterless: a station without a report ends the test'
	shown sample_sta_stats
	expect_has 'sampling sta_info failed on device wl1 02:C0:A7:20:00:01' "$lines"
	expect_has "$station_sample_failed" "$lines"
}

issues_are_calculated() {
	check "$SIM_SCENARIO: issues are calculated from a file of rows"
	shown calculate_issues -m 02:AA:BB:CC:DD:01 -c "$rows"
	expect_has "DEBUG   reading $rows to data struct list" "$lines"
	expect_has 'DEBUG Done calculate_issues' "$lines"
	expect_lacks ERROR "$lines"
	check "$SIM_SCENARIO: a file that is not there is named"
	shown calculate_issues -m 02:AA:BB:CC:DD:01 -c /nonexistent/rows.csv
	expect_has 'ERROR failed to open file /nonexistent/rows.csv' "$lines"
	expect_has 'DEBUG Done calculate_issues' "$lines"
}

if [[ ${1-} == inside ]]; then
	case $SIM_SCENARIO in
	bare | broken | counterless) "in_$SIM_SCENARIO" ;;
	*)
		radios_are_sampled
		stations_are_sampled
		;;
	esac
	issues_are_calculated
else
	for scenario in "$scenarios"/*/; do
		scenario=${scenario%/}
		inside --scenario "${scenario##*/}"
	done
fi
