#!/bin/bash
# The completion offers what the program takes: driven as bash does it, through COMP_WORDS, and by the Tab key of an
# interactive bash. The names of the tests are those of the program's table, in the completion and in the manual.
set -u

root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../.." && pwd -P)
completion=$root/packaging/completion/vantu-wifi-cli.bash
manual=$root/docs/vantu-wifi-cli.8
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

check() { # check WHAT WANT GOT
    [[ $2 == "$3" ]] && return
    printf '%s:\n  want %q\n  got  %q\n' "$1" "$2" "$3" >&2
    ((failures++))
}

mkdir "$work/net" "$work/net/wl0" "$work/net/wl1" "$work/net/eth3"
cat >"$work/leases" <<'END'
1780000000 02:00:5e:10:00:01 192.0.2.7 study-laptop 01:02:00:5e:10:00:01
1780000000 02:00:5E:10:00:02 192.0.2.8 * *
1780000000 02:00:5E:20:00:03 192.0.2.9 $(touch${IFS}bad) *
1780000000 $(touch${IFS}bad) 192.0.2.10 x *
1780000000 02:00:5E:20:00:0g 192.0.2.11 x *

cut
END
cd "$work" || exit 1

# shellcheck source=../../packaging/completion/vantu-wifi-cli.bash
source "$completion"
_VANTU_WIFI_CLI_INTERFACES=$work/net
_VANTU_WIFI_CLI_LEASES=$work/leases

