"""Records of the log channel: what was written against what arrived."""
import collections
import pathlib
import re
import subprocess

HEADER = re.compile(rb"^\[[^\[\]\n]*\] \[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[", re.MULTILINE)
ROTATED = "*_?????????????????-???-*.log"


def finished_files(directory):
    return sorted(pathlib.Path(directory).rglob(ROTATED))


def without_newline(files):
    """Files whose last record was cut, so that no newline ends them."""
    return [file for file in files if not file.read_bytes().endswith(b"\n")]


def read(split, files):
    """All records of the files, each with the lines that belong to it."""
    counted = collections.Counter()
    if not files:
        return counted
    text = subprocess.run([split, *map(str, files)], check=True, capture_output=True).stdout
    starts = [match.start() for match in HEADER.finditer(text)]
    if starts and starts[0] > 0:
        counted[text[:starts[0]]] += 1
    for begin, end in zip(starts, [*starts[1:], len(text)]):
        counted[text[begin:end].rstrip(b"\n")] += 1
    return counted


class Account:
    """missing: written, not arrived. doubled: arrived too often. foreign: arrived,
    but never written (torn, glued or changed)."""

    def __init__(self, written, arrived):
        self.written = sum(written.values())
        self.arrived = sum(arrived.values())
        self.missing_records = written - arrived
        self.missing = sum(self.missing_records.values())
        surplus = arrived - written
        self.doubled = sum(n for record, n in surplus.items() if record in written)
        self.foreign = sum(surplus.values()) - self.doubled

    def missing_numbers(self):
        """The numbers that the service gave the missing lines, in order."""
        found = (re.search(rb"\[WriteLine\]: (\d{10})", record) for record in self.missing_records)
        return sorted(int(match.group(1)) for match in found if match)
