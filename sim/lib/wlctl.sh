# The reports of wlctl that are asked for now and then: the use of the air by
# station, and how the driver is set up. bin/wlctl reads this for one of them.
# shellcheck shell=dash disable=SC1090,SC2154,SC2231,SC3043

# Sets tenths to NUMBER tenths with the point in its place.
point() {
	tenths=$(($1 / 10)).$(($1 % 10))
}

# percent NUMBER - sets tenths and puts the sign behind.
percent() {
	point "$1"
	tenths=$tenths%
}

air_line() {
	printf '%17s%11s%11s%11s%11s%11s\n' "$@"
}

# One line a station: a reader's buffer may hold no more than 79 characters of it.
print_air() {
	local phy data air use kbps=$((tx_kbps ? tx_kbps : 1))
	point $((kbps / 100)) && phy=$tenths
	point $((tx_rate * 8 / 100000)) && data=$tenths
	# Half as long again as the data alone would take.
	air_now=$((tx_rate * 12 / kbps))
	percent "$air_now" && air=$tenths
	percent $((tx_rate * 1000 / all_rate)) && use=$tenths
	percent $((tx_retry * 10))
	air_line "${1##*/}" "$phy" "$data" "$air" "$use" "$tenths"
}

report_bs_data() {
	local file air_now all_air=0 all_rate=0
	set -- "$sim/station/$interface"/*
	if ! [ -e "$1" ]; then
		printf 'No stations are currently associated.\n'
		return
	fi
	for file in "$@"; do
		. "$file"
		all_rate=$((all_rate + tx_rate))
	done
	point $((all_rate * 8 / 100000))
	local all_data=$tenths
	[ $all_rate -gt 0 ] || all_rate=1
	air_line '  Station Address' 'PHY Mbps' 'Data Mbps' 'Air Use' 'Data Use' 'Retries'
	for file in "$@"; do
		. "$file"
		print_air "$file"
		all_air=$((all_air + air_now))
	done
	percent $all_air
	air_line '(overall)' - "$all_data" "$tenths" - -
}

# number N - as the driver prints a setting that is a number.
number() {
	printf '%d (0x%x)\n' "$1" "$1"
}

# The driver has eight traffic identifiers.
need_tid() {
	case $1 in
	[0-7]) ;;
	*) refuse 'Bad Argument' ;;
	esac
}

# Sets value to LOW for the identifiers 0 to 5 and to HIGH for 6 and 7, which are
# those of voice.
by_tid() {
	need_tid "$1"
	value=$2
	[ "$1" -lt 6 ] || value=$3
}

report_ampdu() {
	number 1
}

report_ampdu_tid() {
	by_tid "$1" 1 0
	printf 'AMPDU for tid %d: %d\n' "$1" "$value"
}

report_ampdu_retry_limit_tid() {
	by_tid "$1" 5 8
	printf 'AMPDU retry limit for tid %d: %d\n' "$1" "$value"
}

report_ampdu_rr_retry_limit_tid() {
	by_tid "$1" 2 3
	printf 'AMPDU regular rate retry limit for tid %d: %d\n' "$1" "$value"
}

# aggregation DIRECTION OVERRIDE LOW HIGH
aggregation() {
	local tid
	printf 'ampdu_%saggr_override: %s\n' "$1" "$2"
	for tid in 0 1 2 3 4 5 6 7; do
		by_tid $tid "$3" "$4"
		printf 'tid:%d status:%d\n' $tid "$value"
	done
}

report_ampdu_txaggr() {
	aggregation tx AUTO 1 0
}

report_ampdu_rxaggr() {
	aggregation rx OFF 0 1
}

report_lrl() {
	number 4
}

report_srl() {
	number 7
}

# parameters NAME ACI ACM AIFSN ECWMIN ECWMAX TXOP - an access category raw, taken
# apart, and as what it comes to: windows of 2^n-1 slots, opportunities of 32 us.
parameters() {
	printf '%s: raw: ACI 0x%x ECW 0x%x TXOP 0x%x
       dec: aci %d acm %d aifsn %d ecwmin %d ecwmax %d txop 0x%x
       eff: CWmin %d CWmax %d TXop %dusec\n' \
		"$1" $(($2 << 5 | $3 << 4 | $4)) $(($6 << 4 | $5)) "$7" \
		"$2" "$3" "$4" "$5" "$6" "$7" \
		$(((1 << $5) - 1)) $(((1 << $6) - 1)) $(($7 * 32))
}

report_wme_ac() {
	case $1 in
	ap)
		printf 'Access categories of the access point:\n'
		parameters AC_BE 0 0 3 4 6 0
		parameters AC_BK 1 0 7 4 10 0
		parameters AC_VI 2 0 1 3 4 94
		parameters AC_VO 3 1 1 2 3 47
		;;
	sta)
		printf 'Access categories of the stations:\n'
		parameters AC_BE 0 0 3 4 10 0
		parameters AC_BK 1 0 7 4 10 0
		parameters AC_VI 2 0 2 3 4 94
		parameters AC_VO 3 1 2 2 3 47
		;;
	*) fail 'wme_ac: ap or sta wanted' ;;
	esac
}

report_wme_dp() {
	printf 'Discard oldest first: BE=0 BK=0 VI=1 VO=1\n'
}
