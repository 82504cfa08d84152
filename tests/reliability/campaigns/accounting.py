"""Every line that is handed over is on disk once, in order, whole; or a tracer
was told that it was dropped."""

import subprocess

import tracer
from harness import Tally, count_of, damage

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


def without_room(stage, lines):
    """The problem, the lines written and the drops that a tracer counted."""
    # Lines of the driver's threads alone: the library's own, logged by the worker
    # and by the stopping main thread, can be dropped, too.
    counter = tracer.ProbeCounter(
        stage, "queue_drop", lambda dir: [stage.program("accounting_driver"), dir, "1", "1", "0"],
        'tid != pid && comm != "zin-log-worker"')
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


def rows(stage):
    lines = stage.count(200000, 20000)
    tally = Tally(f"16 threads x {lines:,} lines, room for all", "none")
    problem, lost = with_room(stage, lines)
    tally.add(problem)
    tally.seen = str(lost)
    yield tally.row("exact, in order, none torn")

    tally = Tally(f"the same with a queue of {SMALL_QUEUE:,}", "as many as a tracer is told of")
    if reason := tracer.is_missing(stage):
        yield tally.skipped(reason)
        return
    problem, written, drops = without_room(stage, lines)
    tally.add(problem)
    tally.expect(problem or (written and drops), f"{written} written and {drops} dropped show nothing")
    tally.seen = f"{written:,} written + {drops:,} dropped"
    yield tally.row("exact, in order, none torn")
