#!/usr/bin/env python3
"""Statistics, issues and leases are read; what cannot be read is left out and named by file and line."""

import os
import unittest

import support
from reporting import issues, leases, samples
from support import BEGIN, RADIO_HEADER, STATION_HEADER, STATION_ROW, WAN_HEADER


class Statistics(support.Folder):
    def read(self, name, content):
        """The file's samples and the notes on it."""
        self.write({name: content})
        notes = samples.Notes()
        return samples.read(self.folder / name, notes), list(notes)

    def test_a_file_of_each_kind_is_read(self):
        for name, content, kind, of in (
            ("radio-wl0.csv", support.radio(3), "radio", "wl0"),
            ("station-02:00:5E:00:00:01.csv", support.station(3), "station", "02:00:5E:00:00:01"),
            ("wan.csv", support.wan(3), "wan", ""),
        ):
            source, notes = self.read(name, content)
            self.assertEqual((source.kind, source.name, len(source.ends), notes), (kind, of, 3, []), name)

    def test_the_kind_of_a_file_with_another_name_is_seen_from_its_columns(self):
        for content, kind in ((support.radio(1), "radio"), (support.station(1), "station"), (support.wan(1), "wan")):
            source, notes = self.read("tuesday.csv", content)
            self.assertEqual((source.kind, source.name, notes), (kind, "tuesday", []))

    def test_columns_are_found_by_name_in_any_order_and_case(self):
        source, notes = self.read(
            "wan.csv", "IP_Packets_received,ip_bytes_recieved,extra,ip_bytes_sent,delta_time,time\n"
            "1,2,hello,3,1000,5000000\n")
        self.assertEqual((source.columns["ip_bytes_sent"], source.columns["ip_bytes_recieved"]), ([3], [2]))
        self.assertEqual(notes, [])

    def test_spans_end_where_the_next_begins(self):
        source, _ = self.read("wan.csv", support.wan(3))
        begin = BEGIN / 1e6
        self.assertEqual(source.starts, [begin, begin + 5, begin + 10])
        self.assertEqual(source.ends, [begin + 5, begin + 10, begin + 15])

    def test_a_clock_that_was_set_moves_nothing(self):
        source, _ = self.read("wan.csv", f"{WAN_HEADER}\n9000000,1000,1,1,1,1\n{BEGIN},1000,1,1,1,1\n3,1000,1,1,1,1\n")
        self.assertEqual(source.starts, [8, 9, 10])

    def test_rates_are_bits_a_second(self):
        source, _ = self.read("wan.csv", f"{WAN_HEADER}\n{BEGIN},2000,1000,0,1,1\n{BEGIN},0,1000,0,1,1\n")
        self.assertEqual(source.rates("ip_bytes_sent"), [4000, None])

    def test_line_ends_of_other_systems_are_taken(self):
        source, notes = self.read("wan.csv", support.wan(2).replace("\n", "\r\n"))
        self.assertEqual((len(source.ends), notes), (2, []))

    def test_a_last_line_without_an_end_is_taken(self):
        source, notes = self.read("wan.csv", support.wan(2)[:-1])
        self.assertEqual((len(source.ends), notes), (2, []))

    def test_files_that_show_nothing_are_noted(self):
        for name, content, note in (
            ("wan.csv", "", "wan.csv: is empty"),
            ("wan.csv", WAN_HEADER + "\n", "wan.csv: has no samples"),
            ("radio-wl0.csv", STATION_HEADER + "\n",
             "radio-wl0.csv:1: the column utilization of a radio's samples is missing"),
            ("station-x.csv", RADIO_HEADER + "\n",
             "station-x.csv:1: the column ip_bytes_sent of a station's samples is missing"),
            ("x.csv", "time,mac\n1,2\n", "x.csv:1: is no header of samples of a radio, of a station or of the WAN"),
            ("x.csv", b"\x00\xff\xfe\n", "x.csv:1: is no header of samples of a radio, of a station or of the WAN"),
            ("x.csv", "\n", "x.csv:1: is no header of samples of a radio, of a station or of the WAN"),
        ):
            source, notes = self.read(name, content)
            self.assertEqual((source, notes), (None, [note]), (name, content))

    def test_a_bad_line_is_left_out_and_noted_with_its_number(self):
        for line, note in (
            ("", "'' in the column time is no whole number"),
            (f"{BEGIN},5000,1,1,1,1,-70,-90,1", "ends before the column sta_last_data_downlink_rate"),
            (f"{BEGIN},{STATION_ROW},7", "has 11 fields under 10 columns"),
            (f"{BEGIN},5000,1.5,1,1,1,-70,-90,1,1", "'1.5' in the column ip_bytes_sent is no whole number"),
            (f"{BEGIN},5000,0x1,1,1,1,-70,-90,1,1", "'0x1' in the column ip_bytes_sent is no whole number"),
            (f"{BEGIN},5000,nan,1,1,1,-70,-90,1,1", "'nan' in the column ip_bytes_sent is no whole number"),
            (f"{BEGIN},5000,-1,1,1,1,-70,-90,1,1",
             f"-1 in the column ip_bytes_sent is not between 0 and {2**64 - 1}"),
            (f"{BEGIN},5000,{2**64},1,1,1,-70,-90,1,1",
             f"{2**64} in the column ip_bytes_sent is not between 0 and {2**64 - 1}"),
            (f"{BEGIN},5000,{'9' * 5000},1,1,1,-70,-90,1,1",
             f"'{'9' * 40}' in the column ip_bytes_sent is no whole number"),
            (f"{BEGIN},5000,1,1,1,1,-201,-90,1,1",
             "-201 in the column sta_signal_strength is not between -200 and 100"),
            (f"{BEGIN},5000,1,1,1,1,\u0664,-90,1,1", "'\u0664' in the column sta_signal_strength is no whole number"),
        ):
            good = f"{BEGIN},{STATION_ROW}"
            source, notes = self.read("station-x.csv", f"{STATION_HEADER}\n{good}\n{line}\n{good}\n")
            self.assertEqual((len(source.ends), notes), (2, [f"station-x.csv:3: {note}; the line is left out"]), line)

    def test_a_share_of_the_time_is_no_more_than_all_of_it(self):
        row = support.RADIO_ROW.replace(",62,", ",4294967295,")
        source, notes = self.read("radio-wl0.csv", f"{RADIO_HEADER}\n{BEGIN},{row}\n")
        self.assertIsNone(source)
        self.assertEqual(notes[0], "radio-wl0.csv:2: 4294967295 in the column utilization is not between 0 and 100; "
                                   "the line is left out")

    def test_many_bad_lines_are_counted_and_not_listed(self):
        _, notes = self.read("wan.csv", WAN_HEADER + "\n" + "x\n" * 20)
        self.assertEqual(len(notes), samples.MAX_NOTES + 1)
        self.assertEqual(notes[-1], "wan.csv: 16 more lines are left out")

    def test_what_is_no_file_is_noted(self):
        os.mkdir(self.folder / "wan.csv")
        os.mkfifo(self.folder / "pipe.csv")
        notes = samples.Notes()
        for name in ("wan.csv", "pipe.csv", "gone.csv"):
            self.assertIsNone(samples.read(self.folder / name, notes))
        self.assertEqual(list(notes), ["wan.csv: is no regular file", "pipe.csv: is no regular file",
                                       "gone.csv: is missing"])

    def test_a_file_that_is_too_large_is_noted(self):
        with (self.folder / "wan.csv").open("wb") as file:
            file.truncate(samples.MAX_BYTES + 1)
        notes = samples.Notes()
        self.assertIsNone(samples.read(self.folder / "wan.csv", notes))
        self.assertEqual(list(notes), ["wan.csv: is larger than 16 MiB"])


