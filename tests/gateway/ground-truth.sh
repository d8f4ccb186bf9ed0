#!/bin/bash
# Networks with one known trouble each: the sampler names it, with its score, and nothing else; and its CSV files hold what the network was made of.
# shellcheck source=tests/gateway/lib.sh
source "${BASH_SOURCE[0]%/*}/lib.sh"

program=${VANTU_SAMPLER:?the sampler}
speed=20
rounds=20

# scenario, who has it, what it is and its score; who else there is has none. The
# scenario's tables say which rung of the ladders its figures stand on.
truth='
far        device 02:B2:FA:10:00:01 wl0 signal_strength 10
neighbours radio wl1                    congestion      8
neighbours device 02:C3:1B:20:00:01 wl1 congestion      8
household  radio wl0                    contention      7
household  device 02:D4:2C:10:00:01 wl0 contention      7
noisy      device 02:E5:3D:30:00:01 wl2 noise           3
'

# issues - reads what the sampler prints, a line that says who and a line of JSON in
# turn, and prints who it was about and, a line each, who has which issue.
issues() {
	python3 -c '
import json, sys
lines = sys.stdin.read().splitlines()
assert len(lines) % 2 == 0, "a line without its partner"
print("about", len(lines) // 2)
for who, text in zip(lines[::2], lines[1::2]):
    report = json.loads(text)
    assert list(report) == ["Issues"], report
    for issue in report["Issues"]:
        assert sorted(issue) == ["Issue", "Score"] and isinstance(issue["Score"], float), issue
        print(who, issue["Issue"], "%g" % issue["Score"])
'
}

# files FOLDER - compares the CSV files there with the tables of the scenario and
# prints what is wrong with them.
files() {
	python3 - "$1" "$scenarios/$scenario" "$rounds" <<'END'
import csv, os, sys

folder, scenario, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3])

HEADERS = {
    "radio": "time delta_time radio_bytes_sent radio_bytes_recieved radio_packets_sent radio_packets_received "
             "utilization transmit receive_self receive_other wmm_be_rx wmm_be_tx wmm_bk_rx wmm_bk_tx "
             "wmm_vi_rx wmm_vi_tx wmm_vo_rx wmm_vo_tx",
    "station": "time delta_time ip_bytes_sent ip_bytes_recieved ip_packets_sent ip_packets_recieved "
               "sta_signal_strength sta_noise sta_last_data_uplink_rate sta_last_data_downlink_rate",
}
# What the simulated driver gives of a radio's traffic to each category, in percent.
CATEGORIES = {"be": (71, 82), "bk": (6, 5), "vi": (19, 4), "vo": (4, 9)}
# Every station gets as much group traffic, in packets a second and bytes a packet.
GROUP = (4, 333)


def table(name):
    with open(os.path.join(scenario, name)) as rows:
        return [row.split() for row in rows if row.strip() and not row.startswith("#")]


class History:
    def __init__(self, kind, name):
        self.file = "%s-%s.csv" % (kind, name)
        with open(os.path.join(folder, self.file), newline="") as text:
            header, *rows = csv.reader(text)
        self.check("header", header == HEADERS[kind].split(), header)
        self.check("rows", len(rows) == rounds - 1, len(rows))
        self.check("columns", all(len(row) == len(header) for row in rows), rows)
        self.columns = dict(zip(header, zip(*(map(int, row) for row in rows))))
        time = self["time"]
        self.check("time", all(a < b for a, b in zip(time, time[1:])), time)
        self.check("delta_time", min(self["delta_time"]) > 0, self["delta_time"])
        # The first row's time is the end of its interval. Each clock is asked on its own.
        self.seconds = sum(self["delta_time"]) / 1e3
        between = (time[-1] - time[0]) / 1e6 + self["delta_time"][0] / 1e3
        self.near("delta_time as a whole", self.seconds, between, 2)

    def __getitem__(self, column):
        return self.columns[column]

    def total(self, column):
        return sum(self[column])

    def check(self, what, fine, got):
        if not fine:
            print("%s: %s: %s" % (self.file, what, got))

    def always(self, column, value):
        self.check("%s other than %d" % (column, value), set(self[column]) == {value}, self[column])

    # Within a factor of the wanted value.
    def near(self, what, got, want, factor):
        self.check("%s far from %g" % (what, want), want / factor <= got <= want * factor, got)


