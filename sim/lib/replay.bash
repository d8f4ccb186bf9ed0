# Makes the router from a capture instead of a scenario; part of boot.bash. The archive
# comes from elsewhere, so nothing in it is believed: names and sizes are looked at
# before anything is unpacked, words before they become part of a command.
# shellcheck shell=bash disable=SC2034,SC2154,SC2317

most_bytes=$((64 * 1024 * 1024))
most_members=5000
most_interfaces=32

replay_notes=()

# note_replay TEXT - what the replayed router lacks; it ends up in the log of the tools.
note_replay() {
	replay_notes+=("replay: $1")
}

report_replay() {
	((${#replay_notes[@]} == 0)) || printf '%s\n' "${replay_notes[@]}" >"$machine/tools.log" ||
		die 'write the notes'
}

bad_capture() {
	die "unpack the capture: $1"
}

# --- the archive ---------------------------------------------------------------

# check_member LINE - a line of tar's table of contents. Directories and files are all
# that a capture has, with the names that vantu-capture gives.
check_member() {
	local line='^([-a-z])[-rwxsStT]{9} [0-9]+/[0-9]+ +([0-9]+) [-0-9]+ [0-9:]+ (.*)$'
	local directory='^vantu-capture(/fcctl|/config)?/?$'
	local file='^vantu-capture/(about|calls|notes|(fcctl/)?[A-Za-z0-9._-]+\.txt|config/[A-Za-z0-9_-]+)$'
	[[ $1 =~ $line ]] || bad_capture 'damaged'
	local kind=${BASH_REMATCH[1]} size=${BASH_REMATCH[2]} name=${BASH_REMATCH[3]}
	case $kind in
	d) [[ $name =~ $directory ]] || bad_capture "a directory that no capture has: $name" ;;
	-) [[ $name =~ $file ]] || bad_capture "a file that no capture has: $name" ;;
	*) bad_capture "neither file nor directory: $name" ;;
	esac
	# A file with holes is larger than its part of the archive.
	((${#size} < 10 && (total += size) <= most_bytes)) || bad_capture 'too large'
	((++members <= most_members)) || bad_capture 'too many files'
}

# The archive is looked at with the same program that unpacks it.
unpack_capture() {
	local plain=$machine/boot/capture.tar contents=$machine/boot/contents
	local line members=0 total=0
	local -a ended
	gzip -dc <&"$capture" 2>/dev/null | head -c $((most_bytes + 1)) >"$plain"
	ended=("${PIPESTATUS[@]}")
	((ended[1] == 0)) || bad_capture 'no space'
	(($(stat -c %s "$plain") <= most_bytes)) || bad_capture 'too large'
	((ended[0] == 0)) || bad_capture 'damaged, or no .tar.gz'
	exec {capture}<&-
	LC_ALL=C TZ=UTC tar --numeric-owner --quoting-style=escape -tvf "$plain" >"$contents" 2>/dev/null ||
		bad_capture 'damaged'
	while IFS= read -r line; do
		check_member "$line"
	done <"$contents"
	((members)) || bad_capture 'empty'
	mkdir "$machine/capture"
	tar -C "$machine/capture" --no-same-owner --no-same-permissions -xf "$plain" 2>/dev/null ||
		bad_capture 'damaged'
	rm -f "$plain" "$contents"
	scenario=$machine/capture/vantu-capture
	step 'open the capture' chmod -R u+rwX,go+rX "$machine/capture"
	check_format
	step 'make the router'\''s uname' install -m 755 "$sim/lib/uname.sh" "$machine/bin/uname"
}

check_format() {
	local line=
	[[ -f $scenario/about && -f $scenario/calls ]] || bad_capture 'the list of calls is missing'
	read -r line <"$scenario/about"
	[[ $line == 'format: 1' ]] || bad_capture "not of format 1: '${line:0:40}'"
	[[ -d $scenario/config ]] || step 'make an empty store' mkdir "$scenario/config"
}

# --- the calls -----------------------------------------------------------------

# Each answer has a file that is named by the arguments: finding one takes no search.
# The name is made as the function answer of tool.sh makes it.
add_answer() {
	local tool=$1 arguments=$2 status=$3 file=$4 key
	key=_$arguments
	key=${key//a/A} key=${key//b/B} key=${key//c/C}
	key=${key//d/D} key=${key//e/E} key=${key//f/F}
	key=${key//\//|}
	if ((${#key} > 255)); then
		note_replay "too long a call: $tool"
		return
	fi
	mkdir -p "$machine/answers/$tool"
	put "status=$status file=$scenario/$file" "$machine/answers/$tool/$key"
}

# Tools that are real on a simulated router, too, answer for themselves. A tool of which
# the capture says that it was not installed is not there.
read_calls() {
	local status file command tool
	local name='^([A-Za-z0-9_-]+/)?[A-Za-z0-9_.-]+$'
	local -A there=() gone=()
	step 'make the answers' mkdir "$machine/answers"
	while IFS=' ' read -r status file command; do
		tool=${command%% *}
		[[ $status =~ ^[0-9]{1,3}$ && $file =~ $name && $tool =~ ^[A-Za-z0-9_./-]+$ ]] ||
			bad_capture 'a call that is none'
		tool=${tool##*/}
		[[ -n $tool && -f $machine/bin/$tool ]] || continue
		if [[ $file == - ]]; then
			gone[$tool]=1
			continue
		fi
		[[ -f $scenario/$file ]] || bad_capture "no output: $file"
		there[$tool]=1
		[[ $command == *' '* ]] || command+=' '
		add_answer "$tool" "${command#* }" "$((10#$status & 255))" "$file"
	done <"$scenario/calls"
	for tool in "${!gone[@]}"; do
		[[ -n ${there[$tool]-} ]] || missing+=("$tool")
	done
}

# --- the system ----------------------------------------------------------------

other_interfaces=()

# add_interface NAME - what the neighbours are behind. The far ends of a simulated
# router's wires need not be there twice.
add_interface() {
	local name=$1
	case $name in
	lo | br-lan | eth3 | *-air | *-net) return 0 ;;
	esac
	[[ " ${radios[*]} ${other_interfaces[*]} " != *" $name "* ]] || return 0
	if [[ ! $name =~ ^[A-Za-z0-9_][A-Za-z0-9_.-]{0,14}$ ]] ||
		((${#radios[@]} + ${#other_interfaces[@]} >= most_interfaces)); then
		note_replay "no interface $name"
	elif [[ $name == wl* && ${#name} -le 11 ]]; then
		radios+=("$name")
	else
		other_interfaces+=("$name")
	fi
}

read_interfaces() {
	local name what value
	[[ -f $scenario/interfaces.txt ]] || return 0
	while read -r name what value; do
		[[ $what == address ]] || continue
		add_interface "$name"
		# One of a group cannot be an interface's.
		[[ ! $value =~ ^[0-9a-fA-F][02468aceACE](:[0-9a-fA-F]{2}){5}$ || $value == 00:00:00:00:00:00 ]] ||
			mac_of[$name]=$value
	done <"$scenario/interfaces.txt"
}

# is_address TEXT - of either family. With one that is none, ip would end and leave the
# rest undone.
is_address() {
	local octet='(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])' groups
	[[ ! $1 =~ ^$octet(\.$octet){3}$ ]] || return 0
	[[ $1 =~ ^[0-9a-fA-F:]+$ && $1 != *:::* && $1 != *::*::* && $1 != :[!:]* && $1 != *[!:]: ]] || return 1
	[[ ! $1 =~ [0-9a-fA-F]{5} ]] || return 1
	groups=${1//[!:]/}
	if [[ $1 == *::* ]]; then
		((${#groups} <= 7))
	else
		((${#groups} == 7))
	fi
}

captured_neighbours=()
captured_lines=()

# "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 router REACHABLE". The kernel leaves the
# state DELAY at once; PROBE is what comes next.
read_neighbours() {
	local line state flags mac='[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}'
	local pattern="^([^ ]+) dev ([A-Za-z0-9_][A-Za-z0-9_.-]{0,14})( lladdr ($mac))?( .*)? (REACHABLE|STALE|DELAY|PROBE|FAILED|INCOMPLETE|PERMANENT|NOARP) *\$"
	[[ -f $scenario/ip_neigh.txt ]] || return 0
	while IFS= read -r line; do
		if ! is_address "${line%% *}" || [[ ! $line =~ $pattern ]]; then
			note_replay "not loaded: $line"
			continue
		fi
		state=${BASH_REMATCH[7],,}
		[[ $state != delay ]] || state=probe
		flags=
		[[ ${BASH_REMATCH[6]} != *' router'* ]] || flags=' router'
		captured_neighbours+=("neigh replace ${BASH_REMATCH[1]} dev ${BASH_REMATCH[2]} nud $state${BASH_REMATCH[4]:+ lladdr ${BASH_REMATCH[4]}}$flags")
		captured_lines+=("$line")
		add_interface "${BASH_REMATCH[2]}"
	done <"$scenario/ip_neigh.txt"
}

read_captured_system() {
	if [[ -f $scenario/wrt_dhcp_leases.txt ]]; then
		step 'write the leases' cp "$scenario/wrt_dhcp_leases.txt" /etc/dhcp_lan.leases
	else
		step 'remove the leases' rm -f /etc/dhcp_lan.leases
	fi
	read_interfaces
	read_neighbours
}

# --- the kernel's tables -------------------------------------------------------

# load_lines ARRAY_OF_COMMANDS ARRAY_OF_TEXTS - runs ip's commands; those that fail are noted.
load_lines() {
	local -n commands=$1 texts=$2
	local batch=$machine/boot/captured said
	((${#commands[@]})) || return 0
	printf '%s\n' "${commands[@]}" >"$batch"
	while IFS= read -r said; do
		[[ $said =~ ^Command\ failed\ .*:([0-9]+)$ ]] && note_replay "not loaded: ${texts[BASH_REMATCH[1] - 1]}"
	done < <(ip -force -batch "$batch" 2>&1)
}

# There is no kind of interface that every kernel has but the ones that the machine needs.
make_other_interfaces() {
	local name
	local -a names=() made=()
	for name in "${other_interfaces[@]}"; do
		made+=("link add $name address ${mac_of[$name]-02:00:5e:00:04:01} type bridge" "link set $name up")
		names+=("interface $name" "interface $name")
	done
	load_lines made names
}

# The provider's router is where the route says, whatever address the machine has.
load_route() {
	local line
	[[ -f $scenario/ip_route.txt ]] || return 0
	read -r line <"$scenario/ip_route.txt"
	ip route del default 2>/dev/null
	[[ -n $line ]] || return 0
	local -a route=() text=("$line")
	if [[ $line =~ ^default\ via\ ([0-9.]+)\ dev\ ([A-Za-z0-9_][A-Za-z0-9_.-]{0,14})( |$) ]]; then
		local address=${BASH_REMATCH[1]} dev=${BASH_REMATCH[2]}
		is_address "$address" && route=("route replace default via $address dev $dev onlink")
	fi
	if ((${#route[@]})); then
		load_lines route text
	else
		note_replay "not loaded: $line"
	fi
}

flow_commands=()
flow_texts=()

# value NAME - the next NAME= of the rest of the line, which goes on behind it.
value() {
	found=
	[[ $rest =~ (^|\ )$1=([0-9a-fA-F:.]+)(.*)$ ]] || return 1
	found=${BASH_REMATCH[2]}
	rest=${BASH_REMATCH[3]}
}

# flow_from LINE - sets command to what makes the connection. The kernel's table has the
# family in front, and that of the tool has not. Those of a scenario last
# for a day at least, and so do these. The answer to an echo follows from the echo.
flow_from() {
	local line=$1 rest found proto timeout state status=SEEN_REPLY
	local head='^(ipv[46] +[0-9]+ )?([a-z0-9]+) +[0-9]+ ([0-9]+) ([A-Z_0-9]+ )?(src=.*)$'
	[[ $line =~ $head ]] || return 1
	proto=${BASH_REMATCH[2]} timeout=${BASH_REMATCH[3]} state=${BASH_REMATCH[4]% } rest=${BASH_REMATCH[5]}
	((${#timeout} < 10 && 10#$timeout > 86400)) || timeout=86400
	command="-I -p $proto -t $timeout"
	[[ -z $state ]] || command+=" --state $state"
	case $line in
	*'[UNREPLIED]'*) status= ;;
	*'[ASSURED]'*) status=SEEN_REPLY,ASSURED ;;
	esac
	[[ -z $status ]] || command+=" -u $status"
	value src && command+=" -s $found" && value dst && command+=" -d $found" || return 1
	case $proto in
	icmp | icmpv6)
		value type && command+=" --$proto-type $found" && value code && command+=" --$proto-code $found" &&
			value id && command+=" --$proto-id $found" || return 1
		;;
	*)
		! value sport || command+=" --sport $found"
		! value dport || command+=" --dport $found"
		value src && command+=" -r $found" && value dst && command+=" -q $found" || return 1
		! value sport || command+=" --reply-port-src $found"
		! value dport || command+=" --reply-port-dst $found"
		;;
	esac
	! value mark || [[ $found == 0 ]] || command+=" -m $found"
}

# The table that the kernel shows is taken before the tool's; it names the families.
read_flows() {
	local line command file
	for file in wrt_conntrack.txt conntrack.txt ''; do
		[[ -n $file ]] || return 0
		[[ ! -s $scenario/$file ]] || break
	done
	while IFS= read -r line; do
		if flow_from "$line"; then
			flow_commands+=("$command")
			flow_texts+=("$line")
		else
			note_replay "not loaded: $line"
		fi
	done <"$scenario/$file"
}

# load_flow INDEX - one connection; one that is there already is not missed.
load_flow() {
	local said
	said=$(conntrack -R - <<<"${flow_commands[$1]}" 2>&1) || [[ $said == *exist* ]] ||
		note_replay "not loaded: ${flow_texts[$1]}"
}

# conntrack does not say which line of many it stumbled over: those of a group with one
# that fails are tried one by one.
load_flows() {
	local first i before after
	local -a group
	for ((first = 0; first < ${#flow_commands[@]}; first += 64)); do
		group=("${flow_commands[@]:first:64}")
		read -r before </proc/sys/net/netfilter/nf_conntrack_count
		printf '%s\n' "${group[@]}" >"$machine/boot/flows"
		conntrack -R "$machine/boot/flows" >/dev/null 2>&1
		read -r after </proc/sys/net/netfilter/nf_conntrack_count
		((after - before < ${#group[@]})) || continue
		for i in "${!group[@]}"; do
			load_flow $((first + i))
		done
	done
}

load_captured_tables() {
	make_other_interfaces
	load_route
	preserve_neighbours "${radios[@]}" "${other_interfaces[@]}"
	load_lines captured_neighbours captured_lines
	read_flows
	load_flows
}
