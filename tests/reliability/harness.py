"""Runs short processes, two or so at a time, each with a time limit, and counts
what came of them. The campaigns are written over this."""

import concurrent.futures
import dataclasses
import json
import mmap
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time

from sanitizers import TEXT_SHOWN, Sanitizers, headline_of

HANG_SECONDS = 60  # a run takes less than a second, a stop at most ten per channel


@dataclasses.dataclass
class Run:
    """How one process ended."""

    status: int  # exit status; negative: the signal that ended it
    hung: bool
    out: str
    err: str
    seconds: float

    def ended_badly(self, allowed=(0,)):
        """None, or why this is no clean end."""
        if self.hung:
            return "hung"
        if self.status < 0:
            return f"ended by signal {-self.status}: {self.err.strip()[-300:]}"
        if self.status not in allowed:
            return f"status {self.status}: {(self.out + self.err).strip()[-300:]}"
        return None


@dataclasses.dataclass
class Row:
    """One line of the table."""

    fault: str
    runs: int
    good: bool
    result: str
    allowed: str
    seen: str


class Tally:
    """Counts runs, keeps the first faults found, and makes the row of them."""

    def __init__(self, fault, allowed):
        self.fault, self.allowed = fault, allowed
        self.runs = 0
        self.faults = []
        self.fault_count = 0
        self.seen = ""

    def add(self, problem):
        """Counts a run; `problem` is None or a text."""
        self.runs += 1
        if problem:
            self.fault_count += 1
            if len(self.faults) < 20:
                self.faults.append(problem)

    def expect(self, condition, problem):
        """A condition of the campaign as a whole, not of one run."""
        if not condition:
            self.fault_count += 1
            self.faults.append(problem)

    def skipped(self, reason):
        """For a machine on which the fault cannot be brought about."""
        return Row(self.fault, 0, True, f"SKIPPED: {reason}", self.allowed, "-")

    def row(self, clean="clean"):
        for fault in self.faults:
            print(f"    {fault}", file=sys.stderr, flush=True)
        good = self.fault_count == 0 and self.runs > 0
        result = clean if good else f"{self.fault_count} FAILED: {self.faults[0] if self.faults else 'no run'}"
        return Row(self.fault, self.runs, good, result, self.allowed, self.seen)


class Stage:
    """Where campaigns play: the programs, a scratch folder, how many runs."""

    def __init__(self, programs, quick, jobs, sanitizers=""):
        self.programs = pathlib.Path(programs)
        self.library = self.programs / "../../BaseAPI/ZinLogger/libZinLogger.so.1"
        self.quick = quick
        self.jobs = jobs
        base = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="zin-reliability-log-", dir=base))
        self.scratch.chmod(0o755)
        self.sanitizers = Sanitizers(sanitizers, self.scratch)
        # How much longer a process may take than one without sanitizers.
        self.patience = 5 if self.sanitizers else 1
        self.running = set()  # process groups that this stage has started
        self.is_closed = False

    def close(self):
        self.is_closed = True
        for process in list(self.running):
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
        shutil.rmtree(self.scratch, ignore_errors=True)

    def count(self, full, quick):
        return quick if self.quick else full

    def program(self, name):
        return str(self.programs / name)

    def fresh_dir(self):
        if self.is_closed:
            raise RuntimeError("no folder is made any more")
        return pathlib.Path(tempfile.mkdtemp(prefix="run-", dir=self.scratch))

    @staticmethod
    def remove(directory):
        shutil.rmtree(directory, ignore_errors=True)

    def start(self, args, env=None, **settings):
        """Starts a program in a process group of its own."""
        if self.is_closed:
            raise RuntimeError("no program is started any more")
        full_env = dict(os.environ, **self.sanitizers.environment(), **(env or {}))
        self.running = {process for process in self.running.copy() if process.returncode is None}
        process = subprocess.Popen([str(a) for a in args], env=full_env, start_new_session=True,
                                   stdin=subprocess.DEVNULL, **settings)
        self.running.add(process)
        return process

    def run(self, args, env=None, limit=HANG_SECONDS, **settings):
        """Runs a program to its end, or ends its process group after `limit`
        seconds; with sanitizers, after some times as many."""
        began = time.monotonic()
        settings.setdefault("stdout", subprocess.PIPE)
        settings.setdefault("stderr", subprocess.PIPE)
        process = self.start(args, env, errors="replace", text=True, **settings)
        try:
            out, err = process.communicate(timeout=limit * self.patience)
            hung = False
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            out, err = process.communicate()
            hung = True
        return Run(process.returncode, hung, out or "", err or "", time.monotonic() - began)

    def check(self, program, *paths):
        """The account of log files; program None: lines without a header."""
        form = ["--program", program] if program else ["--plain"]
        run = self.run([self.program("check_records"), *form, *paths])
        if run.status != 0:
            raise RuntimeError(f"check_records: {run.err}")
        return json.loads(run.out)

    def judge_reports(self, row):
        """A report of a sanitizer makes its row fall short."""
        reports = self.sanitizers.take_reports()
        if not reports:
            return
        for report in reports[:3]:
            print(f"    ---- sanitizer report, {row.fault}:\n{report[:TEXT_SHOWN]}", file=sys.stderr, flush=True)
        before = "" if row.good else f" ({row.result})"
        row.result = f"{len(reports)} SANITIZER REPORTS: {headline_of(reports[0])}{before}"
        row.good = False

    def each(self, function, cases, jobs=None):
        """function(case) for all cases, a few at a time, as they come."""
        with concurrent.futures.ThreadPoolExecutor(jobs or self.jobs) as pool:
            pending = set()
            for case in cases:
                pending.add(pool.submit(function, case))
                if len(pending) < 8 * self.jobs:
                    continue
                done, pending = concurrent.futures.wait(
                    pending, return_when=concurrent.futures.FIRST_COMPLETED)
                for each in done:
                    yield each.result()
            for each in concurrent.futures.as_completed(pending):
                yield each.result()


def damage(account, cut_inside=0, cut_tails=0, disorder=0):
    """None, or what in an account must not be there at all."""
    if account["damaged"]:
        return f"{account['damaged']} damaged lines, first: {account['firstDamaged'][:200]!r}"
    if account["duplicates"]:
        return f"{account['duplicates']} doubled lines"
    for name, most in (("cutInside", cut_inside), ("cutTails", cut_tails), ("disorder", disorder)):
        if account[name] > most:
            return f"{name}: {account[name]}, at most {most} allowed"
    return None


def split_standard_error(path):
    """Two files of one: lines with a header, and those of the metrics channel."""
    log, metrics = path.with_suffix(".log"), path.with_suffix(".metrics")
    with open(path, "rb") as lines, open(log, "wb") as to_log, open(metrics, "wb") as to_metrics:
        for line in lines:
            (to_metrics if line.startswith(b"rec ") else to_log).write(line)
    return log, metrics


def count_of(account, stream):
    return account["streams"].get(stream, {"count": 0})["count"]


def gaps_of(account, stream):
    return account["streams"].get(stream, {"missing": 0})["missing"]


class LedgerView:
    """The numbers that a driver publishes in shared memory."""

    SLOTS = 512

    def __init__(self, path):
        with open(path, "w+b") as file:
            file.truncate(self.SLOTS * 8)
            self.memory = mmap.mmap(file.fileno(), self.SLOTS * 8)

    def __getitem__(self, slot):
        return struct.unpack_from("<Q", self.memory, slot * 8)[0]

    def close(self):
        self.memory.close()
