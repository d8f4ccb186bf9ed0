#!/bin/bash
# The simulated gateway shows a program what the router would show it, and
# leaves the machine it runs on as it was.
# shellcheck disable=SC1091,SC2154
. "$(dirname "$(readlink -f "$0")")/lib.sh"

home=$scenarios/home

# --- on the gateway ----------------------------------------------------------

count_lines() {
	local -a lines
	mapfile -t lines <"$1"
	printf '%d' "${#lines[@]}"
}

shell_is_busybox() {
	check '/bin/sh is BusyBox'
	# shellcheck disable=SC2016
	expect_status 0 /bin/sh -c 'readlink /proc/$$/exe; :'
	expect_out_has busybox
	check 'sh in the path is BusyBox'
	# shellcheck disable=SC2016
	expect_status 0 sh -c 'readlink /proc/$$/exe; :'
	expect_out_has busybox
}

interfaces_are_there() {
	local name
	for name in lo br-lan wl0 wl1 wl2 wl0-air wl1-air wl2-air eth3; do
		check "interface $name"
		expect_status 0 ip -o link show "$name" up
		expect_out_has " $name"
		expect_is yes "$([[ -e /sys/class/net/$name ]] && echo yes)"
	done
	for name in wl0 wl1 wl2; do
		check "$name is a port of br-lan that forwards"
		expect_is br-lan "$(basename "$(readlink "/sys/class/net/$name/master")")"
		expect_is 3 "$(<"/sys/class/net/$name/brport/state")"
	done
	check 'addresses'
	expect_has 192.168.1.1/24 "$(ip -o address show br-lan)"
	expect_has fd42:c0de:1::1/64 "$(ip -o address show br-lan)"
	expect_lacks tentative "$(ip -o address show)"
	expect_has 203.0.113.10/24 "$(ip -o address show eth3)"
	check 'routing'
	expect_has 'via 203.0.113.1 dev eth3' "$(ip route show default)"
	expect_is 1 "$(</proc/sys/net/ipv4/ip_forward)"
	expect_is 1 "$(</proc/sys/net/netfilter/nf_conntrack_acct)"
}

leases_are_there() {
	check 'leases'
	expect_is "$(rows "$home/leases")" "$(</etc/dhcp_lan.leases)"
	expect_at_least 11 "$(count_lines /etc/dhcp_lan.leases)"
	expect_has $'\n1767226044 02:aa:bb:cc:dd:12 192.168.1.32 * *\n' \
		"$(</etc/dhcp_lan.leases)"
	expect_has $'\nduid 00:01:' "$(</etc/dhcp_lan.leases)"
	local mac
	while read -r _ mac _; do
		expect_has " $mac " "$(</etc/dhcp_lan.leases)"
	done < <(rows "$home/stations")
}

# flows_of FAMILY PROTOCOL - how many rows the scenario has.
flows_of() {
	local proto src count=0
	while read -r proto src _; do
		[[ $proto == "$2" ]] || continue
		case $1$src in
		ipv4*.* | ipv6*:*) ((++count)) ;;
		esac
	done < <(rows "$home/flows")
	printf '%d' "$count"
}

