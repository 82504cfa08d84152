"""kill -9 in mid-burst."""

import os
import random
import signal
import subprocess
import time

from harness import LedgerView, Tally, count_of, damage, gaps_of

ON_THEIR_WAY = 408  # lines of kill_driver at most, and the library's own
THREADS = 4


def kill_once(stage, manner, delay):
    """The problem, and how many of the lines handed over are not on disk."""
    where = stage.fresh_dir()
    ledger = LedgerView(where / "ledger")
    process = stage.start([stage.program("kill_driver"), where / "log", where / "ledger", manner],
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    give_up = time.monotonic() + 30
    while not all(ledger[i] > 100 for i in range(THREADS)):
        if time.monotonic() > give_up or process.poll() is not None:
            process.kill()
            process.wait()
            return f"did not get going, status {process.returncode}", 0
        time.sleep(0.001)
    time.sleep(delay)
    os.kill(process.pid, signal.SIGKILL)
    process.wait()

    account = stage.check("kill_driver", where / "log")
    handed = [ledger[i] for i in range(THREADS)]
    written = [count_of(account, f"0.{i}") for i in range(THREADS)]
    lost = sum(max(0, h - w) for h, w in zip(handed, written))
    problem = damage(account, cut_tails=1)
    if not problem and account["cutTails"] and not account["cutFile"].endswith("/app.log"):
        problem = f"cut line in {account['cutFile']}"
    gaps = sum(gaps_of(account, f"0.{i}") for i in range(THREADS))
    if not problem and gaps:
        problem = f"{gaps} lines missing before the tail: {account['streams']}"
    if not problem and manner == "paced" and lost > ON_THEIR_WAY + 1:
        problem = f"{lost} lines lost, {ON_THEIR_WAY} were on their way"
    stage.remove(where)
    return problem, lost


def rows(stage):
    choice = random.Random(20)
    for manner, text, allowed in (
            ("paced", f"kill -9, 4 threads, {ON_THEIR_WAY} lines on their way", f"at the tail, {ON_THEIR_WAY + 1} a run"),
            ("free", "kill -9, 4 threads, unbounded queue, rotating", "at the tail, what is queued")):
        tally = Tally(text, allowed)
        most = 0
        delays = [choice.uniform(0, 0.03) for _ in range(stage.count(500, 40))]
        for problem, lost in stage.each(lambda d, m=manner: kill_once(stage, m, d), delays):
            tally.add(problem)
            most = max(most, lost)
        tally.seen = f"at most {most} in a run"
        yield tally.row()
