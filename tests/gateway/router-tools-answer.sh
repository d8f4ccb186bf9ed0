#!/bin/bash
# The router's other tools answer as they do on the router, byte for byte and with its exit statuses: the store, the
# bus, the list of stations, the flow cache, the ping tool and the script of the firewall.
# shellcheck disable=SC1091,SC2154
. "$(dirname "$(readlink -f "$0")")/lib.sh"

host=/var/run/lxc_ipc/ubus.sock
faults=/run/sim/faults

# exactly STATUS OUT ERR COMMAND... - each text is wanted with its newlines.
exactly() {
	local status=$1 want_out=$2 want_err=$3 got
	shift 3
	check "$*"
	"$@" >"$scratch/out" 2>"$scratch/err"
	got=$?
	expect_is "$status" "$got"
	# The last character keeps the newlines before it.
	out=$(cat "$scratch/out" && printf .)
	err=$(cat "$scratch/err" && printf .)
	expect_is "$want_out." "$out"
	expect_is "$want_err." "$err"
}

# --- the store ---------------------------------------------------------------

# store PACKAGE - puts a package there from standard input.
store() {
	cat >"/etc/config/$1"
	rm -f "/tmp/.uci/$1"
}

store_samples() {
	store sample <<'END'
# A comment, and what every writer writes in a way of its own.
package sample
config environment var
	option plain 'SN-1'
	option empty ''
	option bare x#y
	option "glued" 'a'"b"c\ d
	option odd "say \"hi\" \\ it's
two"
	list l 'a b'
	list l c
	option twice 1
	option twice 2
config rule
	option name r0
config rule 'named'
	option name r1
config wifi-iface
END
	printf 'config rule\r\n\toption name crlf\r\n\toption last yes' | store crlf
	printf '# nothing\n' | store nothing
}

store_is_read() {
	exactly 0 $'SN-1\n' '' uci get sample.var.plain
	exactly 0 $'x\n' '' uci get sample.var.bare
	exactly 0 $'abc d\n' '' uci get sample.var.glued
	exactly 0 $'say "hi" \\ it\'s\ntwo\n' '' uci get sample.var.odd
	exactly 0 $'a b c\n' '' uci get sample.var.l
	exactly 0 $'2\n' '' uci get sample.var.twice
	exactly 0 $'environment\n' '' uci get sample.var
	exactly 0 $'r0\n' '' uci get sample.@rule[0].name
	exactly 0 $'r1\n' '' uci get sample.@rule[-1].name
	exactly 0 $'r0\n' '' uci get sample.@[1].name
	exactly 0 $'wifi-iface\n' '' uci get sample.@wifi-iface[0]
	exactly 0 $'crlf\n' '' uci get crlf.@rule[0].name
	exactly 0 $'yes\n' '' uci get crlf.@rule[0].last
	exactly 0 '' '' uci show nothing
	exactly 0 "sample.var=environment
sample.var.plain='SN-1'
sample.var.bare='x'
sample.var.glued='abc d'
sample.var.odd='say \"hi\" \\ it'\\''s
two'
sample.var.l='a b' 'c'
sample.var.twice='2'
sample.@rule[0]=rule
sample.@rule[0].name='r0'
sample.named=rule
sample.named.name='r1'
sample.@wifi-iface[0]=wifi-iface
" '' uci show sample
	exactly 0 $'sample.named=rule\nsample.named.name=\'r1\'\n' '' uci show sample.named
	exactly 0 $'sample.named.name=\'r1\'\n' '' uci show sample.named.name
	exactly 0 $'sample.@rule[0]=rule\nsample.@rule[0].name=\'r0\'\n' '' uci show sample.@rule[0]
}

store_refuses() {
	local path
	for path in sample.var.no sample.var.empty sample.no.plain sample.no nopkg.a.b sample.@rule[2] sample.@rule[-3].name; do
		exactly 1 '' $'uci: Entry not found\n' uci get "$path"
		exactly 1 '' '' uci -q get "$path"
	done
	exactly 1 '' $'uci: Invalid argument\n' uci get sample.@rule.name
	exactly 1 '' $'uci: Invalid argument\n' uci get sample.@rule[x]
	exactly 1 '' $'uci: Parse error\n' uci get a.b.c.d
	exactly 1 '' $'uci: Parse error\n' uci get sample.var.
	exactly 1 '' $'uci: Entry not found\n' uci set nopkg.a=b
	exactly 1 '' $'uci: Entry not found\n' uci commit nopkg
	exactly 1 '' $'uci: Entry not found\n' uci delete sample.var.no
	exactly 1 '' $'uci: Entry not found\n' uci delete sample.no
	for path in sample.no.x=1 sample.var sample=x sample.@rule[7]=rule 'sample.new=bad type'; do
		exactly 1 '' $'uci: Invalid argument\n' uci set "$path"
	done
	exactly 1 '' $'uci: Invalid argument\n' uci add_list sample.no.x=1
	exactly 1 '' $'uci: Invalid argument\n' uci del_list sample.no.x=1
	expect_is no "$([[ -e /tmp/.uci/sample ]] && echo yes || echo no)"
	check 'a wrong call'
	expect_status 255 uci
	expect_err_has 'Usage: uci'
	expect_status 255 uci get
}

