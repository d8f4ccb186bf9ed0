"""Writes the page: one file that needs no other, no program and no network. Every text of the data is escaped."""

import html
import unicodedata
from datetime import datetime, timezone
from pathlib import Path

from reporting import charts
from reporting.charts import Chart, Series
from reporting.issues import severity

DAY = 86400
OPEN_STATIONS = 8  # more are folded, but for those with an issue

CATEGORIES = (("vo", "Voice", 4), ("vi", "Video", 1), ("be", "Normal", 2), ("bk", "Background", 6))


def text(value):
    """Text of the data as it may stand in the page: no markup, and nothing that hides or turns round what follows."""
    hidden = ("Cc", "Cf", "Cs", "Co", "Cn")
    return html.escape("".join("\ufffd" if unicodedata.category(sign) in hidden else sign for sign in str(value)))


def tag(name, content, css=""):
    return f'<{name} class="{css}">{content}</{name}>' if css else f"<{name}>{content}</{name}>"


def _utc(seconds, form):
    try:
        return datetime.fromtimestamp(seconds, timezone.utc).strftime(form)
    except (ValueError, OverflowError, OSError):
        return "unknown time"


def _duration(seconds):
    seconds = round(seconds)
    hours, minutes, seconds = seconds // 3600, seconds // 60 % 60, seconds % 60
    parts = ((hours, "h"), (minutes, "min"), (seconds, "s"))
    return " ".join(f"{count} {unit}" for count, unit in parts if count) or "0 s"


def _figure(value):
    if value is None:
        return "–"
    return f"{value:.0f}" if abs(value) >= 100 else f"{value:.3g}"


def _scaled(series):
    """Series of bit/s in a unit that gives short figures, and that unit."""
    highest = max((value for one in series for value in one.values if value is not None), default=0)
    scale, unit = next(
        (pair for pair in ((1e9, "Gbit/s"), (1e6, "Mbit/s"), (1e3, "kbit/s")) if highest >= pair[0]), (1, "bit/s")
    )
    values = ([None if value is None else value / scale for value in one.values] for one in series)
    return [Series(one.title, one.colour, list(scaled)) for one, scaled in zip(series, values)], unit


class Plots:
    """The charts of the page. They are drawn together; until then a mark stands for each."""

    def __init__(self, sources):
        first = min(source.starts[0] for source in sources)
        last = max(source.ends[-1] for source in sources)
        # A router whose clock was wrong when it started has files of different years: each has its own axis then.
        self.common = (first, last) if last - first <= 2 * DAY else None
        self._charts = []
        self._labels = []

    def add(self, source, title, unit, series, stacked=False, low=0, high=None):
        """The HTML of a chart with its legend, which has the figures as well."""
        first, last = self.common or (source.starts[0], source.ends[-1])
        tops = [sum(value or 0 for value in row) if stacked else max((v for v in row if v is not None), default=0)
                for row in zip(*(one.values for one in series))]
        chart = Chart(
            [start - first for start in source.starts],
            [end - first for end in source.ends],
            series, stacked, low, charts.nice_top(max(tops)) if high is None else high, (0, last - first),
        )
        self._charts.append(chart)
        self._labels.append(f"Chart: {title} over time, in {unit}")
        head = f"<tr><th>{unit}<th>mean<th>lowest<th>highest</tr>"
        rows = "".join(self._legend_row(one) for one in series)
        mark = f"<!--chart {len(self._charts) - 1}-->"
        return tag("figure", f"<figcaption>{title}, {unit}</figcaption>{mark}<table>{head}{rows}</table>")

    @staticmethod
    def _legend_row(series):
        known = [value for value in series.values if value is not None]
        mean = sum(known) / len(known) if known else None
        swatch = f'<i style="background:var(--s{series.colour})"></i>'
        figures = (mean, min(known, default=None), max(known, default=None))
        return f"<tr><th>{swatch}{series.title}{''.join(f'<td>{_figure(value)}' for value in figures)}</tr>"

    def into(self, page):
        for number, svg in enumerate(charts.draw(self._charts)):
            page = page.replace(f"<!--chart {number}-->", charts.themed(svg, self._labels[number]), 1)
        return page


