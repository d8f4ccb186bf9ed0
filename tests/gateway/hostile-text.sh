#!/bin/bash
# Texts from outside that would be something else if they were taken at their word: as host name, as address, as value of
# the configuration, in the reports of tools, and as option of the program. Nothing of them is run, every test ends as ever, and what is printed,
# logged and written stays in its lines and columns.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}
log_file=/tmp/vantu/${program##*/}.txt
rows=$root/tests/fixtures/data_rows/brcm/samples.txt
export LC_ALL=C

# The commands in them make the file "c" where the program runs. The blanks are for the options; in a lease they would be
# the end of a cell.
many=$(printf '%0300d' 0)
hostile=(
	'' ' ' x "${many:0:17}" "${many:0:127}" "${many:0:128}" "$many"
	';>c' '$(>c)' '`>c`' '|>c' '&&>c' '&>c&' '>c' "';>c;'" '";>c;"' '"}'"';>c;'" $'\n>c\n' $'\r>c' '$(touch${IFS}c)'
	'; touch c' 'x || touch c'
	'a,b' '"' "'" '"a","b"' '%n' '%s%s%s%n' '=1+1' "=cmd|'/C>c'!A0" '@SUM(A1)' '-x' '--' '\' '\x1b' '../../etc/passwd' '*' '~'
	$'one\ntwo' $'one\r\ntwo' $'\t' $'\033[41mred\033[0m' $'\033]0;title\a' $'\b\b\b' $'\x7f' $'\xc2\x9b41m'
	$'\xff\xfe' $'\xc3' $'\xc0\xaf' $'\xed\xa0\x80' $'\xf0\x9f\x93' $'K\xc3\xbcche' $'\xf0\x9f\x93\xb6'
)

# Prints what of the files is neither text nor a colour of the program's: a terminal would act upon it.
raw_bytes() {
	python3 - "$@" <<'END'
import re, sys
for name in sys.argv[1:]:
    data = open(name, 'rb').read()
    data = re.sub(rb'\x1b\[(0|3[1-6]|90|94)m', b'', data)
    for number, line in enumerate(data.split(b'\n'), 1):
        try:
            text = line.decode('utf-8')
        except UnicodeDecodeError:
            print(f'line {number} is no UTF-8: {line!r}')
            continue
        if re.search('[\x00-\x08\x0a-\x1f\x7f-\x9f]', text):
            print(f'line {number}: {line!r}')
END
}

# Prints the lines of log files that do not begin as one does. An empty one is the line end of a message.
broken_lines() {
	grep -avnE '^([0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} (TRACE|DEBUG|INFO |WARN |ERROR|FATAL) [^ ]+:[0-9]+: .*)?$' "$@"
}

# Prints the rows of CSV files whose number of columns is not that of the first row.
odd_rows() {
	python3 - "$@" <<'END'
import csv, sys
for name in sys.argv[1:]:
    columns = 0
    with open(name, newline='', encoding='utf-8', errors='replace') as file:
        for number, row in enumerate(csv.reader(file, strict=True), 1):
            columns = columns or len(row)
            if len(row) not in (columns, 0):
                print(f'{name}: row {number} has {len(row)} of {columns} columns: {row}')
END
}

# Prints the lines of a file that begin as JSON does and are none.
no_json() {
	python3 - "$1" <<'END'
import json, sys
for line in open(sys.argv[1], encoding='utf-8', errors='replace'):
    if line.startswith(('{', '[{')):
        try:
            json.loads(line)
        except ValueError as error:
            print(f'{error}: {line}')
END
}

# The bytes of a text as a message shows them.
shown_bytes() {
	printf '%q' "$1"
}

# run [OPTION...] - runs the program where the canary would be, and keeps everything that it says.
run() {
	: >"$log_file"
	(cd "$scratch/cwd" && exec "$program" "$@") >"$scratch/out" 2>"$scratch/err" </dev/null
	expect_is 0 $?
	if [[ -e $scratch/cwd/c ]]; then
		expect_is 'no command was run' 'one was'
		rm "$scratch/cwd/c"
	fi
	cat "$scratch/out" >>"$scratch/all.out"
	cat "$scratch/err" >>"$scratch/all.err"
	cat "$log_file" >>"$scratch/all.log"
}

# looked_at WHAT - looks at everything that was kept.
looked_at() {
	check "$1: what is printed and logged"
	expect_is '' "$(raw_bytes "$scratch"/all.{out,err,log} | head -n 5)"
	expect_is '' "$(broken_lines "$scratch/all.log" | head -n 5)"
	expect_is '' "$(no_json "$scratch/all.out")"
	expect_is '' "$(ls "$scratch/cwd")"
	rm -f "$scratch"/all.*
}

# The tests that read what routers and stations name. The check of the rules is not among them: its command leaves a file.
inventory=(get_radios get_dhcpleases get_conntrack get_associated_devices get_data_struct_size get_data_headers
	get_routerid get_router_info test_ipset sample_radio_stats sample_sta_stats get_networks get_systeminfo)

all_inventory() {
	local test
	for test in "${inventory[@]}"; do
		check "$1: $test"
		run -f "$test"
	done
	looked_at "$1"
}

# tool NAME SCRIPT - a tool that is found before the router's.
tool() {
	printf '#!/bin/bash\nreal=%q\n%s\nexec "$real" "$@"\n' "$(command -v "$1")" "$2" >"$scratch/bin/$1"
	chmod +x "$scratch/bin/$1"
}

host_names_and_addresses() {
	local i=0 text
	cp /etc/dhcp_lan.leases "$scratch/leases"
	for text in "${hostile[@]}"; do
		((i++))
		printf '1767500000 02:57:00:00:01:%02d 192.0.2.%d %s 01\n' "$i" "$i" "$text"
		printf '1767500000 %s 192.0.2.%d name%d 01\n' "$text" "$i" "$i"
		printf '1767500000 02:57:00:00:02:%02d %s name%d 01\n' "$i" "$text" "$i"
	done >>/etc/dhcp_lan.leases
	all_inventory 'leases'
	check 'the host name that is a command is listed as it stands'
	run -f get_dhcpleases
	expect_has $'\t$(>c)\t' "$(<"$scratch/err")"
	expect_has $'\t\\x1b[41mred\\x1b[0m\t' "$(<"$scratch/err")"
	expect_has $'\tK\xc3\xbcche\t' "$(<"$scratch/err")"
	looked_at 'the list of leases'
	cp "$scratch/leases" /etc/dhcp_lan.leases
}

# Each station that the driver lists has a hostile address, and so has each neighbour.
stations_and_neighbours() {
	local text i=0
	for text in "${hostile[@]}"; do
		printf 'assoclist %s\n' "$text"
	done >"$scratch/assoclist"
	for text in "${hostile[@]}"; do
		((i++))
		printf '192.0.2.%d dev br-lan lladdr %s REACHABLE\n' "$i" "$text"
		printf '192.0.2.%d dev %s lladdr 02:57:00:00:03:%02d REACHABLE\n' "$i" "$text" "$i"
		printf '%s dev br-lan lladdr 02:57:00:00:04:%02d STALE\n' "$text" "$i"
	done >"$scratch/neighbours"
	tool wlctl "[[ \$* == *assoclist ]] && exec cat $scratch/assoclist"
	tool ip "[[ \$* == neigh ]] && exec cat $scratch/neighbours"
	all_inventory 'stations and neighbours'
	rm "$scratch/bin"/*
}

# As the reports of the tools: in place of every text and number.
reports() {
	local text
	for text in "${hostile[@]}"; do
		printf '%s %s: %s\n' "$text" "$text" "$text"
	done >"$scratch/report"
	tool wlctl "[[ \$* == *assoclist ]] || exec cat $scratch/report"
	tool ubus "exec cat $scratch/report"
	all_inventory 'reports of the tools'
	rm "$scratch/bin"/*
}

# As values of the configuration: the name of the WAN interface, and who the router is.
configuration() {
	local text
	cp -r /etc/config "$scratch/config"
	for text in "${hostile[@]}"; do
		python3 - "$scratch/config" "$text" <<'END'
import os, re, sys
text = os.fsencode(sys.argv[2]).replace(b"'", b"")
for name in os.listdir(sys.argv[1]):
    data = open(f'{sys.argv[1]}/{name}', 'rb').read()
    data = re.sub(rb"(?<=option )(ifname|prod_number|local_eth_mac|serial|version|product) '[^']*'",
                  lambda match: match[1] + b" '" + text + b"'", data)
    open(f'/etc/config/{name}', 'wb').write(data)
END
		check "value $(shown_bytes "$text")"
		run -f get_router_info
		run -f get_routerid
	done
	looked_at 'configuration'
	for text in ';>c' '$(>c)' '../x' $'\033[41m' $'\xff'; do
		check "WAN interface $(shown_bytes "$text")"
		printf "config interface 'wan'\n\toption ifname '%s'\n" "$text" >/etc/config/network
		run -f sample_radio_stats
	done
	cp "$scratch/config"/* /etc/config
	looked_at 'the WAN interface'
}

options() {
	local text
	for text in "${hostile[@]}"; do
		check "option $(shown_bytes "$text")"
		if [[ -n $text ]]; then
			run -f is_device_active -r "$text" -m 02:a1:5e:10:00:01
			run -f is_device_active -r wl0 -m "$text"
			run -f calculate_issues -m "$text" -c "$rows"
		fi
		run -f calculate_issues -m 02:a1:5e:10:00:01 -c "$text"
		run -f get_data_struct_size -i "$text" -d "$text" -c "$text" -r "$text" -m "$text"
		run -f "$text"
		expect_has 'unknown test' "$(<"$scratch/err")"
	done
	check 'a refused option is named as a reader does'
	run -f is_device_active -r 'wl0;>c' -m 02:a1:5e:10:00:01
	expect_has 'incorrect parameters or too many files.' "$(<"$scratch/err")"
	looked_at 'options'
}

# A letter that is no option is the start of the usage, and shown.
letters() {
	local letter
	for letter in $'\033' $'\r' $'\n' $'\xff' $'\x7f' '%' ';'; do
		check "letter $(shown_bytes "$letter")"
		(cd "$scratch/cwd" && "$program" "-$letter") >"$scratch/out" 2>"$scratch/err"
		expect_is 1 $?
		expect_is '' "$(raw_bytes "$scratch/out" "$scratch/err")"
	done
}

# The full sequence goes to its end where there are no counters, and writes its rows.
sequence() {
	local text i=0 files=()
	for text in "${hostile[@]}"; do
		((i++))
		printf '1767500000 02:57:00:00:01:%02d 192.0.2.%d %s 01\n' "$i" "$i" "$text"
	done >>/etc/dhcp_lan.leases
	for text in 'x;>c' 'a,b' '"' '$(>c)' $'\033[41m' '=1+1' '../../x'; do
		printf 'assoclist %s\n' "$text"
	done >"$scratch/assoclist"
	tool wlctl "[[ \$* == *assoclist ]] && cat $scratch/assoclist"
	check 'the full sequence'
	: >"$log_file"
	(cd "$scratch/cwd" && timeout 100 "$program" -f test_all -c "$scratch/rows.csv") >"$scratch/out" 2>"$scratch/err"
	expect_is 0 $?
	expect_is no "$([[ -e $scratch/cwd/c ]] && echo yes || echo no)"
	expect_is '' "$(raw_bytes "$scratch/out" "$scratch/err" "$log_file" | head -n 3)"
	expect_is '' "$(broken_lines "$log_file" | head -n 3)"
	check 'its rows'
	mapfile -t files < <(find /tmp/vantu "$scratch" -name '*.csv' -size +0)
	expect_at_least 1 "${#files[@]}"
	expect_at_least 3 "$(cat "${files[@]}" | wc -l)"
	expect_is '' "$(odd_rows "${files[@]}")"
}

case ${1-} in
inside)
	mkdir -p "$scratch/cwd" "$scratch/bin" "${log_file%/*}"
	PATH=$scratch/bin:$PATH
	if [[ $SIM_SCENARIO == counterless ]]; then
		sequence
	else
		options
		letters
		host_names_and_addresses
		stations_and_neighbours
		reports
		configuration
	fi
	;;
*)
	inside --scenario quiet
	inside --scenario counterless
	;;
esac
