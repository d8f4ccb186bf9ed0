#!/bin/bash
# Packets of a client that really go through the gateway are marked when their flow is in the set, and only then; the
# mark of a live connection can be changed.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_WIFI_CLI:?the program under test}
probe=${VANTU_MARKING_PROBE:?the probe}

client=192.168.1.77 client6=fd42:c0de:1::77
server=203.0.113.5 server6=2001:db8:5::5
listed=5001 unlisted=5002 tcp_port=5003
mark=40 # of the router's script

plug_in() {
	check 'a client on the LAN and a server in the Internet'
	need ip netns add client
	need ip link add lan-client type veth peer name eth0 netns client address 02:00:5e:00:07:07
	need ip link set lan-client master br-lan up
	need ip -n client link set eth0 up
	need ip -n client addr add "$client/24" dev eth0
	need ip -n client addr add "$client6/64" dev eth0 nodad
	need ip -n client route add default via 192.168.1.1
	need ip -n client route add default via fd42:c0de:1::1

	need ip netns add internet
	need ip link set eth3-net netns internet
	need ip -n internet link set lo up
	# Nobody listens, and nobody says so.
	need ip netns exec internet iptables -A INPUT -p udp -j DROP
	need ip netns exec internet ip6tables -A INPUT -p udp -j DROP
	need ip -n internet link set eth3-net arp on up
	need ip -n internet addr add 203.0.113.1/24 dev eth3-net
	need ip -n internet addr add "$server/32" dev lo
	need ip -n internet addr add 2001:db8:3::1/64 dev eth3-net nodad
	need ip -n internet addr add "$server6/128" dev lo nodad
	need ip -n internet route add 192.168.1.0/24 via 203.0.113.10
	need ip -n internet route add fd42:c0de:1::/64 via 2001:db8:3::10
	need ip addr add 2001:db8:3::10/64 dev eth3 nodad
	need ip route replace "$server/32" via 203.0.113.1
	need ip route replace "$server6/128" via 2001:db8:3::1
}

# A child in the client's network that sends a line to the descriptor that each of its input lines names.
start_sender() {
	mkfifo "$scratch/orders"
	ip netns exec client bash -c '
		exec 5>/dev/udp/$0/$2 6>/dev/udp/$0/$3 7>/dev/udp/$1/$2 8>/dev/udp/$1/$3
		while read -r fd; do
			printf "line\n" >&"$fd"
		done' "$server" "$server6" $listed $unlisted <"$scratch/orders" 2>"$scratch/sender.log" &
	exec 9>"$scratch/orders"
}

# send DESCRIPTOR COUNT
send() {
	local n
	for ((n = 0; n < $2; n++)); do
		printf '%s\n' "$1" >&9
	done
}

# mark_of FAMILY PORT - of the client's connection to the port.
mark_of() {
	conntrack -L -f "$1" -p "${3:-udp}" --dport "$2" 2>/dev/null | sed -nE 's/.* mark=([0-9]+).*/\1/p'
}

# packets_of FAMILY PORT - that the connection's client has sent.
packets_of() {
	conntrack -L -f "$1" -p udp --dport "$2" 2>/dev/null |
		sed -nE 's/^[^=]*src=[^ ]+ dst=[^ ]+ sport=[0-9]+ dport=[0-9]+ packets=([0-9]+).*/\1/p' |
		grep . || echo 0
}

has_sent() { (($(packets_of "$1" "$2") >= $3)); }

# marked_packets TOOL SET - counted by the rule that marks what a client sends to places in the set.
marked_packets() {
	"$1" -t mangle -nvxL vantu_vi_zone |
		awk -v set="$2" '$3 == "MARK" && $0 ~ "match-set " set " dst" { print $1 }'
}

flow() { printf '17 %s 0 %s %s' "$1" "$2" "$3"; }

marks_the_listed_flow() {
	local tool=$1 family=$2 set=$3 first=$4 second=$5 source=$6 destination=$7

	check "$family: the flow is added once"
	# The words of the flow are arguments of their own.
	# shellcheck disable=SC2046
	expect_status 0 "$probe" add "$set" $(flow "$source" "$destination" $listed)
	expect_out_is 1
	# shellcheck disable=SC2046
	expect_status 0 "$probe" add "$set" $(flow "$source" "$destination" $listed)
	expect_out_is 0

	check "$family: packets of the listed flow are marked, and so is its connection"
	send "$first" 3
	send "$second" 3
	await 5 has_sent "$family" $listed 3
	await 5 has_sent "$family" $unlisted 3
	expect_is "$mark" "$(mark_of "$family" $listed)"
	expect_is 3 "$(marked_packets "$tool" "$set")"
	check "$family: those of the unlisted one are not"
	expect_is 0 "$(mark_of "$family" $unlisted)"

	check "$family: when the set is cleaned they are not marked any more"
	expect_status 0 "$probe" clean "$set"
	expect_out_is 1
	expect_status 0 conntrack -U -f "$family" -p udp --dport $listed -m 0
	send "$first" 2
	await 5 has_sent "$family" $listed 5
	expect_is 5 "$(packets_of "$family" $listed)"
	expect_is 0 "$(mark_of "$family" $listed)"
	expect_is 3 "$(marked_packets "$tool" "$set")"
}

marks_a_live_connection() {
	check 'the mark of a live connection is changed'
	ip netns exec internet busybox nc -l -p $tcp_port >"$scratch/heard" 2>/dev/null < <(sleep 100) &
	need await 10 ip netns exec internet bash -c "grep -qi ':$(printf '%04x' $tcp_port) ' /proc/net/tcp /proc/net/tcp6"
	ip netns exec client bash -c "exec 5<>/dev/tcp/$server/$tcp_port; printf 'line\n' >&5; sleep 100" &
	need await 10 test -s "$scratch/heard"
	expect_is 0 "$(mark_of ipv4 $tcp_port tcp)"
	local sport
	sport=$(conntrack -L -p tcp --dport $tcp_port 2>/dev/null | sed -nE 's/^[^=]*src=[^ ]+ dst=[^ ]+ sport=([0-9]+).*/\1/p')
	expect_status 0 "$probe" mark 7 6 $client "$sport" $server $tcp_port
	expect_is 7 "$(mark_of ipv4 $tcp_port tcp)"

	check 'a protocol without a name marks nothing'
	expect_status 0 "$probe" mark 9 132 $client "$sport" $server $tcp_port
	expect_err_has 'protocol 132'
	expect_is 7 "$(mark_of ipv4 $tcp_port tcp)"

	check 'a connection that is not there changes none'
	expect_status 0 "$probe" mark 9 6 $client 1 $server $tcp_port
	expect_is 7 "$(mark_of ipv4 $tcp_port tcp)"
}

if [[ ${1-} == inside ]]; then
	cd "$scratch" || exit 1
	plug_in
	check 'the chain is made'
	need "$program" -f iptables_setup
	start_sender
	marks_the_listed_flow iptables ipv4 vantuvi 5 6 $client $server
	marks_the_listed_flow ip6tables ipv6 vantuvi6 7 8 $client6 $server6
	marks_a_live_connection
else
	inside --scenario bare
fi
