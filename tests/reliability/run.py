#!/usr/bin/env python3
"""The reliability campaigns: what happens to lines, files and the process when
something breaks.

Every campaign starts many short processes, two or so at a time, each with a
time limit (that is how a hang is seen), and holds what they leave on disk
against what they say they have logged. A line is a record whose every byte
follows from its writer, thread and sequence number (Records.h), so that lost,
cut, torn, doubled and foreign lines are told apart exactly (check_records).
Everything goes through the public interface of libZinLogger.so; faults come
from outside: signals, the file system, and libraries loaded before the C
library (fault_injector, allocation_injector).

  run.py --programs DIR [--quick] [--results DIR] [--jobs N] [campaign...]

prints one table: fault, runs, result, allowed loss, seen loss. The exit status
is 1 when a campaign fell short. With --results, the table is kept as
table.txt and table.md, with date, machine and command.

A new campaign is a file in campaigns/ with a function rows(stage) that yields
rows, and a place in the list below.
"""

import argparse
import datetime
import importlib
import os
import pathlib
import platform
import signal
import sys
import textwrap
import time

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from harness import Row, Stage  # noqa: E402  (the path above comes first)
from sanitizers import LEFT_OUT  # noqa: E402

CAMPAIGNS = ["checker", "kill", "exits", "restarts", "forks", "accounting", "syscalls", "metrics", "allocations", "disks", "hostile", "soak", "peers"]
ONLY_IN_FULL = ["peers"]  # and when named: they need packages of other libraries


def machine():
    model = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text(errors="replace").splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    return f"{model}, {os.cpu_count()} processors, Linux {platform.release()}"


def header(command, seconds):
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    return [f"date:    {now}", f"machine: {machine()}", f"command: {command}", f"took:    {seconds:.0f} s"]


def as_text(rows):
    lines = []
    for row in [("fault", "runs", "result", "allowed loss", "seen loss"), *rows]:
        cells = [textwrap.wrap(cell, width) or [""] for cell, width in zip(row, (44, 9, 40, 30, 30))]
        for i in range(max(map(len, cells))):
            parts = [(cell[i] if i < len(cell) else "").ljust(width)
                     for cell, width in zip(cells, (44, 9, 40, 30, 30))]
            lines.append("  ".join(parts).rstrip())
        if row[0] == "fault":
            lines.append("-" * 150)
    return lines


def as_markdown(rows):
    lines = ["| fault | runs | result | allowed loss | seen loss |", "|---|---|---|---|---|"]
    return lines + ["| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |" for row in rows]


def cells(row):
    return (row.fault, f"{row.runs:,}", row.result, row.allowed, row.seen)


def keep(directory, top, found):
    directory.mkdir(parents=True, exist_ok=True)
    (directory / "table.txt").write_text("\n".join(top + [""] + as_text(map(cells, found))) + "\n")
    body = ["```", *top, "```", ""] + as_markdown(map(cells, found))
    (directory / "table.md").write_text("\n".join(body) + "\n")


def parse(arguments):
    parser = argparse.ArgumentParser(prog=os.environ.get("ZIN_RELIABILITY_NAME", "run.py"))
    parser.add_argument("--programs", required=True, type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--quick", action="store_true", help="a sample of each campaign")
    parser.add_argument("--results", type=pathlib.Path, help="folder for the table")
    parser.add_argument("--sanitizers", default="", metavar="NAMES",
                        help="address,undefined or thread: build with these, and count what they report")
    parser.add_argument("--jobs", type=int, default=max(2, os.cpu_count() or 2))
    parser.add_argument("campaign", nargs="*", help=", ".join(CAMPAIGNS))
    options = parser.parse_args(arguments)
    unknown = [name for name in options.campaign if name not in CAMPAIGNS]
    if unknown:
        parser.error(f"no campaign {unknown[0]}; there are: {', '.join(CAMPAIGNS)}")
    if options.sanitizers:
        for name in options.campaign:
            if name in LEFT_OUT:
                parser.error(f"{name} cannot run with sanitizers: {LEFT_OUT[name]}")
    return options


def chosen(options):
    """The names of the campaigns; says which are left out."""
    names = options.campaign or [n for n in CAMPAIGNS if not (options.quick and n in ONLY_IN_FULL)]
    if options.sanitizers:
        for name, reason in LEFT_OUT.items():
            if not options.campaign:
                print(f"left out with sanitizers: {name}: {reason}", file=sys.stderr, flush=True)
        names = [name for name in names if name not in LEFT_OUT]
    return names


def play(stage, name):
    """The rows of a campaign, judged by the sanitizers' reports, too."""
    began = time.monotonic()
    try:
        for row in importlib.import_module(f"campaigns.{name}").rows(stage):
            stage.judge_reports(row)
            print(f"  {row.fault}: {row.runs:,} runs, {row.result}", file=sys.stderr, flush=True)
            yield row
    except Exception as error:  # the other campaigns go on, with what they find
        row = Row(name, 0, False, f"FAILED: {error}", "-", "-")
        stage.judge_reports(row)
        print(f"  {name}: {row.result}", file=sys.stderr, flush=True)
        yield row
    print(f"{name}: {time.monotonic() - began:.1f} s", file=sys.stderr, flush=True)


def main(arguments):
    options = parse(arguments)
    names = chosen(options)
    began = time.monotonic()
    found = []
    stage = Stage(options.programs, options.quick, options.jobs, options.sanitizers)
    # Ended from outside, it takes what it has started along.
    signal.signal(signal.SIGTERM, lambda *_: (stage.close(), os._exit(143)))
    try:
        for name in names:
            found += play(stage, name)
    finally:
        stage.close()

    settings = [*(["--quick"] if options.quick else []),
                *(["--sanitizers", options.sanitizers] if options.sanitizers else [])]
    command = " ".join(["scripts/reliability", *settings, *options.campaign])
    top = header(command, time.monotonic() - began)
    print("\n".join(["", *top, ""] + as_text(map(cells, found))))
    if options.results:
        keep(options.results, top, found)
    good = all(row.good for row in found)
    print("\n" + (f"{len(found)} rows, all as promised" if good else
                  f"{sum(not row.good for row in found)} of {len(found)} rows FELL SHORT"))
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
