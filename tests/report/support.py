"""What the tests of the report share: the program, files as a daemon writes them, and skipping."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

RADIO_HEADER = (
    "time,delta_time,radio_bytes_sent,radio_bytes_recieved,radio_packets_sent,radio_packets_received,"
    "utilization,transmit,receive_self,receive_other,"
    "wmm_be_rx,wmm_be_tx,wmm_bk_rx,wmm_bk_tx,wmm_vi_rx,wmm_vi_tx,wmm_vo_rx,wmm_vo_tx"
)
STATION_HEADER = (
    "time,delta_time,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_recieved,"
    "sta_signal_strength,sta_noise,sta_last_data_uplink_rate,sta_last_data_downlink_rate"
)
WAN_HEADER = "time,delta_time,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_received"

BEGIN = 1_780_000_000_000_000  # microseconds; the samples of all files begin here
STATION = "02:00:5E:10:00:01"

RADIO_ROW = "5000,700,300,7,3,62,10,7,45,2000,90000,100,4000,800,30000,600,700"
STATION_ROW = "5000,60000,5000,90,30,-71,-92,130000,117000"
WAN_ROW = "5000,250000,20000,300,90"
HOSTILE = """"><img src=x onerror="alert(1)"><script>alert(2)</script>&amp;'\u202e\x1b[31m"""


def samples(header, row, rows):
    """A file with the same figures in each row, five seconds apart."""
    lines = (f"{BEGIN + (number + 1) * 5_000_000},{row}" for number in range(rows))
    return "\n".join((header, *lines)) + "\n"


def radio(rows=12):
    return samples(RADIO_HEADER, RADIO_ROW, rows)


def station(rows=12):
    return samples(STATION_HEADER, STATION_ROW, rows)


def wan(rows=12):
    return samples(WAN_HEADER, WAN_ROW, rows)


ISSUES = f"""\
radio wl0
{{ "Issues": [ {{ "Issue": "congestion", "Score": 8.0 }} ] }}
device {STATION} wl0
{{ "Issues": [ {{ "Issue": "signal_strength", "Score": 5.0 }}, {{ "Issue": "congestion", "Score": 8.0 }} ] }}
"""
LEASES = f"1780000000 {STATION.lower()} 192.0.2.7 study-laptop 01:{STATION.lower()}\n"

HOME = {
    "radio-wl0.csv": radio(),
    f"station-{STATION}.csv": station(),
    "wan.csv": wan(),
    "issues.txt": ISSUES,
    "dhcp_lan.leases": LEASES,
}


class Folder(unittest.TestCase):
    """A test with a folder for statistics."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name, "samples")
        self.folder.mkdir()
        self.page = Path(folder.name, "out", "report.html")

    def write(self, files):
        for name, content in files.items():
            path = self.folder / name
            path.write_bytes(content if isinstance(content, bytes) else content.encode())

    def report(self, *arguments, **environment):
        """Runs the program. What it says must be no traceback, whatever it was given."""
        done = subprocess.run(
            [str(ROOT / "tools/report"), "--output", str(self.page), *map(str, arguments)],
            capture_output=True, text=True, check=False, env={**os.environ, **environment},
        )
        self.assertNotIn("Traceback", done.stderr)
        return done

    def html_of(self, files):
        """The page of the files, and what the program said about them."""
        self.write(files)
        done = self.report(self.folder)
        self.assertEqual((done.returncode, done.stdout), (0, f"{self.page}\n"), done.stderr)
        return self.page.read_text(), done.stderr


def missing(what):
    """Skips a test for want of something; on CI that is a failure, or it would be skipped for months unnoticed."""
    if os.environ.get("CI") == "true":
        raise AssertionError(f"{what}, and CI must not skip")
    raise unittest.SkipTest(what)


def main():
    """Ends with 77 when tests were skipped and none failed."""
    program = unittest.main(module="__main__", exit=False, verbosity=2)
    if not program.result.wasSuccessful():
        sys.exit(1)
    sys.exit(77 if program.result.skipped else 0)