stations = table("stations")
for name, _, _, _, noise, tx, inbss, _, _, _, _, txop, *_ in table("radios"):
    tx, inbss, txop = int(tx), int(inbss), int(txop)
    history = History("radio", name)
    history.always("utilization", 100 - txop)
    history.always("transmit", tx)
    history.always("receive_self", inbss)
    history.always("receive_other", 100 - txop - tx - inbss)
    # The interface's own counters are the kernel's: next to nothing passes.
    for way in "sent", "recieved":
        history.check("bytes " + way, 0 <= min(history["radio_bytes_" + way]), history["radio_bytes_" + way])
    for way, of in ("packets_sent", "bytes_sent"), ("packets_received", "bytes_recieved"):
        packets, size = history["radio_" + way], history["radio_" + of]
        history.check("more in %s than in %s" % (way, of), all(p * 14 <= b for p, b in zip(packets, size)), packets)
    for way, rate, part in ("tx", 13, 0), ("rx", 18, 1):
        whole = sum(history.total("wmm_%s_%s" % (category, way)) for category in CATEGORIES)
        here = sum(int(row[rate]) for row in stations if row[0] == name)
        # Both clocks go at the gateway's speed: the wrong one is off by more than this.
        history.near("bytes a second " + way, whole / history.seconds, here, 5)
        for category, shares in CATEGORIES.items():
            share = history.total("wmm_%s_%s" % (category, way)) / (whole or 1)
            history.check("share of %s %s" % (category, way),
                          abs(share - shares[part] / 100) < 0.02 if here else share == 0, share)

for row in stations:
    signal, noise = row[8].split(",")[0], row[9].split(",")[0]
    tx_kbps, rx_kbps, _, tx_rate, tx_size, _, _, _, rx_rate, rx_size, _ = map(int, row[10:])
    history = History("station", row[1].upper())
    history.always("sta_signal_strength", int(signal))
    history.always("sta_noise", int(noise))
    history.always("sta_last_data_uplink_rate", tx_kbps)
    history.always("sta_last_data_downlink_rate", rx_kbps)
    sent, received = history.total("ip_bytes_sent"), history.total("ip_bytes_recieved")
    group, group_size = GROUP
    history.near("bytes sent a second", sent / history.seconds, tx_rate + group * group_size, 5)
    # Both are from one report, so that these hold whatever the clocks do.
    history.near("bytes sent for one received", sent / (received or 1), (tx_rate + group * group_size) / rx_rate, 1.1)
    history.near("size sent", sent / (history.total("ip_packets_sent") or 1),
                 (tx_rate + group * group_size) / (tx_rate / tx_size + group), 1.1)
    history.near("size received", received / (history.total("ip_packets_recieved") or 1), rx_size, 1.1)

want = len(table("radios")) + len(stations) + 1  # and the WAN
if len(os.listdir(folder)) != want:
    print("%d files, not %s" % (want, os.listdir(folder)))
END
}

# A library that is loaded in front of the one of AddressSanitizer is no mistake here.
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0
SIM_KEEP=${SIM_KEEP:+$SIM_KEEP:}$scratch

for scenario in far neighbours household noisy quiet; do
	check "$scenario: the sampler runs"
	mkdir "$scratch/$scenario"
	expect_status 0 "$gateway" --scenario "$scenario" --speed "$speed" -- \
		"$program" 1000 "$rounds" "$scratch/$scenario"
	expect_is "round $rounds of $rounds: 3 radios, 2 devices, 0 samples missed" "${err##*$'\n'}"
	expect_is "$rounds" "$(grep -c . <<<"$err")"
	check "$scenario: its issues and no others"
	expect_is "$(echo about 5 && rows <(printf '%s' "$truth") | sed -n "s/^$scenario //p")" "$(issues <<<"$out" 2>&1)"
	check "$scenario: its CSV files"
	expect_is '' "$(files "$scratch/$scenario" 2>&1)"
done