# complete_line LINE: what bash offers at the end of a line, blank separated, in order.
complete_line() {
    local COMP_LINE=$1 COMP_POINT=${#1} COMP_WORDS COMP_CWORD COMPREPLY=()
    # As bash does it, a colon is a word of its own when it is a break.
    local words=$1
    [[ $COMP_WORDBREAKS != *:* ]] || words=${words//:/ : }
    read -r -a COMP_WORDS <<<"$words"
    [[ $1 != *[[:space:]] ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _vantu_wifi_cli vantu-wifi-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | xargs
}

offers() { # offers LINE WANT
    check "'$1'" "$2" "$(complete_line "$1")"
}

names_of_the_program() {
    sed -n '/dispatch_table\[\] = {/,/^};/s/^ *{"\([a-z_]*\)",.*/\1/p' "$root/vantu-wifi-cli.cpp" | LC_ALL=C sort
}

options_of_the_program() {
    sed -n 's/.*getopt(argc, argv, "\([a-z:]*\)").*/\1/p' "$root/vantu-wifi-cli.cpp" | tr -d : | fold -w 1 |
        LC_ALL=C sort | sed 's/^/-/'
}

names_match_the_program() {
    local names
    names=$(names_of_the_program)
    check 'names in the table' 23 "$(wc -l <<<"$names")"
    offers 'vantu-wifi-cli -f ' "$(xargs <<<"$names")"
    check 'names in the manual' "$names" \
        "$(sed -n '/^\.Sh TESTS/,/^\.Sh ENV/s/^\.It Cm \([a-z_]*\).*/\1/p' "$manual" | LC_ALL=C sort)"
}

options_match_the_program() {
    local options
    options=$(options_of_the_program)
    check 'options of the program' 8 "$(wc -l <<<"$options")"
    offers 'vantu-wifi-cli ' "$(xargs <<<"$options")"
    check 'options in the manual' "$options" \
        "$(sed -n '/^\.Sh DESC/,/^\.Sh TESTS/s/^\.It Fl \([a-z]\).*/-\1/p' "$manual" | LC_ALL=C sort)"
}

the_manual_is_well_formed() {
    if ! type -P man >/dev/null; then
        echo 'man is not installed: the manual is not laid out' >&2
        return
    fi
    check 'warnings of the manual' '' "$(man --warnings -l "$manual" 2>&1 >/dev/null)"
}

words_are_completed() {
    offers 'vantu-wifi-cli -f get_co' 'get_conntrack'
    offers 'vantu-wifi-cli -f system_' 'system_destroy system_setup'
    offers 'vantu-wifi-cli -f get_system_s' '' # in the program's list, and no test
    offers 'vantu-wifi-cli -f nothing' ''
    offers 'vantu-wifi-cli -r ' 'eth3 wl0 wl1'
    offers 'vantu-wifi-cli -r wl' 'wl0 wl1'
    offers 'vantu-wifi-cli -f get_radios -r wl1' 'wl1'
    offers 'vantu-wifi-cli -d ' ''
    offers 'vantu-wifi-cli -i 19' ''
    offers 'vantu-wifi-cli -f get_radios ' '-c -d -f -h -i -m -r -v'
    offers 'vantu-wifi-cli -m 02:00:5E:10:00:01 -' '-c -d -f -h -i -m -r -v'
    offers 'vantu-wifi-cli x' ''
}

# bash replaces what stands behind the last colon only.
macs_are_completed_with_and_without_colons_as_breaks() {
    local COMP_WORDBREAKS=$' \t\n"\'><=;|&(:'
    offers 'vantu-wifi-cli -m ' '02:00:5E:10:00:01 02:00:5E:10:00:02 02:00:5E:20:00:03'
    offers 'vantu-wifi-cli -m 02:00:5E:1' '10:00:01 10:00:02'
    offers 'vantu-wifi-cli -m 02:00:5e:2' '20:00:03'
    offers 'vantu-wifi-cli -m 02:00:5E:10:00:' '01 02'
    COMP_WORDBREAKS=$' \t\n"\'><=;|&('
    offers 'vantu-wifi-cli -m 02:00:5E:1' '02:00:5E:10:00:01 02:00:5E:10:00:02'
    offers 'vantu-wifi-cli -m 03' ''
}

hostile_leases_run_nothing() {
    complete_line 'vantu-wifi-cli -m $(touch' >/dev/null
    check 'the file that a lease would make' missing "$([[ -e $work/bad ]] && echo there || echo missing)"
}

without_leases_and_interfaces_nothing_is_offered_and_nothing_said() {
    local _VANTU_WIFI_CLI_LEASES=$work/none _VANTU_WIFI_CLI_INTERFACES=$work/none
    check 'leases' '' "$(complete_line 'vantu-wifi-cli -m ' 2>&1)"
    check 'interfaces' '' "$(complete_line 'vantu-wifi-cli -r ' 2>&1)"
}

# tab LINE: the arguments that the program gets when the Tab key is hit at the end of the line and then Return.
tab() {
    mkdir -p "$work/bin"
    printf '#!/bin/sh\nprintf "got:%%s\\n" "$*" >%q\n' "$work/got" >"$work/bin/vantu-wifi-cli"
    chmod +x "$work/bin/vantu-wifi-cli"
    rm -f "$work/got"
    {
        printf 'PATH=%q:$PATH; source %q\n' "$work/bin" "$completion"
        printf '_VANTU_WIFI_CLI_INTERFACES=%q _VANTU_WIFI_CLI_LEASES=%q\n' "$work/net" "$work/leases"
        printf '%s\t\nexit\n' "$1"
    } | script -q -e -c "env TERM=dumb INPUTRC=/dev/null HISTFILE= bash --norc --noprofile -i" /dev/null \
        >"$work/screen" 2>&1
    cat "$work/got" 2>/dev/null || cat "$work/screen"
}

the_tab_key_completes() {
    if ! type -P script >/dev/null; then
        echo 'script is not installed: the Tab key is not tried' >&2
        return
    fi
    check 'a test' 'got:-f get_conntrack' "$(tab 'vantu-wifi-cli -f get_conn')"
    check 'an interface' 'got:-r eth3' "$(tab 'vantu-wifi-cli -r e')"
    check 'a MAC' 'got:-m 02:00:5E:20:00:03' "$(tab 'vantu-wifi-cli -m 02:00:5E:2')"
    touch "$work/rows.csv"
    check 'a file' "got:-c $work/rows.csv" "$(tab "vantu-wifi-cli -c $work/row")"
}

names_match_the_program
options_match_the_program
the_manual_is_well_formed
words_are_completed
macs_are_completed_with_and_without_colons_as_breaks
hostile_leases_run_nothing
without_leases_and_interfaces_nothing_is_offered_and_nothing_said
the_tab_key_completes

((failures == 0)) || exit 1