# malformed REASON LINE TEXT
malformed() {
	printf '%s' "$3" | store bad
	exactly 1 '' "uci: Parse error ($1) at line $2, byte 0"$'\n' uci get bad.a.b
}

malformed_packages_are_refused() {
	malformed 'invalid command' 2 $'config a\nfoo bar\n'
	malformed 'invalid command' 1 $'config\n'
	malformed 'invalid command' 2 $'config a\noption\n'
	malformed "EOF with unterminated '" 2 $'config a\n\toption x \'y'
	malformed 'EOF with unterminated "' 3 $'config a\n\toption x "y\nz\n'
	malformed 'option/list command found before the first section' 1 $'option x y\n'
	malformed 'too many arguments' 2 $'config a\noption x y z\n'
	malformed 'invalid character in name field' 2 $'config a\noption x-y z\n'
	malformed 'invalid character in type field' 1 $'config \'a b\'\n'
	malformed 'section of different type overwrites prior section with same name' 2 $'config a b\nconfig c b\n'
}

# changed COMMAND... - says nothing; what waits afterwards is standard input.
changed() {
	local want
	want=$(cat)
	rm -f /tmp/.uci/sample
	exactly 0 '' '' "$@"
	expect_is "$want" "$(cat /tmp/.uci/sample 2>/dev/null)"
}

changes_wait_in_the_stores_own_form() {
	changed uci set sample.var.plain=SN-2 <<<"sample.var.plain='SN-2'"
	changed uci set "sample.var.new=it's" <<<"sample.var.new='it'\\''s'"
	changed uci set $'sample.var.new=a=b\nc' <<<$'sample.var.new=\'a=b\nc\''
	changed uci set sample.other=rule <<<"sample.other='rule'"
	changed uci set sample.named=zone <<<"sample.named='zone'"
	changed uci set sample.@rule[-1].name=r2 <<<"sample.named.name='r2'"
	changed uci set sample.@rule[0].name=r2 <<<"sample.cfg0292bd.name='r2'"
	changed uci set sample.var.l=one <<<"sample.var.l='one'"
	changed uci set sample.var.plain= <<<'-sample.var.plain'
	changed uci set sample.var.no= </dev/null
	changed uci set sample.var.plain=SN-1 </dev/null
	changed uci add_list sample.var.l=d <<<"|sample.var.l='d'"
	changed uci add_list sample.var.no=d <<<"|sample.var.no='d'"
	changed uci del_list sample.var.l=zzz <<<"~sample.var.l='zzz'"
	changed uci del_list sample.var.no=d </dev/null
	changed uci del_list sample.var.plain=SN-1 </dev/null
	changed uci delete sample.var.plain <<<'-sample.var.plain'
	changed uci delete sample.var.plain=anything <<<'-sample.var.plain'
	changed uci delete sample.var.l=1 <<<"-sample.var.l='1'"
	changed uci delete sample.@rule[0] <<<'-sample.cfg0292bd'
	rm -f /tmp/.uci/sample
	exactly 0 $'cfg0592bd\n' '' uci add sample rule
	expect_is "+sample.cfg0592bd='rule'" "$(</tmp/.uci/sample)"
	exactly 0 $'cfg063579\n' '' uci add sample wifi-iface
	rm -f /tmp/.uci/sample
}

changes_are_seen_before_they_are_committed() {
	local before
	before=$(</etc/config/sample)
	uci set sample.var.plain=SN-3
	uci add_list sample.var.l=d
	uci del_list sample.var.l=c
	uci add sample rule >"$scratch/name"
	uci set sample.@rule[-1].name=r9
	uci delete sample.named
	uci delete sample.var.twice
	exactly 0 $'SN-3\n' '' uci get sample.var.plain
	exactly 0 $'a b d\n' '' uci get sample.var.l
	exactly 0 $'r9\n' '' uci get sample.@rule[1].name
	exactly 0 "sample.var.plain='SN-3'
sample.var.l+='d'
sample.var.l-='c'
sample.cfg0592bd='rule'
sample.cfg0592bd.name='r9'
-sample.named
-sample.var.twice
" '' uci changes sample
	check 'the file does not change before the commit'
	expect_is "$before" "$(</etc/config/sample)"
	chmod 640 /etc/config/sample
	exactly 0 '' '' uci commit sample
	check 'the file after the commit'
	expect_is "
config environment 'var'
	option plain 'SN-3'
	option bare 'x'
	option glued 'abc d'
	option odd 'say \"hi\" \\ it'\\''s
two'
	list l 'a b'
	list l 'd'

config rule
	option name 'r0'

config wifi-iface

config rule
	option name 'r9'

." "$(cat /etc/config/sample && printf .)"
	expect_is 640 "$(stat -c %a /etc/config/sample)"
	expect_is 0 "$(stat -c %s /tmp/.uci/sample)"
	expect_is 'bad crlf env network nothing qos sample version' "$(cd /etc/config && echo *)"
	expect_is '' "$(find /etc/config -name '.*' -type f)"
	exactly 0 '' '' uci changes
}

