# First process of the simulated router: builds it from the scenario's tables,
# runs the command and, by ending, takes every process left behind with it.
#
#   boot.bash SIM_DIRECTORY SCENARIO_DIRECTORY SPEED CAPTURE COMMAND [ARGUMENT...]
#
# CAPTURE is empty, or the number of a descriptor: then there is no scenario, and the
# router is made from the capture as replay.bash says.
#
# Start-up time is paid by every test, hence one `ip`, one `conntrack` and shell
# built-ins where a process can be saved.
# shellcheck shell=bash
# The rows of the tables go to functions that are called by name.
# shellcheck disable=SC2317
set -u

sim=$1
scenario=$2
speed=$3
capture=$4
shift 4

wan_address=203.0.113.10
machine=/run/sim
here=$PWD

die() {
	printf 'gateway: set-up step failed: %s\n' "$*" >&2
	exit 78
}

# step NAME COMMAND... - runs a command that says nothing unless it fails.
step() {
	local name=$1 said
	shift
	said=$("$@" 2>&1) || die "$name: ${said//$'\n'/; }"
}

# put VALUE FILE - for kernel settings; a redirection saves the process.
put() {
	{ printf '%s\n' "$1" >"$2"; } 2>/dev/null || die "write $1 to $2"
}

# --- file systems ------------------------------------------------------------

# Directories and files below the covered ones that have to stay visible. They
# are held open, because once something is mounted above them a descriptor is the
# only name they have left.
kept_paths=()
kept_fds=()

keep() {
	local path=$1 fd
	case $path in
	/tmp/?* | /run/?*) ;;
	*) return 0 ;;
	esac
	[[ -e $path ]] || return 0
	{ exec {fd}<"$path"; } 2>/dev/null || die "keep $path visible: cannot open it"
	kept_paths+=("$path")
	kept_fds+=("$fd")
}

