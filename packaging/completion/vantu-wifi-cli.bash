# Completion of vantu-wifi-cli for bash: options, tests, interfaces, and the MAC addresses of the DHCP leases.
# Goes to share/bash-completion/completions/vantu-wifi-cli.

# Prints the words, one a line.
_vantu_wifi_cli_tests()
{
    printf '%s\n' calculate_issues get_ap_neighbors get_associated_devices get_conntrack get_data_headers \
        get_data_struct_size get_dhcpleases get_host_ip get_networks get_radios get_router_info get_routerid \
        get_systeminfo iptables_check iptables_destroy iptables_setup is_device_active sample_radio_stats \
        sample_sta_stats system_destroy system_setup test_all test_ipset
}

_vantu_wifi_cli_interfaces()
{
    local path
    for path in "${_VANTU_WIFI_CLI_INTERFACES:-/sys/class/net}"/*; do
        [[ ! -e $path ]] || printf '%s\n' "${path##*/}"
    done
}

# A lease is "EXPIRY MAC IP NAME ID". Only what looks like a MAC address gets onto somebody's command line.
_vantu_wifi_cli_macs()
{
    local mac
    while read -r _ mac _; do
        [[ ! $mac =~ ^([[:xdigit:]]{2}:){5}[[:xdigit:]]{2}$ ]] || printf '%s\n' "${mac^^}"
    done 2>/dev/null <"${_VANTU_WIFI_CLI_LEASES:-/etc/dhcp_lan.leases}"
}

# bash takes a word apart at colons unless they are removed from COMP_WORDBREAKS. This puts together again what was
# typed up to the cursor since the last blank: in $current, and in $split what stands before the piece that bash
# completes.
_vantu_wifi_cli_current()
{
    local line=${COMP_LINE:0:COMP_POINT}
    current=${line##*[[:space:]]}
    split=
    if [[ $COMP_WORDBREAKS == *:* && $current == *:* ]]; then
        split=${current%:*}:
    fi
}

# The option whose value the word at the cursor is, if it is one; a word before the word may be a piece of a MAC.
_vantu_wifi_cli_option()
{
    local line=${COMP_LINE:0:COMP_POINT}
    line=${line%"$current"}
    line=${line%"${line##*[![:space:]]}"}
    option=${line##*[[:space:]]}
}

_vantu_wifi_cli()
{
    local current split option word words=() typed
    _vantu_wifi_cli_current
    _vantu_wifi_cli_option
    typed=$current
    COMPREPLY=()
    case $option in
        -f) mapfile -t words < <(_vantu_wifi_cli_tests) ;;
        -r) mapfile -t words < <(_vantu_wifi_cli_interfaces) ;;
        -m) mapfile -t words < <(_vantu_wifi_cli_macs) && typed=${current^^} ;;
        -c)
            # A file, as bash completes one by itself.
            compopt -o default 2>/dev/null
            return
            ;;
        -d | -i) return ;;
        *) words=(-c -d -f -h -i -m -r -v) ;;
    esac
    for word in "${words[@]}"; do
        [[ $word != "$typed"* ]] || COMPREPLY+=("${word:${#split}}")
    done
}

complete -F _vantu_wifi_cli vantu-wifi-cli
