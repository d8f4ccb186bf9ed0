# A row of the ping tool: the ping's own columns, which are given, and behind them the
# platform's, which stand in wlctl's reports and the counters of the bridge. Prints the
# titles of the columns instead when there is no ping.

# The columns in the order of the platform's data row. Where a report has the same
# title, values are taken by it; the others are named where they are found.
function columns() {
	return "chanspec,tx,inbss,obss,nocat,nopkt,doze,txop,goodtx,badtx,glitch,badplcp,knoise,idle,timestamp," \
		"version,rate_of_last_rx_pkt,tx_total_bytes,rx_data_bytes,tx_total_pkts,rx_data_pkts," \
		"tx_failures,tx_pkts_retries,rx_total_pkts_retried,flags,htcaps,vhtcaps,sta_idle," \
		"rate_of_last_tx_pkt,min_rate_of_last_tx_pkt,rx_decrypt_succeeds,rx_decrypt_failures," \
		"tx_data_pkts_retried,rx_last_rssi_1,rx_last_rssi_2,rx_last_rssi_3,rx_last_rssi_4," \
		"rx_average_rssi_1,rx_average_rssi_2,rx_average_rssi_3,rx_average_rssi_4," \
		"noise_floor_1,noise_floor_2,noise_floor_3,noise_floor_4,tx_pkts_retry_exhausted," \
		"tx_fw_total_pkts_sent,tx_fw_pkts_retries,tx_fw_pkts_retry_exhausted,tx_ucast_pkts," \
		"tx_ucast_bytes,tx_mcast_pkts,tx_mcast_bytes,rx_ucast_pkts,rx_ucast_bytes,rx_mcast_pkts," \
		"rx_mcast_bytes,bk_rx_bytes,bk_tx_bytes,be_rx_bytes,be_tx_bytes,vi_rx_bytes,vi_tx_bytes," \
		"vo_rx_bytes,vo_tx_bytes,wan_tx_packages,wan_rx_packages,wan_rx_bytes,wan_tx_bytes"
}

function hexadecimal(text,   i, n) {
	text = tolower(text)
	for (i = 3; i <= length(text); i++)
		n = n * 16 + index("0123456789abcdef", substr(text, i, 1)) - 1
	return n
}

# The four antennas of a line.
function antennas(title,   i) {
	for (i = 1; i <= 4; i++)
		value[title "_" i] = $(NF - 4 + i)
}

/^chanspec tx / {
	for (i = 2; i <= NF; i++)
		title[i] = $i
	in_channel = NF
	next
}

in_channel {
	for (i = 2; i <= in_channel; i++)
		value[title[i]] = $i
	in_channel = 0
}

/^\[VER / { value["version"] = $2 + 0 }
/^\t idle / { value["sta_idle"] = $2 }
/^\t flags / { value["flags"] = hexadecimal(substr($2, 1, length($2) - 1)) }
/^\t HT caps / { value["htcaps"] = hexadecimal(substr($3, 1, length($3) - 1)) }
/^\t VHT caps / { value["vhtcaps"] = hexadecimal(substr($3, 1, length($3) - 1)) }
/^\t rate of last tx pkt: / {
	value["rate_of_last_tx_pkt"] = $6
	value["min_rate_of_last_tx_pkt"] = $9
	next
}
/^\t per antenna rssi of last / { antennas("rx_last_rssi") }
/^\t per antenna average / { antennas("rx_average_rssi") }
/^\t per antenna noise / { antennas("noise_floor") }

# The other lines are named by their titles, but for the two packets of a group.
/^\t [rt][a-zA-Z \/]*: / {
	name = tolower($0)
	sub(/^\t /, "", name)
	number = name
	sub(/:.*/, "", name)
	sub(/^[^:]*: /, "", number)
	sub(/mcast\/bcast/, "mcast", name)
	gsub(/ /, "_", name)
	value[name] = number + 0
}

/^AC_[A-Z]+: tx frames/ {
	category = tolower(substr($1, 4, 2))
	value[category "_tx_bytes"] = $6
}
/^ +rx frames: / { value[category "_rx_bytes"] = $5 }
/^ *bridge / {
	value["wan_tx_packages"] = $2
	value["wan_rx_packages"] = $3
	value["wan_rx_bytes"] = $4
	value["wan_tx_bytes"] = $5
}

END {
	if (ENVIRON["PING"] == "") {
		print "Time,IP,Snd#,NwRTD,PLEN,TOS,Ping2," columns()
		exit
	}
	value["chanspec"] = ENVIRON["CHANNEL"]
	row = ENVIRON["PING"]
	n = split(columns(), name_of, ",")
	for (i = 1; i <= n; i++)
		row = row "," (name_of[i] in value ? value[name_of[i]] : 0)
	print row
}