class Issues(support.Folder):
    def read(self, content):
        self.write({"issues.txt": content})
        notes = samples.Notes()
        return issues.read(self.folder / "issues.txt", notes), list(notes)

    def test_issues_of_radios_and_stations_are_read(self):
        found, notes = self.read(support.ISSUES)
        self.assertEqual(found.radios, {"wl0": [issues.Issue("congestion", 8)]})
        self.assertEqual(found.own_of_station(support.STATION), [issues.Issue("signal_strength", 5)])
        self.assertEqual((found.interfaces, notes), ({support.STATION: "wl0"}, []))

    def test_none_found_is_not_the_same_as_not_looked_for(self):
        found, _ = self.read('radio wl0\n{ "Issues": [ ] }\n')
        self.assertEqual((found.radios, found.own_of_station("other")), ({"wl0": []}, []))

    def test_an_issue_without_a_name_is_taken(self):
        self.assertEqual(issues.parse('{ "Issues": [ { } ] }'), [issues.Issue("", 0)])

    def test_all_issues_that_are_reported_are_explained(self):
        for kind in ("congestion", "contention", "signal_strength", "noise", "band"):
            advice = issues.Issue(kind, 1).advice
            self.assertIsNot(advice, issues.UNKNOWN, kind)
            self.assertTrue(advice.title and advice.meaning and advice.steps, kind)

    def test_a_name_that_is_not_known_is_taken(self):
        self.assertIs(issues.parse('{"Issues":[{"Issue":"humidity","Score":3}]}')[0].advice, issues.UNKNOWN)

    def test_scores_in_words(self):
        words = {score: issues.severity(score) for score in range(11)}
        self.assertEqual(words, {**dict.fromkeys(range(0, 4), "slight"), **dict.fromkeys(range(4, 7), "noticeable"),
                                 7: "serious", 8: "serious", 9: "severe", 10: "severe"})

    def test_bad_json_is_refused(self):
        for text, reason in (
            ("", "is no JSON"),
            ("{", "is no JSON"),
            ("[" * 200000, "is nested too deeply"),
            ("[]", 'has no list "Issues"'),
            ("{}", 'has no list "Issues"'),
            ('{"Issues": {}}', 'has no list "Issues"'),
            ('{"Issues": [1]}', "without a name and a score"),
            ('{"Issues": [{"Issue": "noise"}]}', "without a name and a score"),
            ('{"Issues": [{"Issue": 3, "Score": 3}]}', "without a name and a score"),
            ('{"Issues": [{"Issue": "noise", "Score": "3"}]}', "without a name and a score"),
            ('{"Issues": [{"Issue": "noise", "Score": true}]}', "without a name and a score"),
            ('{"Issues": [{"Issue": "noise", "Score": NaN}]}', "NaN is no number"),
            ('{"Issues": [{"Issue": "noise", "Score": 1e999}]}', "not between 1 and 10"),
            ('{"Issues": [{"Issue": "noise", "Score": 0}]}', "not between 1 and 10"),
            ('{"Issues": [{"Issue": "noise", "Score": %s}]}' % ("9" * 5000), ""),
        ):
            with self.assertRaises(ValueError, msg=text[:60]) as caught:
                issues.parse(text)
            self.assertIn(reason, str(caught.exception))

    def test_a_bad_line_is_noted_and_the_next_pair_is_read(self):
        for line, note in (
            ("hello", "issues.txt:1: names no radio and no device; the line is left out"),
            ("radio", "issues.txt:1: names no radio and no device; the line is left out"),
            ("device 02:00:5E:00:00:09 wl0\n{", "issues.txt:2: is no JSON"),
        ):
            found, notes = self.read(line + "\n" + support.ISSUES)
            self.assertEqual(list(found.radios), ["wl0"], line)
            self.assertEqual(len(notes), 1)
            self.assertTrue(notes[0].startswith(note), notes)

    def test_a_name_at_the_end_has_no_issues(self):
        self.assertEqual(self.read("radio wl0\n")[1], ["issues.txt:1: the issues of the radio are missing"])


class Leases(support.Folder):
    def test_devices_have_the_names_of_their_leases(self):
        self.write({"dhcp_lan.leases": support.LEASES + "1 02:00:5e:00:00:02 192.0.2.8 * *\nshort\n\n"})
        self.assertEqual(leases.read(self.folder / "dhcp_lan.leases", samples.Notes()),
                         {support.STATION: "study-laptop"})

    def test_no_file_and_no_lease_are_no_fault(self):
        notes = samples.Notes()
        self.assertEqual(leases.read(self.folder / "dhcp_lan.leases", notes), {})
        self.write({"dhcp_lan.leases": ""})
        self.assertEqual((leases.read(self.folder / "dhcp_lan.leases", notes), list(notes)), ({}, []))

    def test_what_is_no_file_is_noted(self):
        os.mkdir(self.folder / "dhcp_lan.leases")
        notes = samples.Notes()
        self.assertEqual((leases.read(self.folder / "dhcp_lan.leases", notes), list(notes)),
                         ({}, ["dhcp_lan.leases: is no regular file"]))


if __name__ == "__main__":
    unittest.main()
