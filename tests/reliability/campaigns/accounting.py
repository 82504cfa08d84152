"""Every line that is handed over is on disk once, in order, whole; or a tracer
was told that it was dropped."""

import json
import shutil
import signal
import subprocess
import time

from harness import HANG_SECONDS, Tally, count_of, damage

THREADS = 16
SMALL_QUEUE = 1000


def written_by(account):
    return sum(count_of(account, f"0.{i}") for i in range(THREADS))


def with_room(stage, lines):
    where = stage.fresh_dir()
    run = stage.run([stage.program("accounting_driver"), where / "log", str(THREADS), str(lines)], limit=170)
    account = stage.check("accounting_driver", where / "log")
    stage.remove(where)
    lost = THREADS * lines - written_by(account)
    return run.ended_badly() or damage(account) or (f"{lost} lines lost" if lost else None), lost


class DropCounter:
    """A tracer that counts the dropped lines of each process that uses the library."""

    def __init__(self, stage):
        self.stage = stage
        self.report_path = stage.fresh_dir() / "report"
        # Lines of the driver's threads alone: the library's own, logged by the
        # worker and by the stopping main thread, can be dropped, too.
        script = (f"usdt:{stage.library.resolve()}:zinlogger:queue_drop"
                  ' /tid != pid && comm != "zin-log-worker"/ { @drops[pid] = count(); }'
                  " interval:ms:100 { print(@drops); }")
        with open(self.report_path, "wb") as report:
            self.process = stage.start(["bpftrace", "-f", "json", "-e", script], stdout=report,
                                       stderr=subprocess.STDOUT)

    def counts(self):
        """Drops by process, as reported last."""
        for line in reversed(self.report_path.read_text().splitlines()):
            try:
                word = json.loads(line)
            except ValueError:
                continue
            if word.get("type") == "map":
                return {int(pid): count for pid, count in word["data"]["@drops"].items()}
        return {}

    def wait_until_it_counts(self):
        """It does not tell when: processes that drop a line are run until one is seen."""
        give_up = time.monotonic() + HANG_SECONDS
        while not self.counts():
            if time.monotonic() > give_up or self.process.poll() is not None:
                raise RuntimeError(f"the tracer counts nothing: {self.report_path.read_text()[-300:]}")
            self.stage.run([self.stage.program("accounting_driver"), self.report_path.parent / "log", "1", "1", "0"])

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait(HANG_SECONDS)
        return self.counts()


def without_room(stage, lines):
    """The problem, the lines written and the drops that a tracer counted."""
    counter = DropCounter(stage)
    counter.wait_until_it_counts()
    where = stage.fresh_dir()
    driver = stage.start([stage.program("accounting_driver"), where / "log", str(THREADS), str(lines),
                          str(SMALL_QUEUE)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    status = driver.wait(170)
    drops = counter.stop().get(driver.pid, 0)
    account = stage.check("accounting_driver", where / "log")
    stage.remove(where)
    written = written_by(account)
    differ = THREADS * lines - written - drops
    problem = f"status {status}" if status else damage(account)
    return problem or (f"{differ} lines unaccounted for" if differ else None), written, drops


def tracer_is_missing(stage):
    """None, or why drops cannot be counted on this machine."""
    if not shutil.which("bpftrace"):
        return "bpftrace is not installed"
    run = stage.run(["bpftrace", "-e", "BEGIN { exit(); }"])
    return None if run.status == 0 else f"bpftrace: {run.err.strip()[-200:]}"


def rows(stage):
    lines = stage.count(200000, 20000)
    tally = Tally(f"16 threads x {lines:,} lines, room for all", "none")
    problem, lost = with_room(stage, lines)
    tally.add(problem)
    tally.seen = str(lost)
    yield tally.row("exact, in order, none torn")

    tally = Tally(f"the same with a queue of {SMALL_QUEUE:,}", "as many as a tracer is told of")
    if reason := tracer_is_missing(stage):
        yield tally.skipped(reason)
        return
    problem, written, drops = without_room(stage, lines)
    tally.add(problem)
    tally.expect(problem or (written and drops), f"{written} written and {drops} dropped show nothing")
    tally.seen = f"{written:,} written + {drops:,} dropped"
    yield tally.row("exact, in order, none torn")
