#!/bin/sh
# The router's firewall script: -c makes the chain that marks the flows of the sets
# vantuvi and vantuvi6, -d takes it away. The kernel's tables and sets are real.
#
# An entry of a set is the remote address, the remote port and the client's address.
# A packet that a client sends to such a place gets the mark, and so does its
# connection; by that the answers are known, which no set lists.
# shellcheck shell=dash disable=SC1091,SC3043

. /run/sim/lib/tool.sh
called vantu-iptables-functions.sh "$@"

chain=vantu_vi_zone
# CS5, whose priority is video's.
mark=0x28

usage() {
	printf 'Usage: vantu-iptables-functions.sh -c | -d\n' >&2
	exit 1
}

# Naming a chain of one's own empties it or makes it, and all lines count at once.
# The jump is not among them: another reader may have put rules around it.
create() {
	local iptables=$1 set=$2
	"$iptables-restore" -w --noflush <<-END || return 1
		*mangle
		:$chain - [0:0]
		-A $chain -m connmark --mark $mark -j MARK --set-mark $mark
		-A $chain -m set --match-set $set dst,dst,src -j MARK --set-mark $mark
		-A $chain -m set --match-set $set dst,dst,src -j CONNMARK --save-mark
		COMMIT
	END
	"$iptables" -w -t mangle -C FORWARD -j $chain 2>/dev/null ||
		"$iptables" -w -t mangle -A FORWARD -j $chain
}

destroy() {
	local iptables=$1
	while "$iptables" -w -t mangle -D FORWARD -j $chain; do
		:
	done
	"$iptables" -w -t mangle -F $chain
	"$iptables" -w -t mangle -X $chain
} 2>/dev/null

create_all() {
	ipset -exist create vantuvi hash:ip,port,ip &&
		ipset -exist create vantuvi6 hash:ip,port,ip family inet6 &&
		create iptables vantuvi &&
		create ip6tables vantuvi6
}

[ $# -eq 1 ] || usage
case $1 in
-c) create_all ;;
-d)
	destroy iptables
	destroy ip6tables
	exit 0
	;;
*) usage ;;
esac
