#!/bin/bash
# The program's log file beside its console: every line is in both, through rotations too, and whatever happens to
# the file changes neither the output nor the exit status.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}
folder=/tmp/vantu
file=$folder/${program##*/}.txt
limit=65536
export LC_ALL=C

# What the console shows once the sinks are there, without the colours of its own, cut where a line of the file is: 255
# characters with a date. What is no log line, or stands behind a line end in a message, is left out.
console_lines() {
	local colour=$'\x1b\\[[0-9]*m'
	sed -E "1,/ uci filepath set to /d
		s/^([0-9:]{8}) $colour(.{5})$colour $colour([^ ]*)$colour /\\1 \\2 \\3 /" "$1" |
		grep -aE '^[0-9]{2}:[0-9]{2}:[0-9]{2} ' | cut -b 1-244
}

# The lines of log files without the date.
file_lines() {
	cat "$@" | sed -nE 's/^[0-9]{4}-[0-9]{2}-[0-9]{2} ([0-9]{2}:[0-9]{2}:[0-9]{2} )/\1/p'
}

# expect_same WANT_FILE GOT_FILE - the first lines that differ are shown.
expect_same() {
	expect_is '' "$(diff "$1" "$2" | head -n 6)"
}

# run TEST - its log lines are added to $scratch/console.
run() {
	expect_status 0 "$program" -f "$1"
	console_lines "$scratch/err" >>"$scratch/console"
}

if [[ ${1-} == inside ]]; then
	check 'the first run makes the folder'
	run get_dhcpleases
	expect_err_has 'create folder'
	expect_is 600 "$(stat -c %a "$file")"
	check 'the file has every line of the console'
	for test in get_radios get_associated_devices get_conntrack; do
		run "$test"
		expect_err_lacks 'create folder'
	done
	expect_at_least 100 "$(wc -l <"$scratch/console")"
	expect_same "$scratch/console" <(file_lines "$file")

	check 'rotations keep the youngest lines, each once and in order'
	for ((i = 0; i < 40; i++)); do
		run get_associated_devices
		[[ -e $file.3 && $(stat -c %s "$file") -gt 20000 ]] && ((i > 20)) && break
	done
	file_lines "$file".{3,2,1} "$file" >"$scratch/kept"
	expect_at_least 1000 "$(wc -l <"$scratch/kept")"
	expect_at_least "$(($(wc -l <"$scratch/kept") + 100))" "$(wc -l <"$scratch/console")"
	expect_same <(tail -n "$(wc -l <"$scratch/kept")" "$scratch/console") "$scratch/kept"
	expect_is "$(printf '%s\n' "$file" "$file".{1,2,3})" "$(printf '%s\n' "$folder"/*)"
	for n in 1 2 3; do
		expect_at_least $((limit - 512)) "$(stat -c %s "$file.$n")"
		expect_at_least "$(stat -c %s "$file.$n")" "$limit"
	done
	output=$("$program" -f get_radios 2>/dev/null)

	check 'a file that is deleted between two runs begins anew'
	rm "$file"
	: >"$scratch/console"
	run get_radios
	expect_same "$scratch/console" <(file_lines "$file")

	check 'a link that was planted is not followed'
	echo kept >/tmp/victim
	ln -sf /tmp/victim "$file"
	run get_radios
	expect_out_is "$output"
	expect_err_has 'log_to_file/open: Too many levels of symbolic links'
	expect_is kept "$(</tmp/victim)"

	check 'a file where the folder should be'
	rm -r "$folder"
	echo kept >"$folder"
	run get_radios
	expect_out_is "$output"
	expect_err_has "error: $folder exists, but is not a directory"
	expect_err_lacks 'create folder'
	expect_is kept "$(<"$folder")"
	rm "$folder"

	check 'a full disk loses lines that are reported, and none in part'
	mkdir "$folder"
	need mount -t tmpfs -o size=8k tmpfs "$folder"
	: >"$scratch/console"
	run get_associated_devices
	expect_err_has 'log_to_file/write: No space left on device'
	lines=$(file_lines "$file" | wc -l)
	expect_at_least 50 "$lines"
	expect_is '' "$(comm -13 <(sort "$scratch/console") <(file_lines "$file" | sort) | head -n 3)"
	reported=$(grep -ac '^log_to_file/write: ' "$scratch/err")
	expect_is "$(wc -l <"$scratch/console")" "$((lines + reported))"
	umount "$folder"
else
	inside
fi
