"""Draws charts as SVG that stands inside a page and takes its colours from the page.

gnuplot gets figures only, never a text of the data, and draws in colours that mean "the line here takes the page's
colour number N"; these are then replaced.
"""

import math
import re
import subprocess
import tempfile
import xml.etree.ElementTree as xml
from dataclasses import dataclass
from pathlib import Path

WIDTH, HEIGHT = 360, 170  # about a phone's width, so that the texts keep their size there
MAX_STEPS = 180  # of a series; more are averaged

_SVG = "{http://www.w3.org/2000/svg}"
_COLOURS = {1: "var(--text-2)", 2: "var(--grid)"} | {10 + n: f"var(--s{n})" for n in range(1, 7)}
_RGB = re.compile(r"rgb\(\s*(\d+),\s*0,\s*0\)")


@dataclass
class Series:
    title: str
    colour: int  # 1 to 6
    values: list  # a row each; None where there is none


@dataclass
class Chart:
    starts: list  # seconds on the page's axis, a row each
    ends: list
    series: list
    stacked: bool
    low: float
    high: float
    span: tuple  # of the page's axis


class Failure(Exception):
    """gnuplot is missing or did not do what it should."""


def nice_step(span, parts):
    """The smallest of 1, 2, 2.5, 5, 10, ... that divides a span into so many parts or fewer."""
    exact = span / parts
    power = 10 ** math.floor(math.log10(exact))
    return next(power * step for step in (1, 2, 2.5, 5, 10) if power * step >= exact * 0.999)


def nice_top(highest):
    """A round end of an axis that begins at 0."""
    if highest <= 0:
        return 1
    step = nice_step(highest, 4)
    return math.ceil(highest / step * 0.999) * step


def _mean(values):
    known = [value for value in values if value is not None]
    return sum(known) / len(known) if known else None


def thinned(chart):
    """The rows (start, end, value of each series), no more than fit on the chart."""
    size = max(1, math.ceil(len(chart.starts) / MAX_STEPS))
    for first in range(0, len(chart.starts), size):
        rows = slice(first, first + size)
        yield chart.starts[first], chart.ends[rows][-1], [_mean(series.values[rows]) for series in chart.series]


def _time_tics(first, last):
    """Places and labels of round times: minutes and seconds, or hours and minutes."""
    steps = (1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 28800, 86400)
    length = last - first
    step = next((step for step in steps if length <= 5 * step), 86400 * math.ceil(length / 5 / 86400))
    unit = 60 if length >= 7200 else 1
    tics = []
    for second in range(0, int(length) + 1, step):
        tics.append(f'"{second // unit // 60}:{second // unit % 60:02}" {first + second}')
    return ", ".join(tics)


def _points(chart, place):
    """A series as steps, each with the lower and the upper edge of what is filled."""
    for start, end, values in thinned(chart):
        if values[place] is None:
            yield f"{start:.3f} NaN NaN\n"
            continue
        low = sum(value or 0 for value in values[:place]) if chart.stacked else chart.low
        high = low + values[place] if chart.stacked else values[place]
        low, high = (min(max(value, chart.low), chart.high) for value in (low, high))
        yield f"{start:.3f} {low:.6g} {high:.6g}\n{end:.3f} {low:.6g} {high:.6g}\n"


def _plots(chart):
    shape = "1:2:3 with filledcurves" if chart.stacked else "1:3 with lines lw 2"
    for place, series in enumerate(chart.series):
        yield f"$series{place} using {shape} lc rgb 0x{10 + series.colour:02x}0000"


def _script(chart, path):
    first, last = chart.span
    blocks = (f"$series{place} << END\n{''.join(_points(chart, place))}END\n" for place in range(len(chart.series)))
    return (
        f'set output "{path}"\n{"".join(blocks)}'
        f"set xrange [{first}:{max(last, first + 1)}]\nset yrange [{chart.low}:{chart.high}]\n"
        f"set xtics ({_time_tics(first, last)})\n"
        f"set ytics {chart.low}, {nice_step(chart.high - chart.low, 4):.6g}\n"
        f"plot {', '.join(_plots(chart))}\nunset output\n"
    )


_SETTINGS = f"""\
set terminal svg size {WIDTH},{HEIGHT} font "sans-serif,12" dynamic noenhanced
set key off
set border 1 lc rgb 0x010000
set grid ytics lt 1 lw 1 lc rgb 0x020000
set tics nomirror scale 0.4 textcolor rgb 0x010000
set style fill solid noborder
set lmargin 7
set rmargin 2.5
set tmargin 0.8
set bmargin 1.8
"""


def _coloured(element):
    for name in ("stroke", "fill"):
        match = _RGB.fullmatch(element.get(name, ""))
        if match:
            del element.attrib[name]
            element.set("style", f"{name}:{_COLOURS[int(match[1])]}")


def _swept(element):
    """Drops what the page has no use for, and identifiers that it could have only once."""
    element.attrib.pop("id", None)
    _coloured(element)
    for child in list(element):
        _swept(child)
        if child.tag in (_SVG + "title", _SVG + "desc", _SVG + "defs") or (child.tag == _SVG + "g" and not len(child)):
            element.remove(child)
        child.tail = None
    if element.tag != _SVG + "text":
        element.text = None


def themed(svg, label):
    """The SVG as it goes into the page; `label` is what is read out instead of it."""
    root = xml.fromstring(svg)
    _swept(root)
    root.set("role", "img")
    root.set("aria-label", label)
    for element in root.iter():
        element.tag = element.tag.removeprefix(_SVG)
    return xml.tostring(root, encoding="unicode")


def draw(charts):
    """The SVG documents of the charts, all from one run of gnuplot."""
    if not charts:
        return []
    with tempfile.TemporaryDirectory() as folder:
        paths = [Path(folder, f"{number}.svg") for number in range(len(charts))]
        script = _SETTINGS + "".join(_script(chart, path) for chart, path in zip(charts, paths))
        try:
            done = subprocess.run(["gnuplot"], input=script, text=True, capture_output=True, check=False)
        except FileNotFoundError:
            raise Failure("gnuplot is not installed; it is in the package gnuplot-nox") from None
        if done.returncode != 0 or not all(path.exists() for path in paths):
            raise Failure("gnuplot failed: " + " ".join(done.stderr.split())[:200])
        return [path.read_text() for path in paths]
