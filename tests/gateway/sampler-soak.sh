#!/bin/bash
# A daemon must not grow: 2,000 rounds of the sampler, with a station that leaves and comes back, need the memory and the descriptors that 700 needed.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_SAMPLER:?the sampler}
rounds=2000
# The histories are full after 500 rounds; until then they grow into their memory.
warm=700
station=/run/sim/station/wl0/02:A1:5E:10:00:01
neighbour=(192.168.1.20 lladdr 02:a1:5e:10:00:01 dev br-lan)
# In kB, two pages: a line of log or a larger report may be the first to reach deeper
# into the stack or the heap. A byte a round would be one page, a list element more.
noise=8

expect_at_most() {
	if (($2 <= $1)); then
		verdict yes '' ''
	else
		verdict no "at most $1" "$2"
	fi
}

round() {
	wc -l <"$progress"
}

reached() {
	(($(round) >= $1)) || ! kill -0 "$pid" 2>/dev/null
}

# settle ROUND - waits for it, with visits of the station on the way. It ends at home.
settle() {
	while ! reached $(($1 - 50)); do
		mv "$station" /run/gone
		ip neigh del "${neighbour[@]}" 2>>"$progress.ip"
		leaves=$((leaves + 1))
		await 60 reached $(($(round) + 20))
		mv /run/gone "$station"
		ip neigh replace "${neighbour[@]}" nud reachable
		await 60 reached $(($(round) + 80))
	done
	await 60 reached "$1"
}

# measure - sets memory, in kB, and descriptors to the least of some looks: a tool that
# is being read takes a descriptor for the time. The memory is what is resident without
# the pages of files, which the kernel brings and takes; VmRSS, beside that, is counted
# by processor and only about right.
measure() {
	local look kb fds
	memory='' descriptors=''
	for ((look = 0; look < 20; look++)); do
		kb=$(sed -n 's/^Anonymous: *\([0-9]*\) kB$/\1/p' "/proc/$pid/smaps_rollup")
		fds=("/proc/$pid/fd"/*)
		memory=$((kb < ${memory:-kb + 1} ? kb : memory))
		descriptors=$((${#fds[@]} < ${descriptors:-99999} ? ${#fds[@]} : descriptors))
		sleep 0.01
	done
}

soak() {
	local progress=/run/progress pid leaves=0 memory descriptors warm_memory warm_descriptors
	mkdir /run/files
	rm /run/sim/station/wl1/*
	"$program" 1 "$rounds" /run/files >/run/issues 2>"$progress" &
	pid=$!

	settle "$warm"
	measure
	warm_memory=$memory warm_descriptors=$descriptors
	settle $((rounds - 200))
	check 'it still runs'
	expect_status 0 kill -0 "$pid"
	measure
	note "$leaves visits; $warm_memory kB and $warm_descriptors descriptors, then $memory kB and $descriptors"
	check 'no descriptor is left open'
	# One more may be the pipe of a tool that was being read at every look.
	expect_at_most $((warm_descriptors + 1)) "$descriptors"
	check 'memory does not grow'
	# AddressSanitizer keeps what is freed for a while; its own check comes at the end.
	if grep -aq __asan_init "$program"; then
		note 'memory is not compared: built with AddressSanitizer'
	else
		expect_at_most $((warm_memory + noise)) "$memory"
	fi

	check 'it ends well'
	wait "$pid"
	expect_is 0 $?
	check 'the station was away'
	expect_at_least 5 "$leaves"
	expect_has ': 3 radios, 1 devices, ' "$(<"$progress")"
	expect_is "round $rounds of $rounds: 3 radios, 2 devices" "$(sed -n '$s/, [0-9]* samples missed$//p' "$progress")"
	expect_is 3 "$(grep -lE '^[0-9,-]+$' /run/files/radio-* | wc -l)"
	expect_is 500 "$(wc -l </run/files/radio-wl0.csv)"
}

case ${1-} in
inside) soak ;;
*)
	SIM_KEEP=${SIM_KEEP:+$SIM_KEEP:}${program%/*}
	inside --scenario quiet
	;;
esac