# A program comes with what lies beside it, unless that would be all of /tmp.
keep_command() {
	local path=$1
	[[ $path == */* ]] || return 0
	[[ $path == /* ]] || path=$here/$path
	case ${path%/*} in
	/tmp | /run) keep "$path" ;;
	*) keep "${path%/*}" ;;
	esac
}

keep_all() {
	local path
	local -a more
	keep "${sim%/*}"
	[[ -z $scenario ]] || keep "${scenario%/*}"
	keep "$here"
	keep_command "$1"
	IFS=: read -ra more <<<"${SIM_KEEP-}"
	for path in "${more[@]}"; do
		keep "$path"
	done
}

cover() {
	step "mount a private $1" mount -t tmpfs -o "mode=$2" tmpfs "$1"
}

restore_kept() {
	local i path fd
	for i in "${!kept_paths[@]}"; do
		path=${kept_paths[i]}
		fd=${kept_fds[i]}
		if [[ -d /proc/self/fd/$fd ]]; then
			step "make $path" mkdir -p "$path"
		else
			step "make ${path%/*}" mkdir -p "${path%/*}"
			[[ -e $path ]] || put '' "$path"
		fi
		# Without -c mount would resolve the descriptor to the path that is
		# covered now.
		step "keep $path visible" mount -c --rbind "/proc/self/fd/$fd" "$path"
		exec {fd}<&-
	done
}

# layer NAME TARGET [EXTRA_LOWER] - a writable layer over TARGET, with
# EXTRA_LOWER's files in front of those that are there.
layer() {
	local name=$1 target=$2 lower=${3:+$3:}$2
	step "lay a writable layer over $target" mount -t overlay -o \
		"userxattr,lowerdir=$lower,upperdir=$machine/layer/$name,workdir=$machine/layer/$name.work" \
		overlay "$target"
}

# A scenario with a store of its own has nothing of the common one.
copy_config() {
	local from=$sim/config
	[[ ! -d $scenario/config ]] || from=$scenario/config
	step 'copy the configuration' cp -R "$from/." "$1"
}

# archived NAME MODE INODE - a member without content, in the layout that cpio calls
# newc: numbers of eight digits, the name, and one to four zero bytes.
archived() {
	local zero=('\0' '\0' '\0' '\0')
	printf 070701
	printf %08X "$3" "$2" 0 0 1 0 0 0 0 0 0 $((${#1} + 1)) 0
	printf %b "$1" "${zero[@]:(110 + ${#1}) % 4}"
}

# The sockets of the bus and of the host's bus. Nobody listens there: that they are
# there tells the simulated ubus that there is a bus. Of the programs that a gateway
# needs, only cpio makes sockets.
make_sockets() {
	local said
	said=$({
		archived run/ubus/ubus.sock $((0140666)) 1
		archived run/lxc_ipc/ubus.sock $((0140666)) 2
		archived 'TRAILER!!!' 0 0
	} | (cd / && busybox cpio -i 2>&1)) || die "make the sockets of the bus: $said"
}

make_file_systems() {
	cover /run 755
	cover /tmp 1777
	restore_kept
	unset TMPDIR

	local l=$machine/layer
	step 'make the work area' mkdir -p "$machine"/{radio,station,boot,lock} \
		"$l"/{etc,usrbin,bin}{,.work} "$l/etc/config" /run/{ubus,lxc_ipc}
	step 'copy the tools' cp -R "$sim/bin" "$sim/lib" "$machine/"
	if [[ -d $scenario/ubus ]]; then
		step 'copy the ubus answers' cp -R "$scenario/ubus" "$machine/"
	fi
	[[ -z $capture ]] || unpack_capture
	step 'make the shell' ln -s "$(type -P busybox)" "$machine/bin/sh"

	copy_config "$l/etc/config"
	make_sockets
	layer etc /etc
	layer usrbin /usr/bin "$machine/bin"
	[[ -L /bin ]] || layer bin /bin "$machine/bin"

	# Optional: some containers do not let sysfs be mounted. Only
	# /sys/class/net is wrong then.
	mount -t sysfs sysfs /sys 2>/dev/null
	hash -r
}

# --- tables ------------------------------------------------------------------

# each_row TABLE COLUMNS HANDLER - calls HANDLER with the cells of every row.
# COLUMNS may name several counts ("2|5") or the least ("4+"); with "raw" among
# them a row that begins with a bar is one cell, as it stands. A table that is
# missing has no rows.
each_row() {
	local file=$scenario/$1 columns=$2 handler=$3 line
	local -a cell
	row=0
	[[ -e $file ]] || return 0
	[[ -r $file ]] || die "read ${file##*/}: not readable"
	set -f
	while read -r line || [[ -n $line ]]; do
		((++row))
		[[ -n $line && $line != '#'* ]] || continue
		if [[ $line == '|'* && $columns == *raw ]]; then
			"$handler" "$line"
			continue
		fi
		# Splitting is what is wanted; globbing is off for the "*" host name.
		# shellcheck disable=SC2206
		cell=($line)
		[[ "|$columns|" == *"|${#cell[@]}|"* ||
			$columns == *+ && ${#cell[@]} -ge ${columns%+} ]] ||
			die "read the scenario: $1:$row: ${#cell[@]} columns, want ${columns//|/ or }"
		"$handler" "${cell[@]}"
	done <"$file"
	set +f
}

radios=()
# Sums over the stations of a radio: bytes, bytes a second, packets, failures.
declare -A tx_bytes tx_rate tx_packets tx_failures rx_bytes rx_rate rx_packets

add_radio() {
	radios+=("$1")
	tx_bytes[$1]=0 tx_rate[$1]=0 tx_packets[$1]=0 tx_failures[$1]=0
	rx_bytes[$1]=0 rx_rate[$1]=0 rx_packets[$1]=0
	printf "%s='%s'\n" \
		channel "$2" word "$3" version "$4" knoise "$5" tx "$6" inbss "$7" \
		obss "$8" nocat "$9" nopkt "${10}" doze "${11}" txop "${12}" \
		goodtx "${13}" badtx "${14}" glitch "${15}" glitch_rate "${16}" \
		badplcp "${17}" badplcp_rate "${18}" idle "${19}" busy "${20}" \
		timestamp "${21}" >"$machine/radio/$1"
	step "make the stations of $1" mkdir "$machine/station/$1"
}

# A station's file is named by its address the way the driver prints it, so
# that the reports find it without a search.
add_station() {
	[[ -d $machine/station/$1 ]] ||
		die "read the scenario: stations:$row: no radio $1"
	printf "%s='%s'\n" \
		kind "$3" width "$4" aid "$5" idle "$6" since "$7" signal "$8" \
		rssi "$9" noise "${10}" tx_kbps "${11}" rx_kbps "${12}" \
		tx_bytes "${13}" tx_rate "${14}" tx_size "${15}" tx_retry "${16}" \
		tx_fail "${17}" rx_bytes "${18}" rx_rate "${19}" rx_size "${20}" \
		rx_retry "${21}" >"$machine/station/$1/${2^^}"
	((tx_bytes[$1] += ${13}, tx_rate[$1] += ${14}, tx_packets[$1] += ${13} / ${15},
		tx_failures[$1] += ${13} * ${17} / ${15} / 1000000,
		rx_bytes[$1] += ${18}, rx_rate[$1] += ${19}, rx_packets[$1] += ${18} / ${20}, 1))
}

# Adds to each radio what it carries for its stations: the bytes, their growth, the
# mean size of a packet and, in a million, the packets that are given up.
add_traffic() {
	local radio tx rx
	for radio in "${radios[@]}"; do
		tx=${tx_packets[$radio]}
		rx=${rx_packets[$radio]}
		printf "%s='%s'\n" \
			carried_tx "${tx_bytes[$radio]}" carried_tx_rate "${tx_rate[$radio]}" \
			carried_tx_size $((tx ? tx_bytes[$radio] / tx : 512)) \
			carried_tx_fail $((tx ? tx_failures[$radio] * 1000000 / tx : 0)) \
			carried_rx "${rx_bytes[$radio]}" carried_rx_rate "${rx_rate[$radio]}" \
			carried_rx_size $((rx ? rx_bytes[$radio] / rx : 512)) >>"$machine/radio/$radio"
	done
}

lease_lines=

# A raw row goes to the file without its bar, with backslash escapes replaced; \c
# leaves the rest of the line out, its end included.
add_lease() {
	local line="$*"$'\n'
	(($# > 1)) || printf -v line '%b\n' "${1#|}"
	lease_lines+=$line
}

neighbour_lines=

add_neighbour() {
	local address=$1 mac=$2 state=$3 dev=$4 flags=$5
	neighbour_lines+="neigh add $address dev $dev nud ${state,,}"
	[[ $mac == - ]] || neighbour_lines+=" lladdr $mac"
	[[ $flags == - ]] || neighbour_lines+=" ${flags//,/ }"
	neighbour_lines+=$'\n'
}

flow_lines=
flow_rows=()

add_flow() {
	local proto=$1 src=$2 sport=$3 dst=$4 dport=$5 state=$6 status=$7 mark=$8
	local timeout=$9 reply_src=${10} reply_dst=${11}
	local line="-I -p $proto -s $src -d $dst -t $timeout"

	[[ $reply_src == - ]] && reply_src=$dst
	[[ $reply_dst == - ]] && reply_dst=$src
	[[ $reply_dst == wan ]] && reply_dst=$wan_address
	case $proto in
	icmp | icmpv6)
		# conntrack works the reply of an echo out by itself, and takes none.
		line+=" --$proto-id $sport --$proto-type ${dport%/*} --$proto-code ${dport#*/}"
		;;
	*)
		line+=" -r $reply_src -q $reply_dst"
		[[ $sport == - ]] || line+=" --sport $sport --dport $dport --reply-port-src $dport --reply-port-dst $sport"
		;;
	esac
	[[ $state == - ]] || line+=" --state $state"
	[[ $status == - ]] || line+=" -u $status"
	[[ $mark == - ]] || line+=" -m $mark"
	flow_lines+=$line$'\n'
	flow_rows+=("$row:$line")
}

fault_lines=
missing=()

add_fault() {
	local tool=$1 fault=$2 value=$3
	local wrong="read the scenario: faults:$row:"
	shift 3
	[[ -e $machine/bin/$tool ]] || die "$wrong no simulated tool $tool"
	case $fault in
	lines | bytes | stray | status | delay)
		[[ $value =~ ^[0-9]+$ ]] || die "$wrong $fault needs a number"
		;;
	silent | garbage | down)
		[[ $value == - ]] || die "$wrong $fault takes no value"
		;;
	missing)
		[[ "$value $*" == '- *' ]] || die "$wrong a tool is missing for all arguments"
		missing+=("$tool")
		return
		;;
	*) die "$wrong no fault $fault" ;;
	esac
	fault_lines+="$tool $fault $value $*"$'\n'
}