commits_that_write_nothing() {
	local inode
	inode=$(stat -c %i /etc/config/sample)
	exactly 0 '' '' uci commit
	exactly 0 '' '' uci commit sample
	printf 'nonsense\n-sample.nobody\nsample.nobody.x=1\n' >/tmp/.uci/sample
	exactly 0 '' '' uci commit sample
	check 'no record that can be applied: nothing is written, and the records stay'
	expect_is "$inode" "$(stat -c %i /etc/config/sample)"
	expect_is 3 "$(wc -l </tmp/.uci/sample)"
	rm /tmp/.uci/sample
	check 'another folder'
	mkdir "$scratch/config"
	printf 'config a b\n\toption c d\n' >"$scratch/config/pkg"
	exactly 0 $'d\n' '' uci -c "$scratch/config" get pkg.b.c
}

# What a gateway does to label its queues; each identifier is in its list once, however often it is done.
queues_are_labelled() {
	local class label n round
	for round in 1 2; do
		n=12
		for class in BK BE VI VO; do
			label=${class,,}
			exactly 0 '' '' uci del_list "qos.WMM_${class}_Q1.trafficid=$n"
			exactly 0 '' '' uci add_list "qos.WMM_${class}_Q1.trafficid=$n"
			exactly 0 '' '' uci set "qos.$label=label"
			exactly 0 '' '' uci set "qos.$label.trafficid=$n"
			((n++))
		done
		exactly 0 '' '' uci commit
		exactly 0 '' '' qos restart
		check "labels, round $round"
		expect_is '2 3 12' "$(uci get qos.WMM_BK_Q1.trafficid)"
		expect_is '6 7 15' "$(uci get qos.WMM_VO_Q1.trafficid)"
		expect_is '12 13 14 15' "$(for label in bk be vi vo; do uci get qos.$label.trafficid; done | xargs)"
	done
	check 'qos without a word'
	expect_status 1 qos
	expect_err_has 'Usage: qos'
}

# --- the bus -----------------------------------------------------------------

# asked STATUS OUT MESSAGE - of the host's store, in both orders of words.
asked() {
	exactly "$1" "$2" '' ubus -S -s $host call uci get "$3"
	exactly "$1" "$2" '' ubus call -S -s $host uci get "$3"
}

bus_reads_the_store() {
	local name
	asked 0 $'{"value":"GW-4810"}\n' '{ "config": "env", "section": "var", "option": "prod_number" }'
	asked 0 $'{"value":"21.3.1-417-0042"}\n' '{ "config": "version", "section": "@version[0]", "option": "version" }'
	asked 0 $'{"value":"eth3"}\n' '{"config":"network","section":"wan","option":"ifname"}'
	asked 0 $'{"value":"r9"}\n' '{"config":"sample","section":"@rule[-1]","option":"name"}'
	asked 0 $'{"value":["a b","d"]}\n' '{"config":"sample","section":"var","option":"l"}'
	asked 0 $'{"value":"say \\"hi\\" \\\\ it\'s\\ntwo"}\n' '{"config":"sample","section":"var","option":"odd"}'
	check 'a key that is missing is no failure'
	for name in '"var","option":"no"' '"var","option":"empty"' '"no","option":"plain"' '"no"' '"@rule[7]","option":"name"' '"@rule","option":"name"'; do
		asked 0 '' "{\"config\":\"sample\",\"section\":$name}"
	done
	asked 4 '' '{"config":"nopkg","section":"var","option":"x"}'
	asked 9 '' '{"config":"bad","section":"var","option":"x"}'
	asked 2 '' '{}'
	asked 2 '' '{"config":5}'
	asked 2 '' '{"section":"var"}'
	asked 12 '' 'nonsense'
	asked 12 '' '{"config":"env"'
	asked 12 '' '{"config" "env"}'
	exactly 2 '' '' ubus -S call uci get
	asked 0 $'{"values":{".anonymous":true,".type":"rule",".name":"cfg0292bd","name":"r0"}}\n' \
		'{"config":"sample","section":"@rule[0]"}'
	asked 0 $'{"values":{".anonymous":false,".type":"interface",".name":"wan","ifname":"eth3","proto":"static","ipaddr":"203.0.113.10","netmask":"255.255.255.0","gateway":"203.0.113.1"}}\n' \
		'{"config":"network","section":"wan"}'
	asked 0 $'{"values":{"cfg0192bd":{".anonymous":true,".type":"rule",".name":"cfg0192bd",".index":0,"name":"crlf","last":"yes"}}}\n' \
		'{"config":"crlf"}'
	uci set env.var.serial=SN-9
	asked 0 $'{"value":"SN-9"}\n' '{"config":"env","section":"var","option":"serial"}'
	rm /tmp/.uci/env
}

