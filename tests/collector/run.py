#!/usr/bin/env python3
"""Ships the files of a service that logs 20,000 lines a second, disturbs the
collectors meanwhile, and counts what arrived. Started by scripts/collector.

Prints a table; exits non-zero when a row falls short of what is promised for it.
"""
import argparse
import dataclasses
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from typing import Callable, Optional

import records
from collectors import KINDS, CollectorError

RATE = 20000
# Nothing has arrived for so long: nothing more will.
QUIET_SECONDS = 12
QUIET_SECONDS_WHEN_ALL_IS_THERE = 2
AWAY_SECONDS = 2


# ---- Disturbances: called when a third of the lines is written ---------------

def restart_edge(setup):
    setup.edge.stop()
    time.sleep(AWAY_SECONDS)
    setup.edge.start()


def kill_edge(setup):
    setup.edge.kill()
    time.sleep(AWAY_SECONDS)
    setup.edge.start()


def restart_central(setup):
    stop_central(setup)
    time.sleep(AWAY_SECONDS)
    setup.start_central()


def restart_edge_without_central(setup):
    stop_central(setup)
    time.sleep(1)
    setup.edge.stop()
    setup.edge.start()
    time.sleep(AWAY_SECONDS)
    setup.start_central()


def leave_central_away(setup):
    stop_central(setup)
    time.sleep(2 * AWAY_SECONDS)
    setup.start_central()


def kill_hanging_central(setup):
    setup.central.hang()
    time.sleep(AWAY_SECONDS)
    setup.central.kill()
    setup.lines_when_central_was_gone = lines_so_far(setup)
    setup.start_central()


def stop_central(setup):
    setup.central.stop()
    setup.lines_when_central_was_gone = lines_so_far(setup)


# ---- What is promised --------------------------------------------------------

def exact(account, _setup):
    return account.missing == account.doubled == account.foreign == 0


def at_least_once(account, _setup):
    return account.missing == account.foreign == 0


def unended_files_lack_their_last(account, setup):
    """One record a file, where the last one was cut and no newline ends it."""
    unended = len(records.without_newline(records.finished_files(setup.logs)))
    return 0 < unended == account.missing and account.doubled == account.foreign == 0


def at_most_in_flight(account, setup):
    """What a dead connection takes with it: some of what was written before it
    died, never anything that was written afterwards."""
    numbers = account.missing_numbers()
    return account.foreign == 0 and (not numbers or numbers[-1] <= setup.lines_when_central_was_gone)


def measured(_account, _setup):
    return True


@dataclasses.dataclass
class Phase:
    what: str
    disturb: Optional[Callable] = None
    promise: Callable = exact
    promise_text: str = "each line once"
    pattern: Optional[str] = None
    edge_changes: tuple = ()
    arguments: tuple = ()
    end_files: bool = False
    quick: bool = False
    kinds: tuple = tuple(KINDS)


AT_LEAST = (at_least_once, "each line at least once")
IN_FLIGHT = (at_most_in_flight, "but for what the dead connection held")
# No line is both: of a cut record of two lines at the end of a file, the first
# would arrive.
ODD_LINES = ("--cut-every", "7", "--two-lines-every", "14")

PHASES = [
    Phase("nothing is disturbed"),
    Phase("edge stopped, away 2 s, started", restart_edge, quick=True),
    Phase("central stopped, away 2 s, started", restart_central, *IN_FLIGHT, quick=True),
    Phase("central away, edge restarted meanwhile", restart_edge_without_central, *IN_FLIGHT),
    Phase("central hangs 2 s, kill -9, started", kill_hanging_central, *IN_FLIGHT),
    Phase("central away 4 s, little room at the edge", leave_central_away, *IN_FLIGHT,
          edge_changes=(('queue.size="50000"', 'queue.size="5000"'), ('"2g"', '"1m"')),
          kinds=("rsyslog",)),
    Phase("central away 4 s, little room at the edge", leave_central_away, *IN_FLIGHT,
          kinds=("syslog-ng",)),
    Phase("edge kill -9, away 2 s, started", kill_edge, measured, "not promised"),
    Phase("cut lines and lines of two, edge restarted", restart_edge,
          unended_files_lack_their_last, "but the last of a file, when cut", arguments=ODD_LINES,
          kinds=("rsyslog",)),
    Phase("the same, newline added to such files", restart_edge, arguments=ODD_LINES,
          end_files=True, kinds=("rsyslog",)),
    Phase("cut lines and lines of two, edge restarted", restart_edge, arguments=ODD_LINES,
          kinds=("syslog-ng",)),
    Phase("pattern app.log (live), edge restarted", restart_edge, measured, "not promised",
          pattern="app.log"),
    Phase("pattern app*.log (both), edge restarted", restart_edge, measured, "not promised",
          pattern="app*.log"),
]


# ---- One phase -----------------------------------------------------------------

def lines_so_far(setup):
    """The number of the last line that is on disk."""
    live = setup.logs / "app.log"
    while True:
        try:
            tail = live.read_bytes()[-8192:]
        except FileNotFoundError:  # it is being rotated
            continue
        at = tail.rfind(b"[WriteLine]: ")
        if at >= 0 and tail[at + 13:at + 23].isdigit():
            return int(tail[at + 13:at + 23])
        time.sleep(0.002)


