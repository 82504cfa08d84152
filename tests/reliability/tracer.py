"""Counts what the probes of the library tell, with bpftrace."""

import json
import shutil
import signal
import subprocess
import time

from harness import HANG_SECONDS


def is_missing(stage):
    """None, or why nothing can be counted on this machine."""
    if not shutil.which("bpftrace"):
        return "bpftrace is not installed"
    run = stage.run(["bpftrace", "-e", "BEGIN { exit(); }"])
    return None if run.status == 0 else f"bpftrace: {run.err.strip()[-200:]}"


class ProbeCounter:
    """How often a probe is passed in each process that uses the library.

    The tracer does not tell when it begins to count. So `trigger`, a program that
    passes the probe and a function of its scratch folder, is run until one is seen.
    """

    def __init__(self, stage, probe, trigger, condition="1"):
        self.stage = stage
        self.folder = stage.fresh_dir()
        script = (f"usdt:{stage.library.resolve()}:zinlogger:{probe}"
                  f" /{condition}/ {{ @passed[pid] = count(); }}"
                  " interval:ms:100 { print(@passed); }")
        with open(self.folder / "report", "wb") as report:
            self.process = stage.start(["bpftrace", "-f", "json", "-e", script], stdout=report,
                                       stderr=subprocess.STDOUT)
        self._wait_until_it_counts(trigger)

    def _wait_until_it_counts(self, trigger):
        give_up = time.monotonic() + HANG_SECONDS
        while not self._counts():
            if time.monotonic() > give_up or self.process.poll() is not None:
                raise RuntimeError(f"the tracer counts nothing: {(self.folder / 'report').read_text()[-300:]}")
            self.stage.run(trigger(self.stage.fresh_dir() / "log"))

    def _counts(self):
        """By process, as reported last."""
        with open(self.folder / "report", "rb") as report:
            report.seek(max(0, report.seek(0, 2) - 65536))
            lines = report.read().splitlines()
        for line in reversed(lines):
            try:
                word = json.loads(line)
            except ValueError:
                continue
            if word.get("type") == "map":
                return {int(pid): count for pid, count in word["data"]["@passed"].items()}
        return {}

    def stop(self):
        """Ends the tracer. The counts by process."""
        self.process.send_signal(signal.SIGINT)
        self.process.wait(HANG_SECONDS)
        return self._counts()
