# The objects of the bus that answer from the router's state: the store, the sets and
# the stations. bin/ubus reads this where a scenario has no answer of its own. Answers
# are one line; members of the message are the variables given and given_NAME.
# shellcheck shell=dash disable=SC1003,SC1091,SC2034,SC2154,SC3043

# --- the message ---------------------------------------------------------------

# skip_blanks - takes them off rest, what is left of the message.
skip_blanks() {
	rest=${rest#"${rest%%[![:space:]]*}"}
}

# take_text - moves the text behind the quote that rest begins with to text.
take_text() {
	local part
	text=
	rest=${rest#?}
	while :; do
		case $rest in
		*'"'*) ;;
		*) return 1 ;;
		esac
		part=${rest%%[\"\\]*}
		text=$text$part
		rest=${rest#"$part"}
		case $rest in
		'"'*)
			rest=${rest#?}
			return 0
			;;
		'\"'* | '\\'* | '\/'*) ;;
		*) return 1 ;;
		esac
		# What stands behind the backslash is meant as it is.
		rest=${rest#?}
		text=$text${rest%"${rest#?}"}
		rest=${rest#?}
	done
}

# take_value - sets kind and, of a text, text. What is no text or plain word is of no
# use to any method here and is taken for malformed.
take_value() {
	local value
	case $rest in
	'"'*)
		kind=text
		take_text
		;;
	*)
		kind=other text=''
		value=${rest%%[,\}[:space:]]*}
		rest=${rest#"$value"}
		case $value in
		true | false | null) ;;
		'' | *[!0-9.eE+-]*) return 1 ;;
		esac
		;;
	esac
}

# take_member - a name and its value.
take_member() {
	local name
	case $rest in
	'"'*) ;;
	*) return 1 ;;
	esac
	take_text || return 1
	name=$text
	skip_blanks
	case $rest in
	:*) rest=${rest#?} ;;
	*) return 1 ;;
	esac
	skip_blanks
	take_value || return 1
	case $name in
	config | section | option | name | entry | operation | device | mac)
		given="$given$name:$kind "
		eval "given_$name=\$text"
		;;
	esac
	skip_blanks
}

# read_message JSON - fails for what is no object.
read_message() {
	local rest=$1 text kind
	given=' '
	given_config='' given_section='' given_option=''
	given_name='' given_entry='' given_operation='' given_device='' given_mac=''
	skip_blanks
	case $rest in
	'{'*'}'*) rest=${rest#?} ;;
	*) return 1 ;;
	esac
	skip_blanks
	while [ "${rest#\}}" = "$rest" ]; do
		take_member || return 1
		case $rest in
		,*) rest=${rest#?} ;;
		\}*) ;;
		*) return 1 ;;
		esac
		skip_blanks
	done
	rest=${rest#?}
	skip_blanks
	[ -z "$rest" ]
}

# need NAME... - fails with the bus's status when the message lacks a text of a name.
need() {
	local name
	for name in "$@"; do
		case $given in
		*" $name:text "*) ;;
		*) return 2 ;;
		esac
	done
}

# --- the objects ---------------------------------------------------------------

objects='ipset iwinfo uci'

# Answers with the status of the bus.
answer_uci_get() {
	need config || return
	LC_ALL=C busybox awk -f "$sim/lib/store.awk" reply /etc/config /tmp/.uci \
		"$given_config" "$given_section" "$given_option"
}

answer_ipset_add_member() {
	need name entry operation || return
	ipset -q list -n "$given_name" >/dev/null || return 4
	case $given_operation in
	A) ipset -q add "$given_name" "$given_entry" || return 9 ;;
	D) ipset -q del "$given_name" "$given_entry" || return 9 ;;
	*) return 2 ;;
	esac
}

# A member may have a timeout and counters behind it.
answer_ipset_list_members() {
	local said line all='' members=''
	need name || return
	said=$(ipset -q list "$given_name") || return 4
	while read -r line; do
		[ -z "$members" ] || all="$all,\"${line%% *}\""
		[ "$line" != Members: ] || members=1
	done <<-END
		$said
	END
	printf '{"members":[%s]}\n' "${all#,}"
}

# Sets rate to the members that describe a rate of KBPS.
read_rate() {
	local ht=false vht=false he=false mhz=$width wide=false
	find_rate "$1"
	[ "$width" != 40 ] || wide=true
	case $mode in
	ht) ht=true rate="\"mcs\":$mcs,\"40mhz\":$wide,\"short_gi\":$short_gi" ;;
	vht) vht=true rate="\"mcs\":$mcs,\"nss\":$nss,\"short_gi\":$short_gi" ;;
	he) he=true rate="\"mcs\":$mcs,\"nss\":$nss,\"he_gi\":0,\"he_dcm\":0" ;;
	*) mhz=0 rate='' ;;
	esac
	rate="\"ht\":$ht,\"vht\":$vht,\"he\":$he,\"eht\":false,\"mhz\":$mhz,\"rate\":$1${rate:+,$rate}"
}

# Sets station to the object of the one that has been read.
describe_station() {
	local rx wme=true
	[ "$mode" != legacy ] || wme=false
	read_rate "$rx_kbps"
	rx="\"drop_misc\":0,\"packets\":$rx_pkts,\"bytes\":$rx_bytes,$rate"
	read_rate "$tx_kbps"
	station="{\"mac\":\"$mac\",\"signal\":$signal,\"signal_avg\":$signal,\"noise\":$knoise,\
\"inactive\":$inactive,\"connected_time\":$since,\"thr\":0,\"authorized\":true,\"authenticated\":true,\
\"preamble\":\"long\",\"wme\":$wme,\"mfp\":false,\"tdls\":false,\"mesh llid\":0,\"mesh plid\":0,\
\"mesh plink\":\"\",\"mesh local PS\":\"\",\"mesh peer PS\":\"\",\"mesh non-peer PS\":\"\",\
\"rx\":{$rx},\"tx\":{\"failed\":$failures,\"retries\":$((sent * tx_retry / 100)),\
\"packets\":$tx_pkts,\"bytes\":$tx_bytes,$rate}}"
}

# Without a station's address there is an answer for each.
answer_iwinfo_assoclist() {
	local file station all=''
	need device || return
	. "$sim/lib/iwinfo.sh"
	read_radio "$given_device" || return 4
	for file in "$sim/station/$given_device"/*; do
		[ -e "$file" ] || continue
		[ -z "$given_mac" ] || [ "$given_mac" = "${file##*/}" ] || continue
		read_station "$file"
		describe_station
		all="$all,$station"
	done
	if [ -z "$given_mac" ]; then
		printf '{"results":[%s]}\n' "${all#,}"
	else
		[ -n "$all" ] || return 4
		printf '%s\n' "${all#,}"
	fi
}
