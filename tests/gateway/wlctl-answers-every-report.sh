#!/bin/bash
# The simulated wlctl prints every report the way its readers scan it, its counters
# grow, and it goes wrong in the ways that a scenario asks for.
# shellcheck disable=SC1091,SC2154
. "$(dirname "$(readlink -f "$0")")/lib.sh"

number='[0-9]+'
categories=(AC_BE AC_BK AC_VI AC_VO)
faults=/run/sim/faults

# lines_match REGEX... - the last output has as many lines, and each fits.
lines_match() {
	local -a line
	local i=0 regex
	mapfile -t line <<<"$out"
	expect_is "$# lines" "${#line[@]} lines"
	for regex in "$@"; do
		fits "$regex" "${line[i++]-}"
	done
}

fits() {
	if [[ $2 =~ ^$1$ ]]; then
		verdict yes '' ''
	else
		verdict no "a line like '$1'" "'$2'"
	fi
}

# ask REPORT... - the report of the default interface, which nothing goes wrong with.
ask() {
	check "wlctl $*"
	expect_status 0 wlctl "$@"
	expect_err_is ''
}

# stations_of RADIO - how many the scenario has; every radio without an argument.
stations_of() {
	rows "$scenarios/$SIM_SCENARIO/stations" | grep -c "^${1-}"
}

# --- reports -----------------------------------------------------------------

wme_counters_layout() {
	local category
	local -a layout=()
	for category in "${categories[@]}"; do
		layout+=("" \
			"$category: tx frames: $number bytes: $number failed frames: $number failed bytes: $number" \
			"       rx frames: $number bytes: $number failed frames: $number failed bytes: $number" \
			"       foward frames: $number bytes: $number " \
			"       tx frames time expired: $number ")
	done
	ask -i "$1" wme_counters
	lines_match "${layout[@]}"
}

# Sets tx and rx to what the last wme_counters has in all.
sum_categories() {
	tx=$(awk '/: tx frames:/ { sum += $6 } END { printf "%.0f", sum }' <<<"$out")
	rx=$(awk '/^ +rx frames:/ { sum += $5 } END { printf "%.0f", sum }' <<<"$out")
}

# Sets tx and rx to what the stations of RADIO say themselves.
sum_stations() {
	local radio=$1 report mac
	tx=0 rx=0
	while read -r _ mac; do
		report=$(wlctl -i "$radio" sta_info "$mac")
		[[ $report =~ 'tx ucast bytes: '($number) ]] && ((tx += BASH_REMATCH[1]))
		[[ $report =~ 'rx ucast bytes: '($number) ]] && ((rx += BASH_REMATCH[1]))
	done < <(wlctl -i "$radio" assoclist)
}

# Categories and stations round by themselves, each by less than a byte.
categories_add_up() {
	local radio=$1 tx rx low_tx low_rx all_tx all_rx
	sum_stations "$radio"
	low_tx=$tx low_rx=$rx
	ask -i "$radio" wme_counters
	sum_categories
	all_tx=$tx all_rx=$rx
	sum_stations "$radio"
	check "categories of $radio and its stations"
	expect_at_least 1 "$low_tx"
	expect_at_least $((low_tx - 4)) "$all_tx"
	expect_at_least $((low_rx - 4)) "$all_rx"
	expect_at_least "$all_tx" $((tx + 8))
	expect_at_least "$all_rx" $((rx + 8))
}

# Frames and bytes, sent and received, of all categories.
print_counters() {
	awk '/: tx frames:/ { print $4; print $6 } /^ +rx frames:/ { print $3; print $5 }' <<<"$out"
}

categories_grow() {
	local -a before after
	local i
	ask -i wl2 wme_counters
	mapfile -t before < <(print_counters)
	expect_is 16 "${#before[@]}"
	sleep 1.1
	ask -i wl2 wme_counters
	mapfile -t after < <(print_counters)
	for i in "${!before[@]}"; do
		expect_at_least $((before[i] + 1)) "${after[i]-}"
	done
	check 'best effort grows by its share of what the radio sends'
	expect_at_least $((before[1] + 5400000 * 7 / 10)) "${after[1]-}"
}

