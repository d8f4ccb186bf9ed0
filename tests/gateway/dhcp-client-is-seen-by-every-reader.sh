#!/bin/bash
# A client that joins the network the way clients do - it gets a lease from a
# real DHCP server and talks to the gateway - is found by every reader of the
# program: the leases, the neighbours and the connections.
# shellcheck disable=SC1091,SC2154
. "$(dirname "$(readlink -f "$0")")/lib.sh"

client_mac=02:00:5e:00:04:07
client_name=kitchen-tablet
port=7007
leases=/etc/dhcp_lan.leases

# The program and the probe are what is tested, so without them there is nothing
# to skip over: the case fails.
programs_are_given() {
	check 'VANTU_WIFI_CLI and VANTU_NEIGH_PROBE name programs'
	need test -x "${VANTU_WIFI_CLI-}"
	need test -x "${VANTU_NEIGH_PROBE-}"
}

# The kernel tracks connections of a network namespace only while some rule of
# it asks about them.
start_tracking() {
	check 'connection tracking'
	need iptables -A INPUT -m conntrack --ctstate NEW,ESTABLISHED -j ACCEPT
}

plug_client_in() {
	check 'a client on the LAN'
	need ip netns add client
	need ip link add lan-client type veth peer name eth0 netns client \
		address "$client_mac"
	need ip link set lan-client master br-lan up
	need ip -n client link set lo up
	need ip -n client link set eth0 up
}

# The server also answers names: that is the UDP the client talks. Told to stay,
# it keeps its user and group too, which it may not change when the gateway
# belongs to an ordinary user. The TCP listener gets an input that stays open, or
# it would close its side at once.
start_servers() {
	check 'servers'
	: >"$leases"
	dnsmasq --no-daemon --conf-file=/dev/null --no-resolv --no-hosts \
		--bind-interfaces --interface=br-lan --except-interface=lo \
		--dhcp-range=192.168.1.100,192.168.1.150,255.255.255.0,3600 \
		--dhcp-leasefile="$leases" --dhcp-authoritative --no-ping \
		--pid-file=/run/dnsmasq.pid </dev/null >"$scratch/dnsmasq.log" 2>&1 &
	busybox nc -l -p "$port" < <(sleep 600) >"$scratch/heard" 2>/dev/null &
	need await 10 listening udp 67
	need await 10 listening udp 53
	need await 10 listening tcp "$port"
}

# listening PROTOCOL PORT - a listener may show up as one of both families.
# State 0A is a listening TCP socket, 07 an unconnected UDP one.
listening() {
	local state=07
	[[ $1 == tcp ]] && state=0A
	grep -qi ":$(printf '%04x' "$2") [0-9A-F]*:0000 $state " "/proc/net/$1" "/proc/net/${1}6"
}

write_client_script() {
	cat >"$scratch/configure" <<'END'
#!/bin/sh
case $1 in
deconfig) ip link set "$interface" up ;;
bound|renew)
	ip address replace "$ip/24" dev "$interface"
	ip route replace default via "${router:-192.168.1.1}"
	;;
esac
END
	chmod +x "$scratch/configure"
}

# Sets lease_expiry and client_ip from the server's file.
get_lease() {
	local mac name line
	check 'a lease'
	write_client_script
	need timeout 30 ip netns exec client busybox udhcpc -f -q -n -t 10 -T 1 \
		-i eth0 -s "$scratch/configure" -x "hostname:$client_name"
	need await 10 grep -q "$client_mac" "$leases"
	mapfile -t line <"$leases"
	expect_is 1 "${#line[@]}"
	read -r lease_expiry mac client_ip name _ <<<"${line[0]}"
	expect_is "$client_mac $client_name" "$mac $name"
	expect_has 192.168.1. "$client_ip"
	expect_has " $client_ip/24 " "$(ip -n client -o address show eth0)"
	((failures == 0)) || exit 1
}

# The connection stays open, as its state is looked at.
talk() {
	check 'TCP to the gateway'
	ip netns exec client bash -c "
		exec 3<>/dev/tcp/192.168.1.1/$port && echo from the kitchen >&3 && exec sleep 600
	" >/dev/null 2>&1 &
	need await 10 grep -q 'from the kitchen' "$scratch/heard"
	check 'UDP to the gateway'
	need timeout 10 ip netns exec client busybox nslookup -type=a "$client_name" 192.168.1.1
	expect_out_has "$client_ip"
}

kernel_tracks_the_talk() {
	check 'conntrack lists the TCP connection'
	expect_status 0 conntrack -L -p tcp -s "$client_ip" --dport "$port"
	expect_out_has " ESTABLISHED src=$client_ip dst=192.168.1.1 "
	expect_out_has '[ASSURED]'
	check 'conntrack lists the UDP exchange'
	expect_status 0 conntrack -L -p udp -s "$client_ip" --dport 53
	expect_out_has "src=$client_ip dst=192.168.1.1 "
	expect_out_lacks '[UNREPLIED]'
}

leases_reader_sees_it() {
	check 'get_dhcpleases'
	expect_status 0 timeout 30 "$VANTU_WIFI_CLI" -f get_dhcpleases
	# The letter case of an address is the program's own affair.
	expect_has $'\t\t'"$client_mac"$'\t'"$client_name"$'\t'"$client_ip"$'\t'"$lease_expiry" \
		"${err,,}"
}

neighbour_reader_sees_it() {
	local ip dev mac status seen='no line'
	check 'the neighbour reader'
	expect_status 0 timeout 30 "$VANTU_NEIGH_PROBE"
	# A tab is white space to read, which would swallow an empty address.
	while IFS=$'\x1f' read -r ip dev mac status; do
		[[ $ip == "$client_ip" && $dev == br-lan ]] || continue
		expect_is "$client_mac" "${mac,,}"
		seen=${status^^}
	done <<<"${out//$'\t'/$'\x1f'}"
	case $seen in
	REACHABLE | STALE | DELAY | PROBE) ;;
	*) expect_is 'the state of a neighbour that answers' "$seen" ;;
	esac
}

connection_reader_sees_it() {
	local flows=none
	check 'get_conntrack'
	expect_status 0 timeout 30 "$VANTU_WIFI_CLI" -f get_conntrack
	[[ $err =~ '  got '([0-9]+)' flows' ]] && flows=${BASH_REMATCH[1]}
	expect_at_least 2 "$flows"
	expect_status 0 timeout 30 "$VANTU_FLOW_PROBE"
	expect_out_has 'result 0'
	check "get_conntrack's reader shows what the client said to the listener and to the name server"
	[[ $out =~ (^|$'\n')"6 $client_ip "[0-9]+" 192.168.1.1 $port " ]] || verdict no 'the TCP connection' "'$out'"
	[[ $out =~ (^|$'\n')"17 $client_ip "[0-9]+" 192.168.1.1 53 " ]] || verdict no 'the UDP exchange' "'$out'"
}

if [[ ${1-} == inside ]]; then
	programs_are_given
	start_tracking
	plug_client_in
	start_servers
	get_lease
	talk
	kernel_tracks_the_talk
	leases_reader_sees_it
	neighbour_reader_sees_it
	connection_reader_sees_it
	exit 0
fi

inside --scenario bare
