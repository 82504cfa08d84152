"""The same faults on other libraries. Their rows are measurements: a peer that
loses or hangs is no failure of ours. Our own row is judged."""

import os
import random
import re
import shutil
import signal
import subprocess
import time

from harness import LedgerView, Row, count_of

LIBRARIES = ("zinlogger", "spdlog", "glog", "log4cplus", "boost_log")
NOT_POSSIBLE = 75
HANG_SECONDS = 20
GLOG_HEADER = re.compile(rb"^(Log file created at|Running on machine|Running duration|Log line format).*\n", re.M)
SCENARIOS = (  # name, fault, what may be lost, runs in full, amount
    ("burst", "kill -9, four threads log", "what is queued or buffered", 100, 0),
    ("exit-queued", "return from main, 100,000 lines logged, no stop", "what is queued", 50, 100000),
    ("exit-logging", "return from main, four threads still log", "what is queued", 50, 0),
    ("late", "log calls out of a static object older than the logger", "these calls' lines", 50, 1000),
    ("restart", "start, one line, stop: 200 cycles", "none", 3, 200),
    ("fork", "20 forks while four threads log; children log, stop, end", "(parent ends by _exit)", 3, 20),
    ("disk-full", "disk full and freed, 5 cycles", "lines written meanwhile", 3, 5),
    ("rename-fails", "the folder is read-only when the file is full", "lines written meanwhile", 3, 0),
)


def as_nobody(stage, where, program, arguments):
    """A copy in a place that another user can enter, run as that user."""
    if os.geteuid() != 0:
        return [program, *arguments]
    copy = shutil.copy(program, where)
    shutil.copy(stage.library, where / "libZinLogger.so.1")
    for path in (where, where / "log", where / "ledger", copy):
        os.chown(path, 65534, 65534)
    return ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "env",
            f"LD_LIBRARY_PATH={where}", copy, *arguments]


def files_of(log):
    found = []
    for path in sorted(log.rglob("*")):
        if path.is_file() and not path.is_symlink() and "small" not in path.parts:
            found.append(path)
    return found


def kill_in_burst(stage, command, ledger, delay):
    process = stage.start(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    give_up = time.monotonic() + HANG_SECONDS
    while not all(ledger[i] >= 1000 for i in range(4)) and time.monotonic() < give_up:
        time.sleep(0.001)
    time.sleep(delay)
    os.kill(process.pid, signal.SIGKILL)
    process.wait()


def play(stage, library, scenario, amount, delay):
    where = stage.fresh_dir()
    (where / "log").mkdir()
    ledger = LedgerView(where / "ledger")
    arguments = [where / "log", where / "ledger", scenario, str(amount)]
    command = [stage.program(f"peer_{library}"), *arguments]
    if scenario == "rename-fails":
        command = as_nobody(stage, where, command[0], arguments)
    seen = {"signals": 0, "hung": 0, "status": 0}
    if scenario == "burst":
        kill_in_burst(stage, command, ledger, delay)
    else:
        limit = HANG_SECONDS + (4 * amount if scenario == "fork" else 0)
        run = stage.run(command, limit=limit)
        if run.status == NOT_POSSIBLE:
            stage.remove(where)
            return None
        seen["hung"] = int(run.hung)
        seen["signals"] = int(not run.hung and run.status < 0)
        seen["status"] = int(run.status > 0)
    files = files_of(where / "log")
    if library == "glog":
        for path in files:
            path.write_bytes(GLOG_HEADER.sub(b"", path.read_bytes()))
    account = stage.check("peer_zinlogger" if library == "zinlogger" else None, *files)
    seen["damaged"] = account["damaged"]
    seen["doubled"] = account["duplicates"]
    seen["childHung"], seen["childBad"] = ledger[400], ledger[401]
    # A child's line in the parent's file is foreign there.
    seen["foreign"] = sum(s["count"] for name, s in account["streams"].items() if name.startswith("2."))
    seen["well"] = sum(max(0, ledger[i] - count_of(account, f"0.{i}")) for i in range(4))
    seen["need"] = max(0, ledger[100] - count_of(account, "1.0"))
    seen["handed"] = sum(ledger[i] for i in range(4))
    stage.remove(where)
    return seen


def describe(runs, scenario):
    words = []
    for key, text in (("hung", "runs hung"), ("signals", "runs ended by a signal"), ("status", "runs ended badly"),
                      ("childHung", "children hung"), ("childBad", "children ended badly"),
                      ("damaged", "damaged lines"), ("doubled", "doubled lines"),
                      ("foreign", "lines of children in the parent's files")):
        total = sum(run[key] for run in runs)
        if total:
            words.append(f"{total:,} {text}")
    seen = f"at most {max(run['well'] for run in runs):,} of {max(run['handed'] for run in runs):,} a run"
    if scenario in ("disk-full", "rename-fails"):
        seen += f" (and {max(run['need'] for run in runs):,} meanwhile)"
    return ", ".join(words) or "clean", seen


def rows(stage):
    choice = random.Random(3)
    for scenario, fault, allowed, full, amount in SCENARIOS:
        for library in LIBRARIES:
            if not os.path.exists(stage.program(f"peer_{library}")):
                continue
            cases = [choice.uniform(0, 0.05) for _ in range(stage.count(full, min(3, full)))]
            runs = list(stage.each(
                lambda d, lib=library, s=scenario, a=amount: play(stage, lib, s, a, d), cases))
            name = f"{library}: {fault}"
            if None in runs:
                yield Row(name, 0, True, "SKIPPED: needs rights that this user has not", allowed, "-")
                continue
            result, seen = describe(runs, scenario)
            good = library != "zinlogger" or result == "clean"
            yield Row(name, len(runs), good, result, allowed, seen)
