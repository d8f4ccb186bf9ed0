# What the simulated tools share. Runs under BusyBox's shell.
#
# A gateway has a slow processor and so does a test that lists 64 stations many
# times: functions hand results over in variables, because $(...) costs a process.
# shellcheck shell=dash disable=SC1091,SC2034,SC3043

sim=/run/sim

# called TOOL ARGUMENT... - notes the call for tests that count them. Where the
# scenario has faults, one may take over: then this does not return.
called() {
	[ -z "$SIM_FAULTS_MET" ] || return 0
	printf '%s\n' "$*" >>$sim/tools.log
	[ -e $sim/faults ] || return 0
	. $sim/lib/faults.sh
	meet_faults "$@"
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