# The tools look whether there is a table; without one they lose no time.
make_faults() {
	local tool
	for tool in "${missing[@]}"; do
		step "remove $tool" rm -f /usr/bin/"$tool" /bin/"$tool"
	done
	[[ -z $fault_lines ]] || printf '%s' "$fault_lines" >"$machine/faults" ||
		die 'write the faults'
}

read_scenario() {
	each_row radios 21 add_radio
	each_row stations 21 add_station
	add_traffic
	each_row faults 4+ add_fault
	[[ -z $capture ]] || read_calls
	make_faults
	each_row leases '2|4|5|raw' add_lease
	each_row neighbours 5 add_neighbour
	each_row flows 11 add_flow
	printf '%s' "$lease_lines" >/etc/dhcp_lan.leases ||
		die 'write /etc/dhcp_lan.leases'
	[[ -z $capture ]] || read_captured_system
}

# --- network -----------------------------------------------------------------

set_defaults() {
	local net=/proc/sys/net

	put 1 $net/ipv4/ip_forward
	put 1 $net/ipv6/conf/all/forwarding
	# No wait for duplicate addresses: nobody else is on these wires.
	put 0 $net/ipv6/conf/default/accept_dad
	put 0 $net/ipv6/conf/default/dad_transmits
	# Naming the table loads the module that brings the setting.
	[[ -e $net/netfilter/nf_conntrack_acct ]] || conntrack -C >/dev/null 2>&1
	put 1 $net/netfilter/nf_conntrack_acct
}