bus_speaks_to_people() {
	local message='{"config":"sample","section":"var","option":"l"}'
	exactly 0 $'{\n\t"value": "SN-3"\n}\n' '' ubus call uci get '{"config":"sample","section":"var","option":"plain"}'
	exactly 0 $'{\n\t"value": [\n\t\t"a b",\n\t\t"d"\n\t]\n}\n' '' ubus -v call uci get "$message"
	exactly 0 '' '' ubus call uci get '{"config":"sample","section":"var","option":"no"}'
	message='{ "config": "nopkg" }'
	exactly 252 '' "Command failed: ubus call uci get $message (Not found)"$'\n' ubus call uci get "$message"
	exactly 252 '' "Command failed: ubus call uci get $message (Not found)"$'\n' ubus call uci -t 3 get "$message" -s $host
	exactly 247 '' $'Command failed: ubus call uci get {"config":"bad"} (Unknown error)\n' ubus call uci get '{"config":"bad"}'
	exactly 253 '' $'Command failed: ubus call uci nomethod {} (Method not found)\n' ubus call uci nomethod '{}'
	exactly 3 '' '' ubus -S call uci nomethod '{}'
	exactly 4 '' $'Command failed: Not found\n' ubus call nobody get '{}'
	exactly 4 '' '' ubus -S call nobody get '{}'
	check 'an invalid argument also shows how the command is used'
	expect_status 254 ubus call uci get '{}'
	expect_err_has $'Command failed: ubus call uci get {} (Invalid argument)\nUsage: ubus '
	for message in 'call uci' 'call uci get {} more' '-S call uci' 'nonsense' 'list a b'; do
		check "ubus $message"
		# shellcheck disable=SC2086
		expect_status 254 ubus $message
		expect_out_is ''
		expect_err_has 'Usage: ubus'
	done
	for message in '' '-S' '-t x list' '-t' '-z list'; do
		check "ubus $message"
		# shellcheck disable=SC2086
		expect_status 1 ubus $message
		expect_err_has 'Usage: ubus'
	done
	exactly 0 $'ipset\niwinfo\nsystem\nuci\n' '' ubus list
	exactly 0 $'uci\n' '' ubus -S list uci
	exactly 0 $'ipset\niwinfo\n' '' ubus list 'i*'
	exactly 4 '' '' ubus -S list nobody
}

bus_may_be_away() {
	rm $host
	exactly 255 '' '' ubus -S -s $host call uci get '{"config":"env"}'
	exactly 255 '' $'Failed to connect to ubus\n' ubus call uci get '{"config":"env"}' -s $host
	exactly 255 '' $'Failed to connect to ubus\n' ubus -s $host list
	check 'the own bus is there still'
	expect_status 0 ubus list
	rm /var/run/ubus/ubus.sock
	exactly 255 '' '' ubus -S call uci get '{"config":"env"}'
}

