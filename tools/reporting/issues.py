"""Reads which issues were found, and knows what to tell people about each.

The file is what the sampler prints, two lines for each radio and station:

    device 02:00:00:00:00:01 wl1
    { "Issues": [ { "Issue": "congestion", "Score": 8.0 } ] }
"""

import json
from dataclasses import dataclass, field

from reporting.samples import read_text


@dataclass(frozen=True)
class Advice:
    title: str
    meaning: str
    steps: tuple
    of_radio: bool = False  # found on a radio, and listed for its stations as well


ADVICE = {
    "congestion": Advice(
        "Other networks fill the channel",
        "Wi-Fi networks and devices nearby that do not belong to this home use the channel, or change how much they "
        "use it, so that this radio often has to wait before it may send. Everything on the radio becomes slow or "
        "stutters, also close to the router.",
        (
            "Let the router choose a channel anew: restart it, or set its channel to automatic.",
            "Move devices that can to another radio; 5 GHz and 6 GHz are emptier than 2.4 GHz.",
            "In a block of flats every channel may be full: connect what does not move, such as a television, "
            "with a cable.",
        ),
        of_radio=True,
    ),
    "contention": Advice(
        "The home's own devices fill the channel",
        "The devices of this home send and receive so much on this radio that they have to wait for each other. "
        "The neighbours have no part in it.",
        (
            "Look below which station has the most traffic, and ask what it does: backups, updates, "
            "cameras and downloads can run at night.",
            "Connect the busiest device that does not move with a cable, or move it to another radio.",
            "A device with a low rate needs much time for little data: bring it closer, or replace a very old one.",
        ),
        of_radio=True,
    ),
    "signal_strength": Advice(
        "The signal is weak",
        "The device hears the router only faintly: it is far away, or walls, floors, metal or mirrors stand "
        "between. It is slow and may lose the connection, whatever the others do.",
        (
            "Bring the device and the router closer to each other, and the router out of cupboards and corners.",
            "Where that is not possible, place a repeater or a second access point half-way.",
            "A device that could use 2.4 GHz reaches further there than on 5 GHz.",
        ),
    ),
    "noise": Advice(
        "Something disturbs the radio waves",
        "There is much noise where the radio listens to this device, from something that is no Wi-Fi network or "
        "from a receiver that is overloaded. Data arrives damaged and is sent again.",
        (
            "Look for a microwave oven, a cordless telephone, a baby monitor, a wireless video link or a "
            "poorly shielded cable (USB 3, HDMI) beside the router or the device; switch it off to try.",
            "Move the router a metre away from other electronics.",
            "Move the device to another radio. Noise on every radio may be a fault of the router.",
        ),
    ),
    "band": Advice(
        "The device uses the wrong band",
        "The device is connected on a radio that serves it worse than another radio of this router would.",
        (
            "Switch the device's Wi-Fi off and on, so that it chooses again.",
            "Check that all radios of the router have the same network name and password.",
        ),
    ),
}

# An issue that the report prints without a name, or that is newer than this page.
UNKNOWN = Advice(
    "An issue that this page does not know",
    "Something was found for which there is no explanation here.",
    ("Hand the case on to those who look after the router's software.",),
)


def severity(score):
    for limit, word in ((9, "severe"), (7, "serious"), (4, "noticeable")):
        if score >= limit:
            return word
    return "slight"


@dataclass(frozen=True)
class Issue:
    kind: str  # empty for one without a name
    score: float  # 1 (slight) to 10 (severe); 0 for one without a score

    @property
    def advice(self):
        return ADVICE.get(self.kind, UNKNOWN)


@dataclass
class Findings:
    """What was found for each radio and station. A name that is missing was not looked at."""

    radios: dict = field(default_factory=dict)  # interface: issues
    stations: dict = field(default_factory=dict)  # MAC: issues
    interfaces: dict = field(default_factory=dict)  # MAC: interface of its radio

    def own_of_station(self, mac):
        """Without those that it shares with all on its radio."""
        return [issue for issue in self.stations.get(mac, []) if not issue.advice.of_radio]


def _no_number(text):
    raise ValueError(f"{text} is no number")


def parse(text):
    """The issues of a JSON report. Raises ValueError, which says what is wrong."""
    try:
        report = json.loads(text, parse_constant=_no_number)
    except RecursionError:
        raise ValueError("is nested too deeply") from None
    except ValueError as error:
        raise ValueError(f"is no JSON: {error}") from None
    entries = report.get("Issues") if isinstance(report, dict) else None
    if not isinstance(entries, list):
        raise ValueError('has no list "Issues"')
    return [_issue(entry) for entry in entries]


def _issue(entry):
    if entry == {}:
        return Issue("", 0)
    kind, score = (entry.get("Issue"), entry.get("Score")) if isinstance(entry, dict) else (None, None)
    if not isinstance(kind, str) or not isinstance(score, (int, float)) or isinstance(score, bool):
        raise ValueError("has an issue without a name and a score")
    if not 1 <= score <= 10:
        raise ValueError("has a score that is not between 1 and 10")
    return Issue(kind, float(score))


def read(path, notes):
    """The findings of a file; None, with a note, when it cannot be read."""
    lines = read_text(path, notes)
    if lines is None:
        return None
    findings = Findings()
    number = 0
    while number < len(lines):
        number += _take(findings, path, lines, number, notes)
    return findings


def _take(findings, path, lines, number, notes):
    """Takes in what begins at a line; returns how many lines that are."""
    words = lines[number].split()
    if not ((len(words) == 2 and words[0] == "radio") or (len(words) == 3 and words[0] == "device")):
        notes.add(path, number + 1, "names no radio and no device; the line is left out")
        return 1
    if number + 1 == len(lines):
        notes.add(path, number + 1, f"the issues of the {words[0]} are missing")
        return 1
    try:
        issues = parse(lines[number + 1])
    except ValueError as error:
        notes.add(path, number + 2, f"{error}; the issues of the {words[0]} are left out")
        return 2
    if words[0] == "radio":
        findings.radios[words[1]] = issues
    else:
        findings.stations[words[1]] = issues
        findings.interfaces[words[1]] = words[2]
    return 2