# Nobody answers for the made-up neighbours, so the states a scenario gives them
# must outlast the slowest test. Retransmission itself stays quick: real clients
# are looked for on the same bridge. The settings count from an entry's next
# timer on, so they may come after the entries.
preserve_neighbours() {
	local family dev
	for family in ipv4 ipv6; do
		for dev in br-lan eth3 "$@"; do
			local to=/proc/sys/net/$family/neigh/$dev
			put 86400000 "$to/base_reachable_time_ms"
			put 86400 "$to/ucast_solicit"
			put 86400 "$to/mcast_solicit"
		done
	done
}

# Addresses that a capture has for interfaces.
declare -A mac_of=()

# The far ends of the wires lie on this machine too: with ARP on they would
# answer for the gateway's addresses beside br-lan.
print_network() {
	local radio n=0
	lines 'link set lo up' \
		"link add br-lan address ${mac_of[br-lan]-02:00:5e:00:01:01} type bridge" \
		"link add eth3 address ${mac_of[eth3]-02:00:5e:00:01:03} type veth peer name eth3-net" \
		'link set eth3-net addrgenmode none arp off up' \
		'link set eth3 up' \
		'link set br-lan up' \
		'address add 192.168.1.1/24 dev br-lan' \
		'address add fd42:c0de:1::1/64 dev br-lan nodad' \
		"address add $wan_address/24 dev eth3" \
		'address add 2001:db8:0:10::10/64 dev eth3 nodad' \
		'route add default via 203.0.113.1 dev eth3'
	for radio in "${radios[@]}"; do
		lines "link add $radio address ${mac_of[$radio]-02:00:5e:00:02:0$((n++))} type veth peer name $radio-air" \
			"link set $radio-air addrgenmode none arp off up" \
			"link set $radio master br-lan up"
	done
	printf '%s' "$neighbour_lines"
}