def write_lines(options, setup, phase, lines):
    """Lets the service write, and disturbs meanwhile. Returns the lines written."""
    command = [options.service, "--lines", str(lines), "--rate", str(RATE), *phase.arguments,
               str(setup.logs)]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as service:
        try:
            if phase.disturb:
                time.sleep(lines / RATE / 3)
                phase.disturb(setup)
            written = int(service.communicate(timeout=120)[0])
        finally:
            service.kill()
    return written


def rotate_what_is_left(options, setup):
    """A start moves the file of the run before aside."""
    subprocess.run([options.service, "--lines", "1", "--rate", "0", str(setup.logs)], check=True,
                   stdout=subprocess.DEVNULL)


def add_newlines(files):
    for file in records.without_newline(files):
        with open(file, "ab") as end:
            end.write(b"\n")


def wait_for_arrival(setup, files):
    """Duplicates may make up for what is missing, so the exact size is needed."""
    expected = sum(file.stat().st_size for file in files)
    size, since = -1, time.monotonic()
    quiet = QUIET_SECONDS
    while time.monotonic() - since < quiet:
        now = sum(file.stat().st_size for file in setup.collected_files())
        if now != size:
            size, since = now, time.monotonic()
            quiet = QUIET_SECONDS_WHEN_ALL_IS_THERE if now == expected else QUIET_SECONDS
        time.sleep(0.2)


def run_phase(options, kind, phase, lines, work):
    changes = dict(phase.edge_changes)
    if phase.pattern:
        changes["*_?????????????????-???-*.log"] = phase.pattern
    setup = KINDS[kind](options.programs, options.configurations, work, changes)
    setup.lines_when_central_was_gone = 0  # the number of the last one
    try:
        setup.start()
        written_by_service = write_lines(options, setup, phase, lines)
        rotate_what_is_left(options, setup)
        files = records.finished_files(setup.logs)
        written = records.read(options.split, files)
        if phase.end_files:
            add_newlines(files)
        wait_for_arrival(setup, files)
        for daemon, role in ((setup.edge, "edge"), (setup.central, "central")):
            if not daemon.is_running():
                raise CollectorError(f"{kind}, {role} ended: {setup.output(role)}")
        arrived = records.read(options.split, setup.collected_files())
    finally:
        setup.end()
    in_files = sum(1 for record in written if b"[WriteLine]: " in record)
    if not written_by_service == in_files == lines:
        raise CollectorError(f"{written_by_service} lines logged, {in_files} in the files")
    if phase.pattern:
        # The live file is read as well; its lines are not at issue here.
        arrived = arrived - (arrived - written - repeated(arrived, written))
    return records.Account(written, arrived), setup, len(files)


def repeated(arrived, written):
    """The part of the surplus that was written."""
    return type(arrived)({record: n for record, n in (arrived - written).items()
                          if record in written})


# ---- The table -------------------------------------------------------------------

COLUMNS = "| {:<9} | {:<44} | {:>5} | {:>7} | {:>7} | {:>7} | {:>7} | {:>6} | {:<37} | {:<4} |"


def print_header():
    head = COLUMNS.format("collector", "phase", "files", "written", "arrived", "missing", "doubled",
                          "broken", "promise", "")
    print(head)
    print("|" + "|".join("-" * len(cell) for cell in head.split("|")[1:-1]) + "|", flush=True)


def ranges(numbers):
    """[1, 2, 3, 7] -> "1-3 7"."""
    found = []
    for number in numbers:
        if found and number == found[-1][1] + 1:
            found[-1][1] = number
        else:
            found.append([number, number])
    shown = [str(a) if a == b else f"{a}-{b}" for a, b in found]
    return " ".join(shown if len(shown) <= 60 else [*shown[:30], "...", *shown[-30:]])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    for name in ("programs", "configurations", "service", "split"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", help="phases whose name contains this")
    parser.add_argument("--kind", choices=KINDS, help="this collector alone")
    options = parser.parse_args()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))

    lines = (4 if options.quick else 10) * RATE
    work = pathlib.Path(tempfile.mkdtemp(prefix="zin-collector-"))
    failed = 0
    print_header()
    try:
        chosen = [(kind, phase) for kind in KINDS for phase in PHASES
                  if kind in phase.kinds and kind == (options.kind or kind)
                  and (phase.quick or not options.quick)
                  and (not options.only or options.only in phase.what)]
        if not chosen:
            parser.error(f"no phase contains '{options.only}'")
        for number, (kind, phase) in enumerate(chosen):
            folder = work / str(number)
            account, setup, files = run_phase(options, kind, phase, lines, folder)
            kept = phase.promise(account, setup)
            failed += not kept
            print(COLUMNS.format(kind, phase.what, files, account.written, account.arrived,
                                 account.missing, account.doubled, account.foreign,
                                 phase.promise_text, "ok" if kept else "FAIL"), flush=True)
            if not kept:
                print(f"  missing: {ranges(account.missing_numbers())};"
                      f" central gone at {setup.lines_when_central_was_gone}", flush=True)
            if kept or not os.environ.get("ZIN_KEEP"):
                shutil.rmtree(folder)
    except (CollectorError, subprocess.SubprocessError) as error:
        sys.exit(f"{os.environ.get('ZIN_COLLECTOR_NAME', 'run.py')}: {error}")
    finally:
        if not os.environ.get("ZIN_KEEP"):
            shutil.rmtree(work)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
