# What the simulated tools do wrong where the scenario says so. A row of the table
# is a tool, a fault, its value and a pattern for the arguments.
# shellcheck shell=dash disable=SC2016,SC2154,SC3043

# again ARGUMENT... - what the tool says without faults.
again() {
	SIM_FAULTS_MET=1 "$0" "$@"
}

# No report and no text either: bytes that are not UTF-8, a conversion, a colour,
# a line end of another system, and none at the end.
print_garbage() {
	printf '\377\376\t%%s%%n\033[31m,;"$(\n\302 ~~~~\r\n:::: \200'
}

# print_stray N - copies its input with a line behind the first N that belongs to no
# report and has no digits.
print_stray() {
	local line n=0
	while [ $n -lt "$1" ] && IFS= read -r line; do
		printf '%s\n' "$line"
		n=$((n + 1))
	done
	printf '~~ stray line ~~\n'
	cat
}

# print_start OPTION N - copies the first N lines or bytes of its input. It reads the
# rest as well, or the tool would complain about a reader that went away.
print_start() {
	head "$1" "$2"
	cat >/dev/null
}

# meet_faults TOOL ARGUMENT... - does what the rows say that fit the call: waits for
# all of them, and what is printed and the status are those of the last that sets
# them. Returns when the tool is to answer by itself.
meet_faults() {
	local tool=$1 name fault value pattern wrong='' amount='' status=''
	shift
	while read -r name fault value pattern; do
		[ "$name" = "$tool" ] || continue
		# The pattern is meant to be one, hence no quotes.
		# shellcheck disable=SC2254
		case $* in
		$pattern) ;;
		*) continue ;;
		esac
		case $fault in
		delay) pause "$value" ;;
		status) status=$value ;;
		*) wrong=$fault amount=$value ;;
		esac
	done <"$sim/faults"
	case $wrong$status in
	'') return 0 ;;
	down) status=1 ;;
	esac
	case $wrong in
	silent) ;;
	down) printf '%s: Not Up\n' "$tool" ;;
	garbage) print_garbage ;;
	stray) again "$@" | print_stray "$amount" ;;
	lines) again "$@" | print_start -n "$amount" ;;
	bytes) again "$@" | print_start -c "$amount" ;;
	*) again "$@" ;;
	esac
	exit "${status:-0}"
}