bs_data_layout() {
	local radio=$1 line decimal='[0-9]+\.[0-9]' n
	local -a layout=('  Station Address +PHY Mbps +Data Mbps +Air Use +Data Use +Retries')
	for ((n = $(stations_of "$radio"); n > 0; n--)); do
		layout+=("([0-9A-F]{2}:){5}[0-9A-F]{2} +$decimal +$decimal +$decimal% +$decimal% +$decimal%")
	done
	ask -i "$radio" bs_data
	lines_match "${layout[@]}" " +\(overall\) +- +$decimal +$decimal% +- +-"
	while IFS= read -r line; do
		expect_at_least "${#line}" 79
	done <<<"$out"
	check "shares of the data of $radio"
	n=$(awk '$1 ~ /:/ { sum += $5 * 10 } END { printf "%d", sum }' <<<"$out")
	expect_at_least $((1000 - ${#layout[@]})) "$n"
	expect_at_least "$n" 1000
}

nobody_has_no_bs_data() {
	rm /run/sim/station/wl1/*
	ask -i wl1 bs_data
	expect_out_is 'No stations are currently associated.'
}

# by_tid REPORT TEXT - has an answer for each of eight identifiers, and not one for all.
by_tid() {
	local tid seen=
	for tid in 0 1 2 3 4 5 6 7; do
		ask "$1" $tid
		lines_match "$2 $tid: $number"
		[[ $seen == *"=${out##* }="* ]] || seen+="=${out##* }="
	done
	check "$1 depends on the identifier"
	fits '=.+==.+=' "$seen"
	for tid in 8 -1 x ''; do
		check "$1 '$tid'"
		expect_status 1 wlctl "$1" "$tid"
		expect_out_is 'wlctl: Bad Argument'
	done
}

ampdu_layouts() {
	local tids=('tid:'{0..7}" status:[01]")
	ask ampdu
	lines_match "$number \(0x[0-9a-f]+\)"
	by_tid ampdu_tid 'AMPDU for tid'
	by_tid ampdu_retry_limit_tid 'AMPDU retry limit for tid'
	by_tid ampdu_rr_retry_limit_tid 'AMPDU regular rate retry limit for tid'
	ask ampdu_txaggr
	lines_match 'ampdu_txaggr_override: [A-Z]+' "${tids[@]}"
	ask ampdu_rxaggr
	lines_match 'ampdu_rxaggr_override: [A-Z]+' "${tids[@]}"
}

retry_limits_layout() {
	local long
	ask -i wl2 lrl
	lines_match "$number \(0x[0-9a-f]+\)"
	long=$out
	ask -i wl2 srl
	lines_match "$number \(0x[0-9a-f]+\)"
	expect_is different "$([[ $long == "$out" ]] || echo different)"
}

# The three lines of a category say the same in three ways.
same_in_three_ways() {
	local hex='0x([0-9a-f]+)' aci acm aifsn low high txop
	[[ $1 =~ raw:\ ACI\ $hex\ ECW\ $hex\ TXOP\ $hex ]] || return
	local raw=("${BASH_REMATCH[@]:1}")
	[[ $2 =~ 'aci '(.*)' acm '(.*)' aifsn '(.*)' ecwmin '(.*)' ecwmax '(.*)' txop 0x'(.*) ]] || return
	read -r aci acm aifsn low high txop <<<"${BASH_REMATCH[*]:1}"
	expect_is "$((16#${raw[0]}))" "$((aci << 5 | acm << 4 | aifsn))"
	expect_is "$((16#${raw[1]}))" "$((high << 4 | low))"
	expect_is "${raw[2]}" "$txop"
	expect_is "CWmin $(((1 << low) - 1)) CWmax $(((1 << high) - 1)) TXop $((16#$txop * 32))usec" \
		"${3##*eff: }"
}

wme_layouts() {
	local who category i
	local hex='0x[0-9a-f]{1,2}' said=nothing
	local -a layout=('.+') line
	for category in "${categories[@]}"; do
		layout+=("$category: raw: ACI $hex ECW $hex TXOP $hex" \
			"       dec: aci $number acm $number aifsn $number ecwmin $number ecwmax $number txop $hex" \
			"       eff: CWmin $number CWmax $number TXop ${number}usec")
	done
	for who in ap sta; do
		ask -i wl0 wme_ac $who
		lines_match "${layout[@]}"
		mapfile -t line <<<"$out"
		for i in 1 4 7 10; do
			same_in_three_ways "${line[@]:i:3}"
		done
		expect_lacks "$said" "${line[*]:1:3}"
		said=${line[*]:1:3}
	done
	check 'wme_ac of nobody'
	expect_status 1 wlctl -i wl0 wme_ac
	expect_out_is ''
	ask -i wl0 wme_dp
	lines_match 'Discard oldest first: BE=[01] BK=[01] VI=[01] VO=[01]'
}

strangers_are_refused() {
	local report
	for report in assoclist chanim_stats wme_counters bs_data lrl srl 'wme_ac ap' wme_dp ampdu; do
		check "$report of an unknown radio"
		# The words of the report are meant to be several.
		# shellcheck disable=SC2086
		expect_status 1 wlctl -i wl8 $report
		expect_out_is ''
		expect_err_is 'wlctl: wl driver adapter not found'
	done
	check 'an unknown station'
	expect_status 1 wlctl -i wl0 sta_info 02:00:5e:00:99:99
	expect_out_is 'wlctl: Not Found'
	check 'an unknown report'
	expect_status 1 wlctl -i wl0 ampdu_xxaggr
	expect_err_is 'wlctl: unrecognized command ampdu_xxaggr'
}

# --- faults ------------------------------------------------------------------

# with ROW... - from now on these faults are there, and none without a row.
with() {
	check "faults: $*"
	rm -f "$faults"
	(($# == 0)) || printf '%s\n' "$@" >"$faults"
}

faults_do_what_they_say() {
	local good first second start
	check 'no faults without a table'
	expect_is no "$([[ -e $faults ]] && echo yes || echo no)"
	good=$(wlctl -i wl0 assoclist)
	first=${good%%$'\n'*}
	second=${good#*$'\n'}

	with 'wlctl silent - -i wl0 assoclist'
	expect_status 0 wlctl -i wl0 assoclist
	expect_is '' "$out$err"
	with 'wlctl garbage - -i wl0 assoclist'
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_has $'\377'
	expect_out_lacks "${first#* }"
	with 'wlctl down - -i wl0 *'
	expect_status 1 wlctl -i wl0 assoclist
	expect_out_is 'wlctl: Not Up'
	expect_status 1 wlctl -i wl0 sta_info 02:aa:bb:cc:dd:01
	expect_out_is 'wlctl: Not Up'
	with 'wlctl lines 2 -i wl0 assoc*'
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_is "$first"$'\n'"${second%%$'\n'*}"
	with 'wlctl lines 1 -i wl0 wme_counters'
	expect_status 0 wlctl -i wl0 wme_counters
	expect_is '' "$out$err"
	with 'wlctl bytes 20 -i wl0 assoclist'
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_is "${good:0:20}"
	with 'wlctl stray 1 *'
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_is "$first"$'\n~~ stray line ~~\n'"$second"
	with 'wlctl status 41 *assoclist'
	expect_status 41 wlctl -i wl0 assoclist
	expect_out_is "$good"

	with 'wlctl delay 230 -i wl0 *'
	start=${EPOCHREALTIME/./}
	expect_status 0 wlctl -i wl0 assoclist
	expect_at_least 230000 $((${EPOCHREALTIME/./} - start))
	expect_out_is "$good"
}

faults_are_for_the_calls_that_fit() {
	local good
	with
	good=$(wlctl -i wl0 assoclist)
	with 'wlctl silent - -i wl1 *' 'wlctl silent - -i wl0 assoc' 'ubus silent - -i wl0 assoclist' \
		'wlctl silent - -i wl0 sta_info 02:aa:bb:cc:dd:0[2-9]'
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_is "$good"
	expect_status 0 wlctl -i wl0 sta_info 02:aa:bb:cc:dd:01
	expect_out_has 'VER 8'
	expect_status 0 wlctl -i wl0 sta_info 02:aa:bb:cc:dd:02
	expect_out_is ''

	check 'faults: the last row that sets it'
	with 'wlctl garbage - *' 'wlctl status 5 *' 'wlctl silent - *' 'wlctl status 6 -i *'
	expect_status 6 wlctl -i wl0 assoclist
	expect_is '' "$out$err"
	with 'ubus bytes 9 -S call *'
	expect_status 0 ubus -S call system board
	expect_out_is '{"kernel"'
	expect_status 0 ubus call system board
	expect_out_has '"hostname"'
	check 'faults: one line a call in tools.log'
	: >/run/sim/tools.log
	ubus -S call system board >/dev/null
	wlctl -i wl0 assoclist >/dev/null
	expect_is $'ubus -S call system board\nwlctl -i wl0 assoclist' "$(</run/sim/tools.log)"
	with
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_is "$good"
}

# --- scenarios ---------------------------------------------------------------

home_reports() {
	local radio
	for radio in wl0 wl1 wl2; do
		wme_counters_layout $radio
		categories_add_up $radio
		bs_data_layout $radio
	done
	categories_grow
	ampdu_layouts
	retry_limits_layout
	wme_layouts
	strangers_are_refused
	faults_do_what_they_say
	faults_are_for_the_calls_that_fit
	nobody_has_no_bs_data
}

# seen_by_all RADIO MAC - has a report, a lease and a neighbour with the same address.
seen_by_all() {
	local address
	check "station $2"
	expect_status 0 wlctl -i "$1" sta_info "$2"
	expect_out_has "STA $2:"
	[[ $leases =~ ' '"${2,,}"' '([0-9.]+)' ' ]]
	address=${BASH_REMATCH[1]-no lease}
	expect_has $'\n'"$address dev br-lan lladdr ${2,,} " "$neighbours"
}

crowded_has_64_stations() {
	local radio mac n=0 leases neighbours
	leases=$(</etc/dhcp_lan.leases)
	neighbours=$'\n'$(ip neigh)
	for radio in wl0 wl1 wl2; do
		while read -r _ mac; do
			((++n))
			seen_by_all $radio "$mac"
		done < <(wlctl -i $radio assoclist)
		wme_counters_layout $radio
		categories_add_up $radio
	done
	check 'stations in a crowd'
	expect_is 64 "$n"
	expect_is 64 "$(stations_of)"
	check 'a radio with more stations than a reader of bs_data has room for'
	expect_at_least 31 "$(wlctl -i wl2 bs_data | grep -c '^[^ ]*:')"
	check 'wired clients'
	expect_at_least 68 "$(wc -l </etc/dhcp_lan.leases)"
	check 'connections'
	expect_is "$(rows "$scenarios/crowded/flows" | wc -l)" "$(conntrack -C)"
	check 'busy channels, with noise'
	for radio in wl0 wl1 wl2; do
		expect_at_least "$(wlctl -i $radio chanim_stats | awk 'NR == 3 { print $8 }')" 25
		expect_at_least -88 "$(wlctl -i $radio chanim_stats | awk 'NR == 3 { print $13 }')"
	done
}

broken_tools() {
	local report
	check 'broken: a station report that breaks off'
	expect_is 640 "$(wlctl -i wl0 sta_info 02:E1:57:10:00:01 | wc -c)"
	expect_is 640 "$(wlctl -i wl0 sta_info 02:e1:57:10:00:02 | wc -c)"
	check 'broken: categories that stop amid the third'
	expect_status 0 wlctl -i wl0 wme_counters
	expect_out_has $'\nAC_VI: tx frames:'
	expect_is 12 "$(wlctl -i wl0 wme_counters | wc -l)"
	for report in assoclist chanim_stats 'sta_info 02:E1:57:20:00:01' wme_counters; do
		check "broken: $report of a radio that is down"
		# shellcheck disable=SC2086
		expect_status 1 wlctl -i wl1 $report
		expect_out_is 'wlctl: Not Up'
	done
	check 'broken: a list with a stray line'
	expect_status 0 wlctl -i wl2 assoclist
	lines_match 'assoclist [0-9A-F:]{17}' '[^:]+' 'assoclist [0-9A-F:]{17}' 'assoclist [0-9A-F:]{17}'
	check 'broken: a report of the channel without a version'
	expect_status 0 wlctl -i wl2 chanim_stats
	fits '[^0-9]+' "${out%%$'\n'*}"
	check 'broken: a station that babbles and one without a word'
	expect_status 0 wlctl -i wl2 sta_info 02:e1:57:30:00:01
	expect_out_has $'\377\376'
	expect_status 0 wlctl -i wl2 sta_info 02:E1:57:30:00:02
	expect_out_is ''
	check 'broken: late, and with a wrong status'
	local start=${EPOCHREALTIME/./}
	expect_status 3 wlctl -i wl2 wme_counters
	expect_at_least 120000 $((${EPOCHREALTIME/./} - start))
	expect_out_has $'\nAC_VO: tx'
	check 'broken: a tool that is missing'
	expect_status 127 ubus list
}

broken_files() {
	local -a line
	mapfile -t line </etc/dhcp_lan.leases
	check 'broken: leases in order'
	expect_is '1767400000 02:e1:57:10:00:01 192.168.1.21 balcony-phone 01:02:e1:57:10:00:01' "${line[0]}"
	check 'broken: odd leases'
	expect_has $'\n\n \t \n# leases of the LAN\n1767400080 02:e1:57:30:00:03 192.168.1.44\n' "$(</etc/dhcp_lan.leases)"
	expect_has $'anvil *\r\n' "$(</etc/dhcp_lan.leases)"
	expect_has $' =1+2,"\377\376\'`x`$(y)%n *\n' "$(</etc/dhcp_lan.leases)"
	expect_at_least 257 "$(wc -L </etc/dhcp_lan.leases)"
	check 'broken: a file of leases that is cut'
	expect_is 5 "$(tail -c 1 /etc/dhcp_lan.leases)"
	check 'broken: neighbours'
	expect_has '192.168.1.32 dev br-lan FAILED' "$(ip neigh)"
	expect_has '192.168.1.41 dev br-lan INCOMPLETE' "$(ip neigh)"
	expect_has '192.168.1.51 dev eth3 lladdr' "$(ip neigh)"
}

if [[ ${1-} == inside ]]; then
	case $SIM_SCENARIO in
	crowded) crowded_has_64_stations ;;
	broken)
		broken_tools
		broken_files
		;;
	*) home_reports ;;
	esac
	exit 0
fi

# --- outside -----------------------------------------------------------------

# refused ROW TEXT - a table with this row stops the gateway, which says TEXT.
refused() {
	check "faults: $1"
	printf '# faults\n%s\n' "$1" >"$scratch/s/odd/faults"
	expect_status 78 env SIM_SCENARIOS="$scratch/s" "$gateway" --scenario odd true
	expect_err_has "faults:2: $2"
}

wrong_faults_are_reported() {
	mkdir -p "$scratch/s/odd"
	refused 'wlctl silent -' '3 columns, want 4+'
	refused 'wlctl nonsense - *' 'no fault nonsense'
	refused 'nowl silent - *' 'no simulated tool nowl'
	refused 'wlctl lines - *' 'lines needs a number'
	refused 'wlctl garbage 5 *' 'garbage takes no value'
	refused 'ubus missing - call *' 'a tool is missing for all arguments'
}

broken_for_an_ordinary_user() {
	local -a nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups)
	if ((EUID != 0)); then
		note 'run by an ordinary user already'
		return
	fi
	if ! "${nobody[@]}" test -r "$gateway" -a -x "$root" -a -r "$scenarios/broken"; then
		note 'not tried as an ordinary user: nobody cannot read this tree'
		return
	fi
	"${nobody[@]}" "$gateway" --scenario bare true 2>/dev/null
	if (($? == 77)); then
		note 'not tried as an ordinary user: namespaces are for root here'
		return
	fi
	check 'broken, as an ordinary user'
	expect_status 0 "${nobody[@]}" "$gateway" --scenario broken sh -c '
		wlctl -i wl1 assoclist; type ubus || wlctl -i wl0 assoclist'
	expect_out_has 'wlctl: Not Up'
	expect_out_has 'ubus: not found'
	expect_out_has 'assoclist 02:E1:57:10:00:01'
}

inside
inside --scenario crowded
inside --scenario broken
wrong_faults_are_reported
broken_for_an_ordinary_user
