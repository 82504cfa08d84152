"""Every line that is handed over is on disk once, in order, whole.

The case of a queue too small for its load, in which drops are counted, belongs
here, too.
"""

from harness import Tally, count_of, damage

THREADS = 16


def account_once(stage, lines):
    where = stage.fresh_dir()
    run = stage.run([stage.program("accounting_driver"), where / "log", str(THREADS), str(lines)], limit=170)
    account = stage.check("accounting_driver", where / "log")
    stage.remove(where)
    lost = sum(lines - count_of(account, f"0.{i}") for i in range(THREADS))
    return run.ended_badly() or damage(account) or (f"{lost} lines lost" if lost else None), lost


def rows(stage):
    lines = stage.count(200000, 20000)
    tally = Tally(f"16 threads x {lines:,} lines, room for all", "none")
    problem, lost = account_once(stage, lines)
    tally.add(problem)
    tally.seen = str(lost)
    yield tally.row("exact, in order, none torn")
