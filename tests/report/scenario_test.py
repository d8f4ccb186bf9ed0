#!/usr/bin/env python3
"""The report of a network: the example of a daemon samples the simulated gateway, and the page says what it found.

The sampler is what VANTU_SAMPLER names.
"""

import os
import re
import signal
import subprocess

import support

# A sampler built with AddressSanitizer wants to be the first library; the gateway's clock is.
os.environ["ASAN_OPTIONS"] = ":".join(filter(None, (os.environ.get("ASAN_OPTIONS"), "verify_asan_link_order=0")))


class Networks(support.Folder):
    @classmethod
    def setUpClass(cls):
        gateway = subprocess.run([str(support.ROOT / "sim/gateway"), "--scenario", "bare", "true"], check=False)
        if gateway.returncode == 77:
            support.missing("the gateway cannot run here")

    def report_of(self, scenario):
        done = self.report("--minutes", "1", "--sampler", os.environ["VANTU_SAMPLER"], scenario)
        self.assertEqual((done.returncode, done.stdout), (0, f"{self.page}\n"), done.stderr)
        return self.page.read_text()

    def test_the_issue_of_a_network_is_explained(self):
        for scenario, issue, who, badge in (
            ("neighbours", "Other networks fill the channel", "Radio <code>wl1</code>", "serious, 8 of 10"),
            ("far", "The signal is weak", "<code>02:", "of 10"),
        ):
            html = self.report_of(scenario)
            found = re.search(rf"<h3>{issue}</h3>.*?<ul class=who>(.*?)</ul>", html)
            self.assertIsNotNone(found, scenario)
            self.assertIn(who, found[1])
            self.assertIn(badge, found[1])
            self.assertEqual(html.count("<article class=\"issue"), 1, scenario)

    def test_a_capture_is_reported_as_the_network_that_it_is_of(self):
        capture = self.folder / "case 7.tar.gz"
        subprocess.run([str(support.ROOT / "sim/gateway"), "--scenario", "far", "--",
                        str(support.ROOT / "tools/vantu-capture"), "-o", str(capture)],
                       env={**os.environ, "SIM_KEEP": str(self.folder)}, check=True)
        html = self.report_of(capture)
        self.assertIn("<p class=source>capture case 7.tar.gz</p>", html)
        self.assertIn("<h3>The signal is weak</h3>", html)
        self.assertEqual(html.count("<article class=\"issue"), 1)

    def test_a_capture_that_is_none_is_refused(self):
        self.write({"bad.tar.gz": "no archive"})
        done = self.report("--sampler", os.environ["VANTU_SAMPLER"], self.folder / "bad.tar.gz")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("report: sampling in the simulated gateway ended with", done.stderr)
        self.assertFalse(self.page.exists())

    def test_an_interrupted_report_leaves_no_page(self):
        with subprocess.Popen([str(support.ROOT / "tools/report"), "--output", str(self.page), "--minutes", "40",
                               "--sampler", os.environ["VANTU_SAMPLER"], "quiet"], stderr=subprocess.PIPE, text=True,
                              env={**os.environ, "TMPDIR": str(self.folder)}, start_new_session=True) as running:
            self.assertIn("round", running.stderr.readline())
            os.killpg(running.pid, signal.SIGINT)
            said = running.communicate(timeout=60)[1]
        self.assertNotIn("Traceback", said)
        self.assertEqual((running.returncode, list(self.folder.iterdir())), (130, []))
        self.assertFalse(self.page.exists())

    def test_a_quiet_network_has_no_issue(self):
        html = self.report_of("quiet")
        self.assertIn("No issue was found.", html)
        self.assertEqual(len(re.findall('<article class="radio"', html)), 3)
        self.assertEqual(len(re.findall('<details class="station"', html)), 2)
        self.assertIn(" min", html)
        self.assertNotIn("About the data", html)


if __name__ == "__main__":
    support.main()
