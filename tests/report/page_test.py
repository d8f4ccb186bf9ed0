#!/usr/bin/env python3
"""The program writes a page of whatever it is given, or says why not."""

import os
import re
import shutil
import unittest
from html.parser import HTMLParser

import support
from reporting import charts, page
from support import HOME, HOSTILE, STATION


class Elements(HTMLParser):
    """The names of a page's elements, and what their attributes refer to."""

    def __init__(self, html):
        super().__init__()
        self.names = []
        self.links = []
        self.feed(html)

    def handle_starttag(self, tag, attrs):
        self.names.append(tag)
        self.links += [value for name, value in attrs if name in ("src", "href", "xlink:href", "action", "data")]


class Charts(unittest.TestCase):
    def test_axes_have_round_steps(self):
        for span, step in ((100, 25), (80, 20), (1, 0.25), (7, 2), (1000000, 250000), (0.3, 0.1)):
            self.assertAlmostEqual(charts.nice_step(span, 4), step)

    def test_axes_end_above_the_highest_value(self):
        for highest, top in ((0, 1), (1, 1), (3.9, 4), (100, 100), (101, 150), (0.02, 0.02)):
            self.assertAlmostEqual(charts.nice_top(highest), top)

    def test_many_rows_are_averaged(self):
        rows = 2 * charts.MAX_STEPS
        chart = charts.Chart(list(range(rows)), list(range(1, rows + 1)),
                             [charts.Series("", 1, [0, 10] * charts.MAX_STEPS), charts.Series("", 2, [None] * rows)],
                             False, 0, 10, (0, rows))
        thinned = list(charts.thinned(chart))
        self.assertEqual((len(thinned), thinned[0], thinned[-1]),
                         (charts.MAX_STEPS, (0, 2, [5, None]), (rows - 2, rows, [5, None])))

    def test_a_drawing_has_the_colours_of_the_page_and_no_identifiers(self):
        chart = charts.Chart([0, 5], [5, 10], [charts.Series("", 1, [1, None]), charts.Series("", 3, [2, 2])],
                             True, 0, 4, (0, 10))
        svg = charts.themed(charts.draw([chart])[0], 'A "chart"')
        for wanted in ("var(--s1)", "var(--s3)", "var(--text-2)", "var(--grid)", 'aria-label="A &quot;chart&quot;"'):
            self.assertIn(wanted, svg)
        for unwanted in ("rgb(", " id=", "<title", "<defs", "ns0:"):
            self.assertNotIn(unwanted, svg)


class Text(unittest.TestCase):
    def test_markup_and_invisible_signs_are_shown_as_text(self):
        for raw, shown in (
            ("<b>&\"'", "&lt;b&gt;&amp;&quot;&#x27;"),
            ("a\u202eb", "a\ufffdb"),
            ("\x1b[31m\r\n\0", "\ufffd[31m\ufffd\ufffd\ufffd"),
            ("\udcff", "\ufffd"),
            ("naïve ☕", "naïve ☕"),
        ):
            self.assertEqual(page.text(raw), shown)