flows_are_tracked() {
	local family proto total=0
	for family in ipv4 ipv6; do
		for proto in tcp udp icmp icmpv6; do
			case $family$proto in
			ipv4icmpv6 | ipv6icmp) continue ;;
			esac
			check "$family $proto flows"
			expect_status 0 conntrack -L -f "$family" -p "$proto"
			mapfile -t found <<<"$out"
			expect_is "$(flows_of "$family" "$proto")" "${#found[@]}"
			((total += ${#found[@]}))
		done
	done
	check 'all flows'
	expect_at_least 30 "$total"
	expect_is "$total" "$(conntrack -C)"
	check '/proc/net/nf_conntrack'
	expect_is "$total" "$(count_lines /proc/net/nf_conntrack)"
	check 'a translated, marked connection'
	expect_status 0 conntrack -L -p tcp --sport 50110
	expect_out_has ' ESTABLISHED src=192.168.1.21 dst=198.51.100.7 sport=50110 dport=443 '
	expect_out_has 'src=198.51.100.7 dst=203.0.113.10 sport=443 dport=50110 '
	expect_out_has '[ASSURED] mark=16 '
	expect_out_has 'bytes='
	check 'an unanswered one'
	expect_status 0 conntrack -L -p tcp --sport 41010
	expect_out_has ' SYN_SENT '
	expect_out_has '[UNREPLIED]'
}

neighbours_are_known() {
	local address mac state dev flags line
	while read -r address mac state dev flags; do
		check "neighbour $address"
		line=$(ip neigh show "$address" dev "$dev")
		expect_has " ${state^^}" "$line"
		[[ $mac == - ]] || expect_has "lladdr $mac" "$line"
		[[ $flags == - ]] || expect_has " $flags " "$line"
	done < <(rows "$home/neighbours")
	check 'kinds of neighbours'
	expect_has FAILED "$(ip neigh)"
	expect_has INCOMPLETE "$(ip neigh)"
	expect_has ' router ' "$(ip -6 neigh)"
}

filters_work() {
	check 'ipset'
	expect_status 0 ipset create gateway-test hash:ip
	expect_status 0 ipset add gateway-test 192.168.1.21
	expect_status 0 ipset test gateway-test 192.168.1.21
	expect_status 1 ipset test gateway-test 192.168.1.22
	check 'iptables'
	expect_status 0 iptables -t mangle -A FORWARD -m conntrack --ctstate NEW \
		-j MARK --set-mark 0x10
	expect_status 0 iptables -t mangle -S FORWARD
	expect_out_has '--ctstate NEW -j MARK'
}

# The default store, since this scenario has none of its own.
store_is_there() {
	local file
	for file in "$root"/sim/config/*; do
		check "/etc/config/${file##*/}"
		expect_is "$(<"$file")" "$(</etc/config/"${file##*/}")"
	done
	expect_is 'env network qos version' "$(cd /etc/config && echo *)"
	check 'nothing waits for a commit'
	expect_is no "$([[ -e /tmp/.uci ]] && echo yes || echo no)"
	check 'the sockets of the bus and of the host'
	expect_is 0 "$(test -S /var/run/ubus/ubus.sock; echo $?)"
	expect_is 0 "$(test -S /var/run/lxc_ipc/ubus.sock; echo $?)"
}

# fact NAME - the value of the line "NAME: VALUE" of the last report.
fact() {
	local text=${out#*$'\t '"$1: "}
	[[ $text != "$out" ]] && printf '%s' "${text%%$'\n'*}"
}

radio_reports() {
	local radio=$1 channel=$2 word=$3 version=$4 want
	local -a line cell
	check "assoclist of $radio"
	expect_status 0 wlctl -i "$radio" assoclist
	want=$(rows "$home/stations" | while read -r at mac _; do
		[[ $at == "$radio" ]] && printf 'assoclist %s\n' "${mac^^}"
	done | sort)
	expect_out_is "$want"

	check "chanim_stats of $radio"
	expect_status 0 wlctl -i "$radio" chanim_stats
	mapfile -t line <<<"$out"
	expect_is 3 "${#line[@]}"
	expect_is "version: $version" "${line[0]}"
	read -ra cell <<<"${line[2]-}"
	if ((version >= 4)); then
		expect_is 'chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle busy timestamp' "${line[1]-}"
		expect_is 16 "${#cell[@]}"
		expect_is "$channel" "${cell[0]-}"
	else
		expect_is 'chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle timestamp' "${line[1]-}"
		expect_is 15 "${#cell[@]}"
		expect_is "$word" "${cell[0]-}"
	fi
}

# station_report RADIO MAC KIND MHZ AID IDLE SINCE SIGNAL RSSI REST...
station_report() {
	check "sta_info of $2"
	expect_status 0 wlctl -i "$1" sta_info "$2"
	expect_err_is ''
	expect_is "[VER 8] STA ${2^^}:" "${out%%$'\n'*}"
	expect_out_has $'\n\t aid:'"$5"$' \n'
	expect_out_has $'\nsmoothed rssi: '"$8"$'\nlink bandwidth = '"$4 MHZ "
	expect_is "${9//,/ }" "$(fact 'per antenna rssi of last rx data frame')"
	expect_at_least 1 "$(fact 'tx total bytes')"
	expect_at_least "$(fact 'tx ucast bytes')" "$(fact 'tx total bytes')"
	expect_is "$(fact 'tx total pkts')" \
		"$(($(fact 'tx ucast pkts') + $(fact 'tx mcast/bcast pkts')))"
	case $1$3 in
	wl1* | *ht | *legacy)
		[[ $3 == vht && $1 != wl1 ]] || expect_out_lacks 'VHT caps'
		;;
	*) expect_out_has $'\n\t VHT caps 0x' ;;
	esac
}

wireless_reports() {
	local -a cell
	while read -ra cell; do
		radio_reports "${cell[@]:0:4}"
	done < <(rows "$home/radios")
	while read -ra cell; do
		station_report "${cell[@]}"
	done < <(rows "$home/stations")
	check 'number of stations'
	expect_is 8 "$(rows "$home/stations" | wc -l)"

	check 'capital letters in the address'
	expect_status 0 wlctl -i wl0 sta_info 02:AA:BB:CC:DD:01
	check 'a station of another radio'
	expect_status 1 wlctl -i wl1 sta_info 02:aa:bb:cc:dd:01
	expect_out_is 'wlctl: Not Found'
	check 'a station that left'
	rm /run/sim/station/wl0/02:AA:BB:CC:DD:03
	expect_status 1 wlctl -i wl0 sta_info 02:aa:bb:cc:dd:03
	expect_out_is 'wlctl: Not Found'
	expect_status 0 wlctl -i wl0 assoclist
	expect_out_lacks 02:AA:BB:CC:DD:03
	check 'a radio that does not exist'
	expect_status 1 wlctl -i wl7 assoclist
	expect_out_is ''
	expect_err_is 'wlctl: wl driver adapter not found'
	check 'a radio without stations'
	rm /run/sim/station/wl2/*
	expect_status 0 wlctl -i wl2 assoclist
	expect_out_is ''
}

channel_column() {
	local -a cell
	read -ra cell <<<"${out##*$'\n'}"
	printf '%s' "${cell[$1]-}"
}

seconds_in_network() {
	[[ $out =~ 'in network '([0-9]+)' seconds' ]] && printf '%s' "${BASH_REMATCH[1]}"
}

counters_grow() {
	local glitch stamp tx rx seconds
	check 'counters grow'
	expect_status 0 wlctl -i wl1 chanim_stats
	glitch=$(channel_column 10)
	stamp=$(channel_column 15)
	expect_status 0 wlctl -i wl0 sta_info 02:aa:bb:cc:dd:01
	tx=$(fact 'tx ucast bytes')
	rx=$(fact 'rx ucast pkts')
	seconds=$(seconds_in_network)
	sleep 1.1
	expect_status 0 wlctl -i wl1 chanim_stats
	expect_at_least $((glitch + 412)) "$(channel_column 10)"
	expect_at_least $((stamp + 1000)) "$(channel_column 15)"
	expect_status 0 wlctl -i wl0 sta_info 02:aa:bb:cc:dd:01
	expect_at_least $((tx + 2450000)) "$(fact 'tx ucast bytes')"
	expect_at_least $((rx + 96000 / 254)) "$(fact 'rx ucast pkts')"
	expect_at_least $((seconds + 1)) "$(seconds_in_network)"
}

ubus_answers() {
	check 'ubus list'
	expect_status 0 ubus list
	expect_out_is $'ipset\niwinfo\nsystem\nuci'
	check 'ubus call'
	expect_status 0 ubus -t 5 -S call system board '{}'
	expect_out_has '"hostname": "gateway"'
	expect_lacks $'\n' "$out"
	expect_status 0 ubus call system board
	expect_out_has $'\n\t"hostname": "gateway",\n'
	check 'ubus refuses'
	expect_status 4 ubus -S call no-such-object board
	expect_is '' "$out$err"
	expect_status 4 ubus call no-such-object board
	expect_err_is 'Command failed: Not found'
	expect_status 3 ubus -S call system no-such-method
	expect_is '' "$out$err"
	expect_status 12 ubus -S call system board nonsense
	expect_is '' "$out$err"
}

calls_are_counted() {
	check 'tools.log'
	: >/run/sim/tools.log
	wlctl -i wl0 assoclist >/dev/null
	wlctl -i wl9 chanim_stats 2>/dev/null
	ubus -S call system board >/dev/null
	expect_is "$(printf '%s\n' 'wlctl -i wl0 assoclist' 'wlctl -i wl9 chanim_stats' \
		'ubus -S call system board')" "$(</run/sim/tools.log)"
}

# Runs on the gateway: touches what is the host's but for the gateway's layers.
leave_traces() {
	touch "/etc/$1" "/usr/bin/$1" "/tmp/$1" "/run/$1"
	: >/etc/dhcp_lan.leases
	sleep "$2" >/dev/null 2>&1 &
}

if [[ ${1-} == inside ]]; then
	shell_is_busybox
	interfaces_are_there
	leases_are_there
	flows_are_tracked
	neighbours_are_known
	filters_work
	store_is_there
	counters_grow
	wireless_reports
	ubus_answers
	calls_are_counted
	exit 0
elif [[ ${1-} == leave-traces ]]; then
	leave_traces "$2" "$3"
	# shellcheck disable=SC2034
	checks=1
	exit 0
fi

# --- outside -----------------------------------------------------------------

# Everything of the host a command on the gateway could have changed.
host_state() {
	ls -d /etc/dhcp_lan.leases /etc/"$1" /usr/bin/"$1" /tmp/"$1" /run/"$1" 2>/dev/null
	ip -o link | cut -d ' ' -f 2
	ip -o address | tr -s ' ' | cut -d ' ' -f 2-4
	ls -l /bin/sh
}

# running SECONDS - whether some `sleep SECONDS` runs on the host.
running() {
	local file
	for file in /proc/[0-9]*/cmdline; do
		[[ "$(tr '\0' ' ' <"$file")" == "sleep $1 " ]] && return 0
	done 2>/dev/null
	return 1
}

not_running() {
	! running "$1"
}

status_and_streams_pass_through() {
	local status
	for status in 0 1 42 77 78; do
		check "exit status $status"
		expect_status "$status" "$gateway" sh -c "exit $status"
		expect_is '' "$out$err"
	done
	check 'a command killed by a signal'
	# shellcheck disable=SC2016
	expect_status 143 "$gateway" sh -c 'kill -TERM $$; sleep 5'
	check 'a command that does not exist'
	expect_status 127 "$gateway" -- no-such-command
	check 'standard streams'
	expect_status 0 "$gateway" sh -c 'cat; echo problem >&2' <<<$'one\ntwo'
	expect_out_is $'one\ntwo'
	expect_err_is problem
	check 'working directory'
	cd "$case_dir" || exit 1
	expect_status 0 "$gateway" pwd
	expect_out_is "$case_dir"
	cd "$root" || exit 1
	check 'name of the scenario'
	# shellcheck disable=SC2016
	expect_status 0 "$gateway" --scenario bare -- sh -c 'echo $SIM_SCENARIO; wlctl -i wl0 assoclist'
	expect_out_is bare
}

wrong_calls_are_refused() {
	check 'unknown scenario'
	expect_status 2 "$gateway" --scenario no-such-place true
	expect_err_has "'no-such-place'"
	expect_err_has ' bare'
	expect_err_has ' home'
	expect_is 1 "$(wc -l <"$scratch/err")"
	check 'no command'
	expect_status 2 "$gateway"
	expect_err_has 'usage: '
	expect_status 2 "$gateway" --scenario home --
	check 'help'
	expect_status 0 "$gateway" --help
	expect_out_has 'usage: '
	expect_err_is ''
}

broken_tables_are_reported() {
	mkdir -p "$scratch/s"/{columns,flow,neighbour}
	printf '# radios\nwl0 11 0x100b\n' >"$scratch/s/columns/radios"
	printf 'udp 192.168.1.2 1 nowhere 2 - - - 9 - -\n' >"$scratch/s/flow/flows"
	printf '192.168.1.2 - failed no-such-dev -\n' >"$scratch/s/neighbour/neighbours"
	check 'a row with too few columns'
	expect_status 78 env SIM_SCENARIOS="$scratch/s" "$gateway" --scenario columns true
	expect_err_has 'radios:2: 3 columns'
	check 'a connection that cannot be'
	expect_status 78 env SIM_SCENARIOS="$scratch/s" "$gateway" --scenario flow true
	expect_err_has 'flows:1:'
	check 'a neighbour on no interface'
	expect_status 78 env SIM_SCENARIOS="$scratch/s" "$gateway" --scenario neighbour true
	expect_err_has no-such-dev
}

host_is_untouched() {
	local trace=gateway-trace-$$ before
	before=$(host_state "$trace")
	check 'what a command leaves behind'
	expect_status 0 "$gateway" bash "$case_file" leave-traces "$trace" "61.$$"
	check 'the host after a command'
	expect_is "$before" "$(host_state "$trace")"
	expect_is no "$(running "61.$$" && echo yes || echo no)"

	check 'a gateway that is killed takes its processes along'
	"$gateway" sleep "62.$$" &
	local pid=$!
	await 5 running "62.$$"
	expect_is 0 $?
	kill "$pid"
	wait "$pid" 2>/dev/null
	await 5 not_running "62.$$"
	expect_is 0 $?
}

tree_below_tmp_stays_visible() {
	local tree
	tree=$(mktemp -d /tmp/gateway-tree-XXXXXX) || exit 1
	check 'a checkout below /tmp'
	cp -R "$root/sim" "$tree/"
	mkdir "$tree/build"
	printf '#!/bin/sh\necho built\n' >"$tree/build/program"
	chmod +x "$tree/build/program"
	cd "$tree/build" || exit 1
	expect_status 0 env -u SIM_KEEP "$tree/sim/gateway" sh -c 'pwd; ls ../sim/gateway; echo /tmp/*; ./program'
	expect_out_is "$tree/build"$'\n../sim/gateway\n'"$tree"$'\nbuilt'
	cd "$root" || exit 1
	check 'a program below /tmp'
	expect_status 0 "$gateway" "$tree/build/program"
	expect_out_is built
	check 'a directory below /tmp that is asked for'
	expect_status 0 env SIM_KEEP="$tree" "$gateway" sh -c "$tree/build/program"
	expect_out_is built
	check 'a directory below /tmp that is not'
	expect_status 1 "$gateway" test -e "$tree"
	rm -rf "$tree"
}

works_for_an_ordinary_user() {
	local -a nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups)
	if ((EUID != 0)); then
		note 'run by an ordinary user already'
		return
	fi
	if ! "${nobody[@]}" test -r "$gateway" -a -x "$root" -a -r "$scenarios/home"; then
		note 'not tried as an ordinary user: nobody cannot read this tree'
		return
	fi
	check 'as an ordinary user'
	"${nobody[@]}" "$gateway" --scenario bare true 2>/dev/null
	if (($? == 77)); then
		note 'not tried as an ordinary user: namespaces are for root here'
		return
	fi
	# shellcheck disable=SC2016
	expect_status 0 "${nobody[@]}" "$gateway" bash -c '
		mapfile -t flows </proc/net/nf_conntrack
		echo "${#flows[@]}"
		wlctl -i wl0 assoclist
		iptables -A INPUT -m conntrack --ctstate NEW -j ACCEPT && echo filtered'
	expect_is "$(rows "$home/flows" | wc -l)" "${out%%$'\n'*}"
	expect_out_has 'assoclist 02:AA:BB:CC:DD:01'
	expect_out_has filtered
}

# shellcheck disable=SC2119
inside
status_and_streams_pass_through
wrong_calls_are_refused
broken_tables_are_reported
host_is_untouched
tree_below_tmp_stays_visible
works_for_an_ordinary_user
