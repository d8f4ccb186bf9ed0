"""Reads the statistics files of radios, stations and the WAN.

The first line names the columns, each further line is what happened between two samples:

    time,delta_time,ip_bytes_sent,ip_bytes_recieved,...,sta_last_data_downlink_rate
    1795184216822522,898,48800,4160,48,19,-50,-95,1080441,960392

`time` is the end of that span in microseconds since 1970, `delta_time` its length in milliseconds. Nothing in a
file is trusted: a line that cannot be read is left out and noted with its number.
"""

import re
from dataclasses import dataclass, field

COUNTER = (0, 2**64 - 1)
PERCENT = (0, 100)
DBM = (-200, 100)

# The columns that the page shows, with the range of their values. The files spell them so.
_SPAN = {"time": (0, 2**62), "delta_time": (0, 10**12)}
_BYTES = {"ip_bytes_sent": COUNTER, "ip_bytes_recieved": COUNTER}
COLUMNS = {
    "radio": {
        **_SPAN,
        "utilization": PERCENT,
        "transmit": PERCENT,
        "receive_self": PERCENT,
        "receive_other": PERCENT,
        **{f"wmm_{category}_{way}": COUNTER for category in ("be", "bk", "vi", "vo") for way in ("rx", "tx")},
    },
    "station": {
        **_SPAN,
        **_BYTES,
        "sta_signal_strength": DBM,
        "sta_noise": DBM,
        "sta_last_data_uplink_rate": COUNTER,
        "sta_last_data_downlink_rate": COUNTER,
    },
    "wan": {**_SPAN, **_BYTES, "ip_packets_received": COUNTER},
}

MAX_BYTES = 16 << 20  # of a file; a history of 500 samples has 60,000
MAX_NOTES = 5  # of a file; what is wrong with one line is often wrong with all

_NUMBER = re.compile(r"-?[0-9]{1,20}")


@dataclass
class Source:
    """A file's samples: the values of a column are those of its rows, from the oldest to the newest."""

    kind: str  # "radio", "station", "wan"
    name: str  # of the interface or station
    starts: list = field(default_factory=list)  # seconds since 1970
    ends: list = field(default_factory=list)
    columns: dict = field(default_factory=dict)

    def rates(self, column):
        """Bytes of each row as bit/s; None where the row covers no time."""
        spans = zip(self.columns[column], self.columns["delta_time"])
        return [count * 8000 / length if length else None for count, length in spans]


class Notes:
    """What a reader of the page must know about the data: texts with the file and the line."""

    def __init__(self):
        self._by_file = {}

    def add(self, path, line, text):
        place = f"{path.name}:{line}" if line else path.name
        self._by_file.setdefault(path.name, []).append(f"{place}: {text}")

    def __iter__(self):
        for name, texts in self._by_file.items():
            yield from texts[:MAX_NOTES]
            if len(texts) > MAX_NOTES:
                yield f"{name}: {len(texts) - MAX_NOTES} more lines are left out"


def read_text(path, notes):
    """The file's lines; None, with a note, when there are none to be had."""
    if not path.is_file():
        notes.add(path, 0, "is missing" if not path.exists() else "is no regular file")
        return None
    try:
        with path.open("rb") as file:
            data = file.read(MAX_BYTES + 1)
    except OSError as error:
        notes.add(path, 0, f"cannot be read: {error.strerror}")
        return None
    if len(data) > MAX_BYTES:
        notes.add(path, 0, f"is larger than {MAX_BYTES >> 20} MiB")
        return None
    lines = data.decode("utf-8", "replace").split("\n")
    if lines[-1] == "":
        lines.pop()
    if not lines:
        notes.add(path, 0, "is empty")
        return None
    return [line.rstrip("\r") for line in lines]


def _kind_and_name(path):
    kind, _, name = path.stem.partition("-")
    return (kind, name) if kind in COLUMNS else ("", path.stem)


def _header(path, line, notes):
    """The kind of the samples, and at which place each of their columns stands; None, with a note, when it is no
    header. The kind of a file whose name does not say it is the one whose columns it has."""
    places = {}
    for place, title in enumerate(line.split(",")):
        places.setdefault(title.strip().lower(), place)
    named, _ = _kind_and_name(path)
    for kind in [named] if named else COLUMNS:
        if all(column in places for column in COLUMNS[kind]):
            return kind, {column: places[column] for column in COLUMNS[kind]}
    if named:
        missing = next(column for column in COLUMNS[named] if column not in places)
        notes.add(path, 1, f"the column {missing} of a {named}'s samples is missing")
    else:
        notes.add(path, 1, "is no header of samples of a radio, of a station or of the WAN")
    return None


def _row(cells, places, ranges):
    """The values of a line by column. Raises ValueError, which says what is wrong."""
    values = {}
    for column, place in places.items():
        if place >= len(cells):
            raise ValueError(f"ends before the column {column}")
        cell = cells[place].strip()
        low, high = ranges[column]
        if not _NUMBER.fullmatch(cell):
            raise ValueError(f"{cell[:40]!r} in the column {column} is no whole number")
        if not low <= int(cell) <= high:
            raise ValueError(f"{cell} in the column {column} is not between {low} and {high}")
        values[column] = int(cell)
    return values


def _rows(path, lines, places, ranges, notes):
    width = len(lines[0].split(","))
    for number, line in enumerate(lines[1:], 2):
        try:
            cells = line.split(",")
            if len(cells) > width:
                raise ValueError(f"has {len(cells)} fields under {width} columns")
            yield _row(cells, places, ranges)
        except ValueError as error:
            notes.add(path, number, f"{error}; the line is left out")


def read(path, notes):
    """A statistics file; None, with a note, when there is nothing in it that could be shown."""
    lines = read_text(path, notes)
    header = _header(path, lines[0], notes) if lines else None
    if header is None:
        return None
    kind, places = header
    source = Source(kind, _kind_and_name(path)[1], columns={column: [] for column in places})
    for row in _rows(path, lines, places, COLUMNS[kind], notes):
        for column, value in row.items():
            source.columns[column].append(value)
        # The wall clock may be set while samples are taken: it only says when the first one was.
        length = row["delta_time"] / 1000
        source.starts.append(source.ends[-1] if source.ends else row["time"] / 1e6 - length)
        source.ends.append(source.starts[-1] + length)
    if not source.ends:
        notes.add(path, 0, "has no samples")
        return None
    return source