class Program(support.Folder):
    def test_a_page_has_all_that_was_found(self):
        html, said = self.html_of(HOME)
        self.assertEqual(said, "")
        self.assertEqual(html.count("<svg"), 3 + 3 + 1)
        for wanted in ("Other networks fill the channel", "serious, 8 of 10", "The signal is weak",
                       "noticeable, 5 of 10", "What to do", "study-laptop", STATION, "28 May 2026, 20:26:40 UTC"):
            self.assertIn(wanted, html)
        self.assertNotIn("About the data", html)

    def test_an_issue_of_a_radio_is_not_listed_again_for_its_stations(self):
        html, _ = self.html_of(HOME)
        self.assertEqual(html.count("<h3>Other networks fill the channel</h3>"), 1)
        self.assertEqual(html.count("serious, 8 of 10"), 2)  # in the list and at the radio

    def test_figures_are_those_of_the_samples(self):
        html, _ = self.html_of(HOME)
        for row in ("Others<td>45<td>45<td>45", "Signal<td>-71<td>-71<td>-71", "Normal<td>144<td>144<td>144",
                    "To it<td>130<td>130<td>130", "To the Internet<td>400<td>400<td>400"):
            self.assertIn(row, html)

    def test_use_of_the_channel_that_nobody_accounts_for_is_shown(self):
        html, _ = self.html_of({"radio-wl0.csv": support.radio().replace(",62,10,7,45,", ",90,10,7,45,")})
        self.assertIn("Not told by whom<td>28<td>28<td>28", html)

    def test_stations_in_trouble_come_first_and_are_unfolded(self):
        macs = [f"02:00:5E:10:00:{number:02}" for number in range(1, 12)]
        found = "".join(f'device {mac} wl0\n{{ "Issues": [ ] }}\n' for mac in macs[:-1])
        found += f'device {macs[-1]} wl0\n{{ "Issues": [ {{ "Issue": "noise", "Score": 3.0 }} ] }}\n'
        html, _ = self.html_of({"issues.txt": found, **{f"station-{mac}.csv": support.station(1) for mac in macs}})
        stations = re.findall(r'<details class="station"( open)?>.*?<code>(.*?)</code>', html)
        self.assertEqual(stations, [(" open", macs[-1])] + [("", mac) for mac in macs[:-1]])

    def test_no_issue_unknown_issues_and_issues_not_looked_for_are_told_apart(self):
        for issues, wanted in (
            ('radio wl0\n{ "Issues": [ ] }\n', "No issue was found."),
            ('radio wl0\n{ "Issues": [ { } ] }\n', "Reported without a name"),
            ('radio wl0\n{ "Issues": [ { "Issue": "humidity", "Score": 2 } ] }\n', "Reported as “humidity”"),
            ("?\n", "Nothing was looked at."),
            (None, "there is no file of issues"),
        ):
            (self.folder / "issues.txt").unlink(missing_ok=True)
            html, _ = self.html_of({"radio-wl0.csv": support.radio()} | ({"issues.txt": issues} if issues else {}))
            self.assertIn(wanted, html)

    def test_hostile_text_is_shown_and_does_nothing(self):
        # No name of a file has a slash; no name in the other files a blank.
        for place, name in (("file", HOSTILE.replace("/", "-")), ("word", HOSTILE.replace(" ", "_"))):
            files = {"radio-wl0.csv": support.radio()}
            if place == "file":
                files |= {f"radio-{name}.csv": support.radio(), f"station-{name}.csv": support.station(),
                          f"{name}.csv": "not a header"}
            else:
                files |= {f"station-{STATION}.csv": support.station(),
                          "dhcp_lan.leases": f"1 {STATION} 192.0.2.7 {name} *\n",
                          "issues.txt": f'radio {name}\n{{"Issues": [{{"Issue": "<script>", "Score": 2}}]}}\n'
                                        f'device {name} {name}\n{{"Issues": [{{"Issue": "noise", "Score": 2}}]}}\n'
                                        f'device {STATION} {name}\n{{"Issues": []}}\n'}
            harmless = Elements(self.html_of({"radio-wl0.csv": support.radio(), f"station-{STATION}.csv":
                                              support.station()})[0])
            html, said = self.html_of(files)
            elements = Elements(html)
            self.assertLessEqual(set(elements.names) - {"article", "section", "ol", "ul", "li", "h4", "br", "span"},
                                 set(harmless.names))
            self.assertEqual(elements.links, ["data:,"])
            self.assertIn("&lt;script&gt;", html)
            self.assertNotIn("\u202e", html)
            self.assertNotIn("\x1b", said)
            for path in self.folder.iterdir():
                path.unlink()

    def test_the_argument_is_text_as_well(self):
        folder = self.folder / "<script>alert(1)<"
        folder.mkdir()
        (folder / "wan.csv").write_text(support.wan())
        self.assertEqual(self.report(folder).returncode, 0)
        self.assertNotIn("<script", self.page.read_text())

    def test_a_page_needs_no_other_file(self):
        html, _ = self.html_of(HOME)
        self.assertEqual(Elements(html).links, ["data:,"])
        self.assertNotRegex(html, r"url\(|@import|https?://(?!www\.w3\.org/2000/svg\")")
        self.assertNotIn("script", Elements(html).names)

    def test_what_is_left_out_is_said_on_the_page_and_on_standard_error(self):
        html, said = self.html_of({"wan.csv": support.wan(2) + "1,2,x\n", "radio-wl0.csv": ""})
        for note in ("radio-wl0.csv: is empty", "wan.csv:4: "):
            self.assertIn(note, html)
            self.assertIn(f"report: {note}", said)
        self.assertEqual(html.count("<svg"), 1)

    def test_files_without_a_sample_give_a_page_that_says_so(self):
        html, _ = self.html_of({"wan.csv": support.WAN_HEADER + "\n"})
        self.assertIn("There are no samples to show.", html)
        self.assertIn("wan.csv: has no samples", html)

    def test_extreme_figures_are_drawn(self):
        largest = 2**64 - 1
        header = support.STATION_HEADER
        for row in (f"0,1,{largest},{largest},0,0,-200,100,{largest},{largest}", f"{2**62},0,0,0,0,0,0,0,0,0",
                    f"5,{10**12},1,1,1,1,-1,-1,1,1"):
            html, said = self.html_of({"station-x.csv": f"{header}\n{row}\n"})
            self.assertEqual((html.count("<svg"), said), (3, ""), row)

    def test_files_of_very_different_times_have_axes_of_their_own(self):
        html, _ = self.html_of({"wan.csv": support.wan(), "radio-wl0.csv": f"{support.RADIO_HEADER}\n9000000,"
                                                                          f"{support.RADIO_ROW}\n"})
        self.assertIn("each chart begins with its own", html)
        self.assertEqual(html.count("<svg"), 4)

    def test_a_long_history_makes_no_long_page(self):
        html, _ = self.html_of({"radio-wl0.csv": support.radio(20000)})
        self.assertLess(len(html), 300000)

    def test_why_there_is_no_page(self):
        (self.folder / "empty").mkdir()
        (self.folder / "x.csv").touch()
        for argument, reason in (
            (self.folder / "empty", f"report: directory {self.folder}/empty: has no CSV file"),
            (self.folder / "x.csv", f"report: {self.folder}/x.csv: is no scenario, no capture and no directory"),
            (self.folder / "x.tar.gz", f"report: {self.folder}/x.tar.gz: there is no such capture"),
            ("nowhere\x1b[31m", "report: nowhere\ufffd[31m: is no scenario, no capture and no directory"),
        ):
            done = self.report(argument)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (1, "", reason + "\n"))
            self.assertFalse(self.page.exists())

    def test_a_path_that_is_no_text_is_taken(self):
        folder = os.fsencode(self.folder) + b"/\xff\xfe"
        os.mkdir(folder)
        with open(folder + b"/wan.csv", "w", encoding="utf-8") as file:
            file.write(support.wan())
        done = self.report(os.fsdecode(folder), "--output", os.fsdecode(folder + b"/page.html"), PYTHONUTF8="1")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(os.path.exists(folder + b"/page.html"))

    def test_a_sampler_that_is_not_built_is_named(self):
        done = self.report("--sampler", "/nonexistent/sampler", "home")
        self.assertEqual((done.returncode, done.stderr),
                         (1, "report: /nonexistent/sampler: the example of a daemon is not built\n"))

    def test_a_page_that_cannot_be_written_is_named(self):
        self.write(HOME)
        self.page.mkdir(parents=True)
        done = self.report(self.folder)
        self.assertEqual((done.returncode, done.stderr), (1, f"report: {self.page}: Is a directory\n"))

    def test_without_gnuplot_its_package_is_named(self):
        self.write(HOME)
        tools = self.folder / "bin"
        tools.mkdir()
        for name in ("env", "python3"):
            (tools / name).symlink_to(shutil.which(name))
        done = self.report(self.folder, PATH=str(tools))
        self.assertEqual((done.returncode, done.stderr),
                         (1, "report: gnuplot is not installed; it is in the package gnuplot-nox\n"))

    def test_a_gnuplot_that_fails_is_reported(self):
        self.write(HOME)
        gnuplot = self.folder / "gnuplot"
        gnuplot.write_text("#!/bin/sh\necho 'line 1: out of ink' >&2\nexit 3\n")
        gnuplot.chmod(0o755)
        done = self.report(self.folder, PATH=f"{self.folder}:{os.environ['PATH']}")
        self.assertEqual((done.returncode, done.stderr), (1, "report: gnuplot failed: line 1: out of ink\n"))


if __name__ == "__main__":
    if shutil.which("gnuplot") is None:
        raise SystemExit("gnuplot is not installed")
    unittest.main()