def _badge(issue):
    score = f"{issue.score:g} of 10" if issue.score else "no score"
    return tag("span", f"{severity(issue.score)}, {score}", f"badge {severity(issue.score)}")


def _issue_line(issues):
    """The issues of a radio or a station in a line."""
    if issues is None:
        return ""
    named = (f"{text(issue.advice.title)} {_badge(issue)}" for issue in issues)
    return tag("p", "<br>".join(named) or "No issue.", "own")


class Page:
    def __init__(self, title, sources, findings, names, notes):
        self.title = title
        self.findings = findings
        self.radios = self._of("radio", sources)
        self.stations = self._of("station", sources)
        self.wans = self._of("wan", sources)
        self.names = names
        self.notes = list(notes)
        self.plots = Plots(sources) if sources else None

    def _own_issues(self, source):
        """None when nobody looked for them."""
        if self.findings is None:
            return None
        if source.kind == "radio":
            return self.findings.radios.get(source.name)
        return self.findings.own_of_station(source.name) if source.name in self.findings.stations else None

    def _of(self, kind, sources):
        """The ones in most trouble first."""
        def rank(source):
            return -max((issue.score for issue in self._own_issues(source) or []), default=0), source.name
        return sorted((source for source in sources if source.kind == kind), key=rank)

    def _station_name(self, mac):
        name = self.names.get(mac.upper())
        return f"{text(name)} <code>{text(mac)}</code>" if name else f"<code>{text(mac)}</code>"

    # ---- What is wrong ----

    def _affected(self):
        """Who has an issue, by the kind of issue: pairs of the issue and the name in HTML."""
        found = {}
        for name, issues in self.findings.radios.items():
            for issue in issues:
                found.setdefault(issue.kind, []).append((issue, f"Radio <code>{text(name)}</code>"))
        for mac in self.findings.stations:
            for issue in self.findings.own_of_station(mac):
                # What a radio's list cannot name is in its stations' lists as well.
                if issue not in self.findings.radios.get(self.findings.interfaces[mac], []):
                    found.setdefault(issue.kind, []).append((issue, self._station_name(mac)))
        for affected in found.values():
            affected.sort(key=lambda pair: -pair[0].score)
        return sorted(found.values(), key=lambda affected: -affected[0][0].score)

    @staticmethod
    def _issue(affected):
        issue = affected[0][0]
        advice = issue.advice
        called = f"Reported as “{text(issue.kind)}”" if issue.kind else "Reported without a name"
        who = "".join(f"<li>{name} {_badge(one)}" for one, name in affected)
        steps = "".join(f"<li>{step}" for step in advice.steps)
        return tag(
            "article",
            f"<h3>{advice.title}</h3><p class=code>{called}</p><ul class=who>{who}</ul>"
            f"<p>{advice.meaning}</p><h4>What to do</h4><ol>{steps}</ol>",
            f"issue {severity(issue.score)}",
        )

    def _issues(self):
        if self.findings is None:
            body = "<p>Whether something is wrong is not known: there is no file of issues.</p>"
        else:
            body = "".join(self._issue(affected) for affected in self._affected())
        looked = self.findings and (self.findings.radios or self.findings.stations)
        if not body:
            body = "<p class=fine>No issue was found.</p>" if looked else "<p>Nothing was looked at.</p>"
        return f"<section id=issues><h2>What is wrong</h2>{body}</section>"

    # ---- Figures ----

    def _traffic(self, source, title, sums, stacked):
        series, unit = _scaled([Series(name, colour, source.rates(column)) for name, colour, column in sums])
        return self.plots.add(source, title, unit, series, stacked)

    def _radio(self, source):
        use = source.columns
        told = zip(use["utilization"], use["transmit"], use["receive_self"], use["receive_other"])
        rest = [max(0, busy - sum(parts)) for busy, *parts in told]
        series = [
            Series("Router sends", 1, use["transmit"]),
            Series("Devices send", 2, use["receive_self"]),
            Series("Others", 3, use["receive_other"]),
        ]
        if any(rest):
            series.append(Series("Not told by whom", 5, rest))
        figures = self.plots.add(source, "Use of the channel", "% of the time", series, stacked=True, high=100)
        for way, title in (("tx", "Traffic to devices"), ("rx", "Traffic from devices")):
            sums = [(name, colour, f"wmm_{category}_{way}") for category, name, colour in CATEGORIES]
            figures += self._traffic(source, title, sums, stacked=True)
        name = f"<h3>Radio <code>{text(source.name)}</code></h3>"
        return tag("article", f"{name}{_issue_line(self._own_issues(source))}{tag('div', figures, 'figures')}", "radio")

    def _station(self, source):
        use = source.columns
        signal = [Series("Signal", 1, use["sta_signal_strength"]), Series("Noise", 3, use["sta_noise"])]
        lowest = min(-100, *use["sta_signal_strength"], *use["sta_noise"])
        highest = max(-20, *use["sta_signal_strength"], *use["sta_noise"])
        figures = self.plots.add(source, "Signal and noise", "dBm", signal, low=lowest, high=highest)
        # As the samples are named, "uplink" is the rate of the last packet sent to the station.
        rates, unit = _scaled([
            Series("To it", 1, [rate * 1000 for rate in use["sta_last_data_uplink_rate"]]),
            Series("From it", 2, [rate * 1000 for rate in use["sta_last_data_downlink_rate"]]),
        ])
        figures += self.plots.add(source, "Rate of the last packet", unit, rates)
        sums = (("To it", 1, "ip_bytes_sent"), ("From it", 2, "ip_bytes_recieved"))
        figures += self._traffic(source, "Traffic", sums, stacked=False)
        own = self._own_issues(source)
        on = "" if own is None else f" on <code>{text(self.findings.interfaces[source.name])}</code>"
        unfolded = " open" if own or len(self.stations) <= OPEN_STATIONS else ""
        summary = f"<summary><h3>{self._station_name(source.name)}{on}</h3></summary>"
        body = f"{_issue_line(own)}{tag('div', figures, 'figures')}"
        return f'<details class="station"{unfolded}>{summary}{body}</details>'

    def _wan(self, source):
        sums = (("To the Internet", 1, "ip_bytes_sent"), ("From the Internet", 2, "ip_bytes_recieved"))
        return tag("div", self._traffic(source, "Traffic", sums, stacked=False), "figures wan")

    def _section(self, name, title, sources, write):
        if not sources:
            return ""
        return f"<section id={name}><h2>{title}</h2>{''.join(write(one) for one in sources)}</section>"

    # ---- The whole ----

    def _notes(self):
        if not self.notes:
            return ""
        items = "".join(f"<li>{text(note)}" for note in self.notes)
        said = f"<p>Not everything could be used:</p><ul>{items}</ul>"
        return f"<section id=notes><h2>About the data</h2>{said}</section>"

    def _head(self):
        if self.plots is None:
            return "<p>There are no samples to show.</p>"
        if self.plots.common is None:
            return "<p>The files were written at very different times; each chart begins with its own.</p>"
        first, last = self.plots.common
        unit = "hours:minutes" if last - first >= 7200 else "minutes:seconds"
        return (f"<p>{_utc(first, '%d %B %Y, %H:%M:%S')} UTC, and the {_duration(last - first)} after it. "
                f"The charts count {unit} from there.</p>")

    def html(self):
        style = Path(__file__).with_name("page.css").read_text(encoding="utf-8")
        sections = (
            self._issues() + self._section("radios", "Radios", self.radios, self._radio)
            + self._section("stations", "Stations", self.stations, self._station)
            + self._section("wan", "Internet connection", self.wans, self._wan) + self._notes()
        )
        page = (
            "<!doctype html>\n<html lang=en>\n<head>\n<meta charset=utf-8>\n"
            '<meta name=viewport content="width=device-width, initial-scale=1">\n'
            '<meta name="color-scheme" content="light dark">\n'
            # Should some text get past the escaping, it cannot load or run anything.
            '<meta http-equiv="Content-Security-Policy" '
            "content=\"default-src 'none'; style-src 'unsafe-inline'; img-src data:\">\n"
            '<link rel=icon href="data:,">\n'
            f"<title>Wi-Fi report: {text(self.title)}</title>\n<style>\n{style}</style>\n</head>\n<body>\n"
            f"<header><h1>Wi-Fi report</h1><p class=source>{text(self.title)}</p>{self._head()}</header>\n"
            f"<main>\n{sections}\n</main>\n</body>\n</html>\n"
        )
        return self.plots.into(page) if self.plots else page
