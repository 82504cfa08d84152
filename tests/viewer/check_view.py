#!/usr/bin/env python3
"""Holds what lnav shows of real logs against what was written.

    check_view.py --lnav-directory DIR --split PROGRAM --samples PROGRAM --service PROGRAM

Two logs are viewed: one record of each kind, at times that are set (the rows of
SAMPLES are worked out by hand from view_samples.cpp), and many records of a
service that rotates its files (counted). Exits non-zero at the first difference.
"""
import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

# time, level, thread, tag, source, line, function, body. Header and message
# together hold 2046 bytes: "[demo] [2026-01-05 09:03:09.001] [1234] [INFO]
# [sample.cpp:20] [Cut]: " takes 70 of them, an ERROR or a FATAL one byte more.
SAMPLES = [
    ("09:03:07.042", "fatal", "1234", " ", "sample.cpp", 10, "main", "the first"),
    ("09:03:07.043", "error", "1234", "[net] ", "sample.cpp", 71, "operator[]",
     "refused: [x:1] [y]: no"),
    ("09:03:07.044", "warning", "1234", "", "sample.cpp", -1, "", "100 % of %d and %s"),
    ("09:03:07.999", "info", "1234", " ", "sample.cpp", 13, "Lines", "one\n\n  three"),
    ("09:03:08.000", "debug", "1234", " ", "sample.cpp", 14, "Text",
     "Gr\u00fc\u00dfe, \u4e16\u754c"),
    ("09:03:08.001", "notice", "1234", " ", "sample.cpp", 15, "Other", "level 7"),
    ("09:03:09.001", "info", "1234", " ", "sample.cpp", 20, "Cut", "x" * 1976),
    ("09:03:09.002", "warning", "1234", " ", "sample.cpp", 21, "After", "after the cut"),
    # 1975 bytes: four, 985 letters of two bytes, and half of one.
    ("09:03:09.003", "error", "1234", " ", "sample.cpp", 22, "Cut",
     "abc\n" + "\u00e9" * 985 + "\udcc3"),
    ("09:03:09.004", "fatal", "1234", " ", "sample.cpp", 23, "Cut", "y" * 1975),
    # The header itself was cut, 47 bytes behind its beginning at the earliest.
    ("09:03:09.005", "error", "1234", None, None, None, None, "t" * 1999),
    ("09:03:09.006", "info", "1234", " ", "sample.cpp", 25, "After",
     "it quoted [demo] [2026-01-05 09:03:07.042] [1234] [INFO] [a.cpp:1] [f]: text"),
    ("09:03:10.000", "info", "99", " ", "sample.cpp", 30, "Run", "another thread"),
    ("09:03:11.000", "error", "1234", " ", "sample.cpp", 31, "Last", "z" * 1974),
    ("09:03:12.500", "info", "1234", " ", "sample.cpp", 40, "main", "in a new file"),
]
IN_SUB_DIRECTORY = ("09:03:08.002", "info", "1234", " ", "sample.cpp", 16, "Net",
                    "in a sub-directory")
# Source lines of records that, without the filter, stand in the row of the record
# before them; unless a line of the library itself came in between.
BEHIND_A_CUT = {21, 23, 25, None}

# Lines the library writes about itself come when its worker is ready to.
NOT_ABOUT_ITSELF = "(source is null or source like '%.cpp')"


def fail(message):
    sys.exit(f"check_view.py: {message}")


class Viewer:
    """lnav without the user's own settings. Where it finds no folder for its own, it
    fills the working directory."""

    def __init__(self, directory, home):
        self.home = home
        os.makedirs(os.path.join(home, ".config/lnav"), exist_ok=True)
        self.command = ["lnav", "-n", "-q", "-I", directory]
        self.environment = dict(os.environ, HOME=home, TERM="dumb", TZ="UTC")
        self.environment.pop("XDG_CONFIG_HOME", None)

    def run(self, arguments, **options):
        return subprocess.run(self.command + arguments, env=self.environment, text=True,
                              cwd=self.home, errors="surrogateescape", capture_output=True,
                              timeout=120, **options)

    def check_formats(self):
        result = self.run(["-C"], stdin=subprocess.DEVNULL)
        return result.returncode == 0 and not result.stderr

    def ask(self, query, arguments, **options):
        result = self.run(["-c", ";" + query, "-c", ":write-json-to -", *arguments], **options)
        if result.returncode != 0 or not result.stdout:
            fail(f"lnav failed: {result.stderr or 'no output'}")
        # Bytes that are no UTF-8 stay what they are.
        return [tuple(row.values()) for row in json.loads(result.stdout)]


def check_format_file(directory, scratch):
    if not Viewer(directory, scratch).check_formats():
        fail("lnav -C finds fault with the format")
    # The check notices a format that does not fit its own samples.
    source = pathlib.Path(directory, "formats/zinlogger/zinlogger.json").read_text()
    spoilt = pathlib.Path(scratch, "spoilt/formats/zinlogger/zinlogger.json")
    spoilt.parent.mkdir(parents=True)
    if source.count("ERROR|WARN") < 1:
        fail("the format has changed; adapt the planted fault")
    spoilt.write_text(source.replace("ERROR|WARN", "WARN"))
    if Viewer(str(spoilt.parents[2]), scratch).check_formats():
        fail("lnav -C does not notice a spoilt format")