lines() {
	printf '%s\n' "$@"
}

make_network() {
	local batch=$machine/boot/network said line=
	set_defaults
	print_network >"$batch"
	if ! said=$(ip -batch "$batch" 2>&1); then
		[[ $said =~ :([0-9]+)$ ]] &&
			mapfile -t -s $((BASH_REMATCH[1] - 1)) -n 1 line <"$batch"
		die "make the network: ${said//$'\n'/; }: ${line[0]}"
	fi
	preserve_neighbours
}

# conntrack says neither which line it stumbled over nor always that it did.
make_flows() {
	local batch=$machine/boot/flows said count one
	((${#flow_rows[@]})) || return 0
	printf '%s' "$flow_lines" >"$batch"
	said=$(conntrack -R "$batch" 2>&1)
	read -r count </proc/sys/net/netfilter/nf_conntrack_count
	((count == ${#flow_rows[@]})) && return
	conntrack -F 2>/dev/null
	for one in "${flow_rows[@]}"; do
		said=$(conntrack -R - <<<"${one#*:}" 2>&1) ||
			die "make the connections: flows:${one%%:*}: ${said//$'\n'/; }"
	done
	die "make the connections: $count of ${#flow_rows[@]} made: ${said//$'\n'/; }"
}

# --- time --------------------------------------------------------------------

# Sets haste to what makes a program live faster. The faketime command does not run the
# command: it would stand between that and this shell, with a mind of its own about
# signals and exit statuses. It keeps the one clock, in /dev/shm, that all processes
# look at, and says which that is.
make_haste() {
	local clock preload shared
	cover /dev/shm 1777
	# shellcheck disable=SC2016
	exec {clock}< <(
		trap '' INT QUIT
		exec faketime -f "+0 x$speed" sh -c 'printf "%s\n" "$LD_PRELOAD" "$FAKETIME_SHARED"
			unset LD_PRELOAD
			exec sleep infinity' </dev/null 2>/dev/null
	)
	read -r -u "$clock" preload
	read -r -u "$clock" shared || die 'start the fast clock'
	exec {clock}<&-
	haste=("LD_PRELOAD=$preload" "FAKETIME_SHARED=$shared" "FAKETIME=+0 x$speed")
}

# --- the machine -------------------------------------------------------------

# shellcheck source=sim/lib/replay.bash
[[ -z $capture ]] || . "$sim/lib/replay.bash"

keep_all "$1"
make_file_systems
read_scenario
make_network
make_flows
[[ -z $capture ]] || load_captured_tables

((speed == 1)) || make_haste
read -r uptime _ </proc/uptime
put "$uptime $speed" "$machine/uptime-at-boot"
: >"$machine/tools.log"
[[ -z $capture ]] || report_replay

export SIM_SCENARIO=${scenario##*/}
[[ -z $capture ]] || SIM_SCENARIO=replay
cd "$here" 2>/dev/null || cd / || die 'find a working directory'

# An interrupt is for the command; this shell stays to report how it ended. The
# subshell's exec makes sure that the command is a program, not a function here.
trap : INT QUIT
(
	((speed == 1)) || export "${haste[@]}"
	exec "$@"
)
exit $?