bus_shares_the_kernels_sets() {
	local entry=198.51.100.7,udp:19305,192.168.1.21 entry6=2001:db8:7::7,tcp:443,fd42:c0de:1::21
	exactly 4 '' '' ubus -t 2 -S call ipset list_members '{ "name": "vantuvi" }'
	exactly 4 '' '' ubus -t 2 -S call ipset add_member "{ \"name\": \"vantuvi\",\"entry\":\"$entry\",\"operation\":\"A\"}"
	need ipset create vantuvi hash:ip,port,ip timeout 600 counters
	need ipset create vantuvi6 hash:ip,port,ip family inet6
	exactly 0 $'{"members":[]}\n' '' ubus -t 2 -S call ipset list_members '{ "name": "vantuvi" }'
	exactly 0 $'{\n\t"members": [\n\t\t\n\t]\n}\n' '' ubus call ipset list_members '{ "name": "vantuvi" }'
	exactly 0 '' '' ubus -t 2 -S call ipset add_member "{ \"name\": \"vantuvi\",\"entry\":\"$entry\",\"operation\":\"A\"}"
	exactly 0 '' '' ubus -t 2 -S call ipset add_member "{ \"name\": \"vantuvi6\",\"entry\":\"$entry6\",\"operation\":\"A\"}"
	check 'the kernel has the members'
	expect_status 0 ipset test vantuvi $entry
	expect_status 0 ipset test vantuvi6 $entry6
	exactly 0 "{\"members\":[\"$entry\"]}"$'\n' '' ubus -t 2 -S call ipset list_members '{ "name": "vantuvi" }'
	exactly 0 "{\"members\":[\"$entry6\"]}"$'\n' '' ubus -t 2 -S call ipset list_members '{ "name": "vantuvi6" }'
	need ipset add vantuvi 198.51.100.8,tcp:443,192.168.1.22
	check 'a member that the tool added'
	expect_status 0 ubus -S call ipset list_members '{"name":"vantuvi"}'
	expect_out_has '"198.51.100.8,tcp:443,192.168.1.22"'
	expect_out_has "\"$entry\""
	exactly 9 '' '' ubus -S call ipset add_member "{\"name\":\"vantuvi\",\"entry\":\"$entry\",\"operation\":\"A\"}"
	exactly 9 '' '' ubus -S call ipset add_member '{"name":"vantuvi","entry":"nonsense","operation":"A"}'
	exactly 0 '' '' ubus -S call ipset add_member "{\"name\":\"vantuvi\",\"entry\":\"$entry\",\"operation\":\"D\"}"
	check 'a member is taken away once'
	expect_status 1 ipset test vantuvi $entry
	exactly 9 '' '' ubus -S call ipset add_member "{\"name\":\"vantuvi\",\"entry\":\"$entry\",\"operation\":\"D\"}"
	exactly 2 '' '' ubus -S call ipset add_member "{\"name\":\"vantuvi\",\"entry\":\"$entry\",\"operation\":\"X\"}"
	exactly 2 '' '' ubus -S call ipset add_member '{"name":"vantuvi"}'
	exactly 2 '' '' ubus -S call ipset list_members '{}'
	ipset destroy vantuvi
	ipset destroy vantuvi6
}

# --- stations ----------------------------------------------------------------

# A clock that stands still: each counter keeps what it had when the gateway booted.
stop_clock() {
	printf '0.00 0\n' >/run/sim/uptime-at-boot
}

# Of the first radio two stations remain; of the second a fast one and one of which little is known.
choose_stations() {
	local station=/run/sim/station
	rm $station/wl0/02:AA:BB:CC:DD:03 $station/wl1/02:AA:BB:CC:DD:12
	sed -i "s/^signal=.*/signal='0'/; s/^tx_kbps=.*/tx_kbps='0'/" $station/wl1/02:AA:BB:CC:DD:13
	sed -i "s/^width=.*/width='40'/; s/^tx_kbps=.*/tx_kbps='300000'/" $station/wl1/02:AA:BB:CC:DD:11
}

stations_are_listed_as_text() {
	exactly 0 $'02:AA:BB:CC:DD:01  -45 dBm / -91 dBm (SNR 46)  0 ms ago
	RX: 2161.7 MBit/s, HE-MCS 10, 160MHz, HE-NSS 2, HE-GI 0, HE-DCM 0   2756739 Pkts.
	TX: 2401.9 MBit/s, HE-MCS 11, 160MHz, HE-NSS 2, HE-GI 0, HE-DCM 0   3801593 Pkts.
	expected throughput: unknown

02:AA:BB:CC:DD:02  -58 dBm / -91 dBm (SNR 33)  0 ms ago
	RX: 780.0 MBit/s, VHT-MCS 9, 80MHz, VHT-NSS 2    390173 Pkts.
	TX: 866.6 MBit/s, VHT-MCS 9, 80MHz, VHT-NSS 2    814584 Pkts.
	expected throughput: unknown

' '' iwinfo wl0 assoclist
	check 'only the first letter counts'
	expect_is "$(iwinfo wl0 assoclist)" "$(iwinfo wl0 a)"
	exactly 0 $'02:AA:BB:CC:DD:11  -66 dBm / -87 dBm (SNR 21)  0 ms ago
	RX: 58.5 MBit/s, MCS 3, 40MHz                 340694 Pkts.
	TX: 300.0 MBit/s, MCS 15, 40MHz               388187 Pkts.
	expected throughput: unknown

02:AA:BB:CC:DD:13  unknown / -87 dBm (SNR 87)  4000 ms ago
	RX: 48.0 MBit/s                               142576 Pkts.
	TX: unknown                                   158506 Pkts.
	expected throughput: unknown

' '' iwinfo wl1 assoclist
	exactly 1 '' $'No such wireless device: eth0\n' iwinfo eth0 assoclist
	exactly 1 '' $'Usage: iwinfo DEVICE assoclist\n' iwinfo wl0
	exactly 1 '' $'Usage: iwinfo DEVICE assoclist\n' iwinfo
}

