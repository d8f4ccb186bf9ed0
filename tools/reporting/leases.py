"""Reads the names of devices from the file of the router's DHCP server:

    1767502000 02:00:00:00:00:01 192.168.1.40 attic-desktop 01:02:00:00:00:00:01
"""

from reporting.samples import read_text


def read(path, notes):
    """The host names by MAC address in capitals; a device that gave none is left out."""
    names = {}
    if not path.exists() or (path.is_file() and path.stat().st_size == 0):
        return names
    for line in read_text(path, notes) or []:
        words = line.split()
        if len(words) >= 4 and words[3] != "*":
            names[words[1].upper()] = words[3]
    return names
