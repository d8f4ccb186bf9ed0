# What iwinfo knows of a radio's stations: the tool's text and the bus's object both
# come from here. The radio's file has been read before.
# shellcheck shell=dash disable=SC1090,SC2034,SC2154,SC3043

# read_radio INTERFACE - fails for what is no wireless device.
read_radio() {
	[ -n "$1" ] && [ -e "$sim/radio/$1" ] || return 1
	. "$sim/radio/$1"
}

# read_station FILE - sets what both forms print: mac, signal, knoise, inactive, the
# counters and the mode, which on 2.4 GHz is at most ht or he.
read_station() {
	mac=${1##*/}
	. "$1"
	counters
	inactive=$((idle * 1000))
	mode=$kind
	[ "${channel%%[!0-9]*}" -gt 14 ] || [ "$mode" != vht ] || mode=ht
	read_rates
}

# Sets unit to what the slowest rate of a stream carries, kbit/s; steps to the rates of
# a stream in sixths of that; and most to how much a short guard interval can add to the
# fastest, in percent and with one for what has been rounded.
read_rates() {
	case $mode$width in
	he20) unit=8600 ;;
	he40) unit=17200 ;;
	he80) unit=36029 ;;
	he160) unit=72059 ;;
	*160) unit=58500 ;;
	*80) unit=29250 ;;
	*40) unit=13500 ;;
	*) unit=6500 ;;
	esac
	steps='6 12 18 24 36 48 54 60' most=112
	case $mode in
	vht) steps="$steps 72 80" ;;
	he) steps="$steps 72 80 90 100" most=101 ;;
	esac
}

# find_rate KBPS - sets nss to the fewest streams that can be so fast, mcs to the
# fastest of their rates that is no faster, and short_gi.
find_rate() {
	local step stream best=0 i=0
	nss=1 mcs=0 short_gi=false
	while [ $nss -lt 4 ] && [ "$1" -gt $((unit * nss * ${steps##* } * most / 600)) ]; do
		nss=$((nss + 1))
	done
	stream=$((unit * nss / 6))
	for step in $steps; do
		[ $((stream * step * 99 / 100)) -le "$1" ] || break
		mcs=$i
		best=$((stream * step))
		i=$((i + 1))
	done
	[ "$mode" = he ] || [ "$1" -le $((best * 105 / 100)) ] || short_gi=true
	[ "$mode" != ht ] || mcs=$((mcs + 8 * (nss - 1)))
}