stations_are_listed_as_json() {
	local common='"thr":0,"authorized":true,"authenticated":true,"preamble":"long","wme":true,"mfp":false,"tdls":false,"mesh llid":0,"mesh plid":0,"mesh plink":"","mesh local PS":"","mesh peer PS":"","mesh non-peer PS":""'
	local he='"ht":false,"vht":false,"he":true,"eht":false,"mhz":160' vht='"ht":false,"vht":true,"he":false,"eht":false,"mhz":80' first second
	first="{\"mac\":\"02:AA:BB:CC:DD:01\",\"signal\":-45,\"signal_avg\":-45,\"noise\":-91,\"inactive\":0,\"connected_time\":418230,$common,\
\"rx\":{\"drop_misc\":0,\"packets\":2756739,\"bytes\":700211940,$he,\"rate\":2161765,\"mcs\":10,\"nss\":2,\"he_gi\":0,\"he_dcm\":0},\
\"tx\":{\"failed\":41,\"retries\":1482605,\"packets\":3801593,\"bytes\":2904417530,$he,\"rate\":2401960,\"mcs\":11,\"nss\":2,\"he_gi\":0,\"he_dcm\":0}}"
	second="{\"mac\":\"02:AA:BB:CC:DD:02\",\"signal\":-58,\"signal_avg\":-58,\"noise\":-91,\"inactive\":0,\"connected_time\":86412,$common,\
\"rx\":{\"drop_misc\":0,\"packets\":390173,\"bytes\":70231188,$vht,\"rate\":780000,\"mcs\":9,\"nss\":2,\"short_gi\":false},\
\"tx\":{\"failed\":19,\"retries\":146621,\"packets\":814584,\"bytes\":912334110,$vht,\"rate\":866667,\"mcs\":9,\"nss\":2,\"short_gi\":true}}"
	exactly 0 "{\"results\":[$first,$second]}"$'\n' '' ubus -S call iwinfo assoclist '{ "device": "wl0" }'
	exactly 0 "$second"$'\n' '' ubus -S call iwinfo assoclist '{"device":"wl0","mac":"02:AA:BB:CC:DD:02"}'
	check 'HT and legacy rates'
	expect_status 0 ubus -S call iwinfo assoclist '{"device":"wl1"}'
	expect_out_has '"ht":true,"vht":false,"he":false,"eht":false,"mhz":40,"rate":300000,"mcs":15,"40mhz":true,"short_gi":true}}'
	expect_out_has '"ht":false,"vht":false,"he":false,"eht":false,"mhz":0,"rate":48000},"tx":{"failed":6,'
	expect_out_has '"wme":false,'
	check 'for people'
	expect_status 0 ubus call iwinfo assoclist '{"device":"wl0","mac":"02:AA:BB:CC:DD:02"}'
	expect_out_has $'{\n\t"mac": "02:AA:BB:CC:DD:02",\n\t"signal": -58,\n'
	expect_out_has $',\n\t"rx": {\n\t\t"drop_misc": 0,\n\t\t"packets": 390173,\n'
	expect_out_has $'\n\t\t"short_gi": true\n\t}\n}'
	exactly 4 '' '' ubus -S call iwinfo assoclist '{"device":"eth0"}'
	exactly 252 '' $'Command failed: ubus call iwinfo assoclist { "device": "eth0" } (Not found)\n' \
		ubus call iwinfo assoclist '{ "device": "eth0" }'
	exactly 4 '' '' ubus -S call iwinfo assoclist '{"device":"wl0","mac":"02:AA:BB:CC:DD:99"}'
	exactly 2 '' '' ubus -S call iwinfo assoclist '{}'
	rm /run/sim/station/wl2/*
	exactly 0 $'{"results":[]}\n' '' ubus -S call iwinfo assoclist '{"device":"wl2"}'
	exactly 0 $'No station connected\n' '' iwinfo wl2 assoclist
}

# --- flow cache, ping tool, firewall -----------------------------------------

# cache DEFERRAL ACTIVE CUMULATED GONE
cache() {
	exactly 0 "Acceleration Mode: <L2 & L3>   HW Acceleration <Enabled>
TCP idle 45s / UDP 90s / L2 90s / Mcast 90s
Flow Refresh Timer=5000ms  Pkt-HW Activate Deferral rate=2  Pkt-HW Idle Deactivate=0
 Pkt-SW Activate Deferral count = $1
TCP Ack Prioritization <Enabled>   ToS Multi Flow <Enabled>   IPv6/L2TP/GRE Learning <Enabled>
Flow Ucast Learning: Max<8191> Active<$2> Cumulative[$3-$4]
Flow Mcast Learning: Max<511> Active<0>
" '' fcctl status
}

flow_cache_remembers() {
	local flows
	flows=$(conntrack -C)
	cache 1 "$flows" "$flows" 0
	exactly 0 '' '' fcctl config --sw-defer 7
	cache 7 "$flows" "$flows" 0
	exactly 0 '' '' fcctl flush
	cache 7 0 "$flows" "$flows"
	exactly 0 '' '' fcctl config --sw-defer 10
	cache 10 0 "$flows" "$flows"
	for words in '' config 'config --sw-defer' 'config --sw-defer x' 'status now' nonsense; do
		check "fcctl $words"
		# shellcheck disable=SC2086
		expect_status 1 fcctl $words
		expect_out_is ''
		expect_err_has 'Usage: fcctl'
	done
}

# column TITLE - of the last row.
column() {
	awk -F , -v title="$1" 'NR == 1 { for (i = 1; i <= NF; i++) at[$i] = i } END { print $at[title] }' <<<"$out"
}

pings_are_rows() {
	local cells report
	check 'three pings of a station'
	expect_status 0 vantu-fpingdq -k -w -p 20 -c 3 -y 02:aa:bb:cc:dd:02 -Y wl0 192.168.1.22
	expect_is 4 "$(wc -l <<<"$out")"
	expect_is 'Time,IP,Snd#,NwRTD,PLEN,TOS,Ping2,chanspec,tx,inbss' "$(head -n 1 <<<"$out" | cut -d , -f 1-10)"
	expect_is 76 "$(awk -F , '{ print NF }' <<<"$out" | sort -u)"
	expect_is '1 2 3' "$(tail -n 3 <<<"$out" | cut -d , -f 3 | xargs)"
	expect_at_least 40000 $(($(column Time) - $(sed -n 2p <<<"$out" | cut -d , -f 1)))
	expect_is 192.168.1.22 "$(column IP)"
	expect_is 64,0,0 "$(column PLEN),$(column TOS),$(column Ping2)"
	[[ $(column NwRTD) =~ ^[0-9]+\.[0-9]{2}$ ]]
	expect_is 0 $?
	check 'what the driver says stands behind the ping'
	report=$(wlctl -i wl0 sta_info 02:AA:BB:CC:DD:02)
	for cells in 'tx ucast bytes:tx_ucast_bytes' 'rx ucast pkts:rx_ucast_pkts' 'tx mcast/bcast pkts:tx_mcast_pkts' \
		'rx data pkts:rx_data_pkts' 'tx total pkts:tx_total_pkts' 'rx decrypt succeeds:rx_decrypt_succeeds'; do
		expect_at_least 1 "$(column "${cells#*:}")"
		expect_has "${cells%:*}: $(column "${cells#*:}")"$'\n' "$report"
	done
	expect_is '-60 -58 -63 -61' "$(for n in 1 2 3 4; do column rx_average_rssi_$n; done | xargs)"
	expect_is '8 866667 520000 780000 30531643' \
		"$(for cells in version rate_of_last_tx_pkt min_rate_of_last_tx_pkt rate_of_last_rx_pkt flags; do column $cells; done | xargs)"
	expect_has "bytes: $(column vi_tx_bytes) " "$(wlctl -i wl0 wme_counters)"
	expect_is 53 "$(column idle)"
	check 'a station that is not there does not answer'
	expect_status 0 vantu-fpingdq -k -w -p 500 -c 1 -y 02:aa:bb:cc:dd:99 -Y wl0 192.168.1.99
	expect_is 15000.00 "$(column NwRTD)"
	expect_is 0 "$(column tx_total_bytes)"
	check 'wrong calls'
	expect_status 1 vantu-fpingdq -p x -y 02:aa:bb:cc:dd:02 -Y wl0 192.168.1.22
	expect_status 1 vantu-fpingdq -y 02:aa:bb:cc:dd:02 -Y wl0
	expect_err_has 'Usage: vantu-fpingdq'
}

# rules_of TABLE_TOOL - what it holds, but for the policies.
rules_of() {
	"$1" -t mangle -S | grep -v '^-P'
}

# chain SET - the rules that mark the set's packets and the answers.
chain() {
	printf '%s\n' '-N vantu_vi_zone' '-A FORWARD -j vantu_vi_zone' \
		'-A vantu_vi_zone -m connmark --mark 0x28 -j MARK --set-xmark 0x28/0xffffffff' \
		"-A vantu_vi_zone -m set --match-set $1 dst,dst,src -j MARK --set-xmark 0x28/0xffffffff" \
		"-A vantu_vi_zone -m set --match-set $1 dst,dst,src -j CONNMARK --save-mark --nfmask 0xffffffff --ctmask 0xffffffff"
}

firewall_script_works() {
	local script=/usr/bin/vantu-iptables-functions.sh round
	exactly 0 '' '' $script -d
	for round in once again; do
		exactly 0 '' '' $script -c
		check "the chain, made $round"
		expect_is "$(chain vantuvi)" "$(rules_of iptables)"
		expect_is "$(chain vantuvi6)" "$(rules_of ip6tables)"
		expect_has 'hash:ip,port,ip' "$(ipset list -t vantuvi)"
		expect_has 'family inet6' "$(ipset list -t vantuvi6)"
	done
	check 'members stay when the chain is made and taken away'
	need ipset add vantuvi 198.51.100.7,udp:19305,192.168.1.21
	need iptables -t mangle -A FORWARD -j vantu_vi_zone
	need iptables -t mangle -A FORWARD -j ACCEPT
	exactly 0 '' '' $script -c
	exactly 0 '' '' $script -d
	expect_is '-A FORWARD -j ACCEPT' "$(rules_of iptables)"
	expect_is '' "$(rules_of ip6tables)"
	expect_status 0 ipset test vantuvi 198.51.100.7,udp:19305,192.168.1.21
	exactly 0 '' '' $script -d
	check 'wrong calls'
	expect_status 1 $script
	expect_err_has 'Usage: '
	expect_status 1 $script -x
}

# --- faults ------------------------------------------------------------------

every_tool_can_fail() {
	local -a call
	local line
	while IFS= read -r line; do
		read -ra call <<<"$line"
		check "faults of ${call[0]}"
		printf '%s silent - *\n' "${call[0]}" >$faults
		exactly 0 '' '' "${call[@]}"
		printf '%s down - *\n' "${call[0]}" >$faults
		exactly 1 "${call[0]}: Not Up"$'\n' '' "${call[@]}"
		printf '%s lines 1 %s\n%s status 5 *\n' "${call[0]}" "${call[*]:1}" "${call[0]}" >$faults
		check "one line and status 5: $line"
		expect_status 5 "${call[@]}"
		expect_at_least "$(wc -l <<<"$out")" 1
	done <<'END'
fcctl status
iwinfo wl0 assoclist
uci show network
qos restart
ubus list
vantu-fpingdq -c 1 -y 02:aa:bb:cc:dd:02 -Y wl0 192.168.1.22
vantu-iptables-functions.sh -d
END
	check 'a tool that another one calls has its own faults'
	printf 'vantu-fpingdq stray 0 *\nwlctl silent - *\n' >$faults
	expect_status 0 vantu-fpingdq -c 1 -y 02:aa:bb:cc:dd:02 -Y wl0 192.168.1.22
	expect_is '~~ stray line ~~' "${out%%$'\n'*}"
	out=${out#*$'\n'}
	expect_is 0 "$(column tx_total_bytes)"
	expect_at_least 1 "$(column NwRTD | cut -d . -f 1)"
	rm $faults
}

calls_are_noted() {
	check 'calls are noted'
	: >/run/sim/tools.log
	fcctl flush
	qos restart
	uci -q get env.var.serial >/dev/null
	iwinfo wl0 a >/dev/null
	ubus call -S -s $host uci get '{}' 2>/dev/null
	vantu-iptables-functions.sh -d
	expect_is "fcctl flush
qos restart
uci -q get env.var.serial
iwinfo wl0 a
ubus call -S -s $host uci get {}
vantu-iptables-functions.sh -d" "$(</run/sim/tools.log)"
}

# --- scenarios ---------------------------------------------------------------

broken_store() {
	check 'broken: a package that is cut, and one that is missing'
	exactly 1 '' $'uci: Parse error (option/list command found before the first section) at line 3, byte 0\n' \
		uci get env.var.serial
	exactly 1 '' $'uci: Entry not found\n' uci get version.@version[0].version
	exactly 0 $'eth3\n' '' uci get network.wan.ifname
	check 'broken: no bus'
	expect_status 127 ubus -S call uci get '{"config":"env"}'
}

counterless_driver() {
	check 'counterless: no radio has counters by category'
	for radio in wl0 wl1 wl2; do
		expect_status 1 wlctl -i $radio wme_counters
		expect_out_lacks 'tx frames'
		expect_status 0 wlctl -i $radio chanim_stats
		expect_out_has 'version: 4'
	done
	check 'counterless: of two stations that are listed one has no report'
	expect_status 0 wlctl -i wl0 assoclist
	expect_status 0 wlctl -i wl0 sta_info "${out#assoclist }"
	expect_out_has 'tx total bytes: '
	expect_status 0 wlctl -i wl1 assoclist
	expect_out_is 'assoclist 02:C0:A7:20:00:01'
	exactly 0 '' '' wlctl -i wl1 sta_info 02:C0:A7:20:00:01
}

if [[ ${1-} == inside ]]; then
	case $SIM_SCENARIO in
	broken) broken_store ;;
	counterless) counterless_driver ;;
	*)
		store_samples
		store_is_read
		store_refuses
		malformed_packages_are_refused
		changes_wait_in_the_stores_own_form
		changes_are_seen_before_they_are_committed
		commits_that_write_nothing
		queues_are_labelled
		bus_reads_the_store
		bus_speaks_to_people
		bus_shares_the_kernels_sets
		flow_cache_remembers
		firewall_script_works
		calls_are_noted
		stop_clock
		pings_are_rows
		choose_stations
		stations_are_listed_as_text
		stations_are_listed_as_json
		every_tool_can_fail
		bus_may_be_away
		;;
	esac
	exit 0
fi

# shellcheck disable=SC2119
inside
inside --scenario broken
inside --scenario counterless