def compare(what, expected, actual):
    for number, (wanted, shown) in enumerate(zip(expected, actual)):
        if wanted != shown:
            fail(f"{what}, row {number}: expected\n{wanted!r}\nbut lnav shows\n{shown!r}")
    if len(expected) != len(actual):
        fail(f"{what}: {len(actual)} rows instead of {len(expected)}: {actual!r}")
    print(f"{what}: {len(actual)} rows as expected")


def files_by_age(logs):
    return [*sorted(map(str, logs.glob("app_*.log"))), str(logs / "app.log")]


def split(program, files):
    return subprocess.run([program, *files], check=True, capture_output=True).stdout.decode(
        errors="surrogateescape")


def check_samples(viewer, options, scratch):
    logs = pathlib.Path(scratch, "samples-log")
    subprocess.run([options.samples, str(logs)], check=True)
    query = ("select log_time, log_level, thread, tag, source, line, function, log_body"
             " from zinlogger_log where " + NOT_ABOUT_ITSELF + " order by log_line")

    def with_date(rows):
        return [("2026-01-05 " + row[0], *row[1:]) for row in rows]

    compare("filtered", with_date(SAMPLES),
            viewer.ask(query, [], input=split(options.split, files_by_age(logs))))
    compare("filtered, sub-directory", with_date([IN_SUB_DIRECTORY]),
            viewer.ask(query, [], input=split(options.split, [str(logs / "net/app.log")])))
    # Straight from the directory: sub-directories merge by time, and what stands
    # behind a cut is text of the record before.
    rows = viewer.ask(query, ["-r", str(logs)])
    direct = [row for row in SAMPLES if row[5] not in BEHIND_A_CUT]
    direct = sorted(direct + [IN_SUB_DIRECTORY])
    shortened = [row[:7] for row in rows if row[5] not in BEHIND_A_CUT]
    compare("the directory itself", [row[:7] for row in with_date(direct)], shortened)
    if not any("after the cut" in row[7] for row in rows):
        fail("what stands behind a cut is not found by a search")
    ends = viewer.ask("select log_level, function, tag from zinlogger_log"
                      " where log_body like '%LOG EXIT%'", ["-r", str(logs)])
    compare("the end of the log", [("info", "StopQueue", " ")], ends)


def check_service(viewer, options, scratch):
    """20,000 records, every tenth cut; levels 0 to 4 in turn; files of 1 MiB."""
    logs = pathlib.Path(scratch, "service-log")
    begin = time.time()
    subprocess.run([options.service, "--lines", "20000", "--rate", "0", "--cut-every", "10",
                    str(logs)], check=True, stdout=subprocess.DEVNULL)
    end = time.time()
    files = files_by_age(logs)
    if len(files) < 4:
        fail(f"too few files to see rotation: {files}")
    levels = "('fatal', 'error', 'warning', 'info', 'debug')"
    text = split(options.split, files)
    rows = sorted(viewer.ask(
        "select log_level, count(*), min(log_time), max(log_time), count(distinct process),"
        " min(process), count(distinct thread), min(function), max(function) from zinlogger_log"
        f" where source = 'paced_service.cpp' and log_level in {levels}"
        " group by log_level", [], input=text))
    compare("levels over rotated files",
            [(level, 4000) for level in ("debug", "error", "fatal", "info", "warning")],
            [row[:2] for row in rows])
    for row in rows:
        if row[4:] != (1, "paced_service", 1, "WriteLine", "WriteLine"):
            fail(f"process, thread or function differ: {row!r}")
        for shown in row[2:4]:
            # Seconds and milliseconds of a line come from two looks at the clock.
            if not begin - 1 <= seconds_of(shown) <= end + 1:
                fail(f"the time {shown} is not within the run")
    numbers = viewer.ask("select count(distinct substr(log_body, 1, 10)) from zinlogger_log"
                         " where source = 'paced_service.cpp'", [], input=text)
    compare("different records", [(20000,)], numbers)


def seconds_of(text):
    whole, milliseconds = text.split(".")
    return time.mktime(time.strptime(whole, "%Y-%m-%d %H:%M:%S")) + int(milliseconds) / 1000


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    for name in ("lnav-directory", "split", "samples", "service"):
        parser.add_argument("--" + name, required=True)
    options = parser.parse_args()
    os.environ["TZ"] = "UTC"
    time.tzset()
    with tempfile.TemporaryDirectory(prefix="zin-view-") as scratch:
        check_format_file(options.lnav_directory, scratch)
        viewer = Viewer(options.lnav_directory, scratch)
        check_samples(viewer, options, scratch)
        check_service(viewer, options, scratch)
    print("The viewer shows every record.")


if __name__ == "__main__":
    main()
