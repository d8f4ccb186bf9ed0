# What the simulated tools share. Runs under BusyBox's shell.
#
# A gateway has a slow processor and so does a test that lists 64 stations many
# times: functions hand results over in variables, because $(...) costs a process.
# shellcheck shell=dash disable=SC1090,SC1091,SC2034,SC2154,SC3043,SC3060

sim=/run/sim

# called TOOL ARGUMENT... - notes the call for tests that count them. Where the
# scenario has faults, one may take over, and so may a capture that is replayed: then
# this does not return.
called() {
	if [ -n "$SIM_FAULTS_MET" ]; then
		# Those that this tool calls have faults of their own.
		unset SIM_FAULTS_MET
	else
		printf '%s\n' "$*" >>$sim/tools.log
		if [ -e $sim/faults ]; then
			. $sim/lib/faults.sh
			meet_faults "$@"
		fi
	fi
	[ ! -e $sim/answers ] || answer "$@"
}

# answer TOOL ARGUMENT... - what the router said to the same call, when it is replayed.
# Returns when the capture lacks the call: then the tool answers as on a router without
# radios. The drivers do not mind the case of an address.
answer() {
	local tool=$1 status file
	shift
	[ -d "$sim/answers/$tool" ] || return 0
	capitals "_$*"
	mac=$sim/answers/$tool/${mac//\//|}
	if ! [ -e "$mac" ]; then
		printf 'replay: not in the capture: %s\n' "$tool $*" >>$sim/tools.log
		return 0
	fi
	. "$mac"
	cat "$file"
	exit "$status"
}

# pause MILLISECONDS
pause() {
	local thousandths=$((1000 + $1 % 1000))
	sleep $(($1 / 1000)).${thousandths#1}
}

# Sets elapsed to the hundredths of seconds since the gateway booted, in its own time,
# which may go by faster than the kernel's.
read_clock() {
	local now boot speed rest
	read -r now rest </proc/uptime
	read -r boot speed <$sim/uptime-at-boot
	# A leading 1 keeps "08" from being taken for octal.
	elapsed=$((((${now%.*} - ${boot%.*}) * 100 + 1${now#*.} - 1${boot#*.}) * speed))
}

# grow NAME BASE RATE - sets NAME to BASE plus RATE for every second so far.
grow() {
	eval "$1=\$(($2 + $3 * elapsed / 100))"
}

# Sets mac to the argument with capital letters, as the driver prints it.
capitals() {
	mac=$1
	mac=${mac//a/A}
	mac=${mac//b/B}
	mac=${mac//c/C}
	mac=${mac//d/D}
	mac=${mac//e/E}
	mac=${mac//f/F}
}

# Sets a station's counters once its file is read. Group traffic is what every client
# of the network gets; the rest follows from the station's bytes.
counters() {
	read_clock
	grow since "$since" 1
	[ "$idle" -eq 0 ] || grow idle "$idle" 1
	grow tx_bytes "$tx_bytes" "$tx_rate"
	grow rx_bytes "$rx_bytes" "$rx_rate"
	tx_pkts=$((tx_bytes / tx_size))
	rx_pkts=$((rx_bytes / rx_size))
	tx_group=$((since * 4))
	tx_group_bytes=$((tx_group * 333))
	rx_group=$((rx_pkts / 218))
	rx_group_bytes=$((rx_group * 151))
	failures=$((tx_pkts * tx_fail / 1000000))
	sent=$((tx_pkts - failures))
}
