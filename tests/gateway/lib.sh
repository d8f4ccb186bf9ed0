# Checks for the cases of this folder. A check that fails says what it wanted and
# what it got and the case goes on; the case fails at its end.
#
#   check NAME                  names the checks that follow
#   expect_status N COMMAND...  runs COMMAND, keeps its output in $out and $err
#   expect_out_is TEXT          the last command's output, without the newlines
#   expect_err_is TEXT          at its end
#   expect_{out,err}_has TEXT   contains TEXT
#   expect_{out,err}_lacks TEXT
#   expect_is WANT GOT, expect_at_least WANT GOT, expect_has TEXT GOT
#   await SECONDS COMMAND...    until COMMAND succeeds
#   inside [OPTION...]          runs this script again on the gateway, with "inside"
# shellcheck shell=bash
set -u

case_file=$(readlink -f "$0")
case_dir=${case_file%/*}
case_name=${case_file##*/}
case_name=${case_name%.sh}
root=$(cd "$case_dir/../.." && pwd -P)
gateway=$root/sim/gateway
# shellcheck disable=SC2034
scenarios=$root/sim/scenarios

checks=0
failures=0
checking=start
out=
err=
scratch=$(mktemp -d) || exit 1

# The programs under test may have been built below /tmp, which the gateway
# covers with its own.
for program in "${VANTU_WIFI_CLI-}" "${VANTU_NEIGH_PROBE-}" "${VANTU_MARKING_PROBE-}"; do
	[[ $program == */* ]] && SIM_KEEP=${SIM_KEEP:+$SIM_KEEP:}${program%/*}
done
export SIM_KEEP=${SIM_KEEP-}

# Runs however the case ends. A case that made no check has not tested anything.
# What servers wrote to $scratch/NAME.log is shown when something failed.
finish() {
	local status=$? log
	if ((failures)); then
		for log in "$scratch"/*.log; do
			[[ -s $log ]] && sed "s/^/$case_name: ${log##*/}: /" "$log" >&2
		done
	fi
	rm -rf "$scratch"
	if ((failures)); then
		printf '%s: %d of %d checks failed\n' "$case_name" "$failures" "$checks" >&2
		exit 1
	fi
	((status == 0)) || exit "$status"
	if ((checks == 0)); then
		printf '%s: no check was made\n' "$case_name" >&2
		exit 1
	fi
	exit 0
}
trap finish EXIT

note() {
	printf '%s: note: %s\n' "$case_name" "$*"
}

check() {
	checking=$1
}

# verdict WORKED WANT GOT
verdict() {
	((++checks))
	[[ $1 == yes ]] && return
	((++failures))
	printf '%s: %s: want %s, got %s\n' "$case_name" "$checking" "$2" "$3" >&2
}

expect_status() {
	local want=$1 got
	shift
	out=$("$@" 2>"$scratch/err")
	got=$?
	err=$(<"$scratch/err")
	if ((got == want)); then
		verdict yes '' ''
	else
		verdict no "status $want of '$*'" "$got, stderr '$err'"
	fi
}

expect_is() {
	if [[ $1 == "$2" ]]; then
		verdict yes '' ''
	else
		verdict no "'$1'" "'$2'"
	fi
}

expect_has() {
	if [[ $2 == *"$1"* ]]; then
		verdict yes '' ''
	else
		verdict no "something with '$1'" "'$2'"
	fi
}

expect_lacks() {
	if [[ $2 != *"$1"* ]]; then
		verdict yes '' ''
	else
		verdict no "nothing with '$1'" "'$2'"
	fi
}

expect_at_least() {
	if [[ $2 =~ ^-?[0-9]+$ ]] && (($2 >= $1)); then
		verdict yes '' ''
	else
		verdict no "at least $1" "'$2'"
	fi
}

expect_out_is() { expect_is "$1" "$out"; }
expect_err_is() { expect_is "$1" "$err"; }
expect_out_has() { expect_has "$1" "$out"; }
expect_err_has() { expect_has "$1" "$err"; }
expect_out_lacks() { expect_lacks "$1" "$out"; }
expect_err_lacks() { expect_lacks "$1" "$err"; }

# need COMMAND... - for what the rest of a case builds upon.
need() {
	expect_status 0 "$@"
	((failures == 0)) || exit 1
}

await() {
	local seconds=$1 deadline
	shift
	deadline=$((SECONDS + seconds + 1))
	while ! "$@" >/dev/null 2>&1; do
		((SECONDS < deadline)) || return 1
		sleep 0.05
	done
}

inside() {
	"$gateway" "$@" bash "$case_file" inside
	local status=$?
	checking='the part inside the gateway'
	expect_is 0 "$status"
}

# rows TABLE_FILE - the rows without the comments, their cells a blank apart.
rows() {
	local -a cell
	while read -ra cell; do
		[[ ${#cell[@]} -gt 0 && ${cell[0]} != '#'* ]] && printf '%s\n' "${cell[*]}"
	done <"$1"
	return 0
}
