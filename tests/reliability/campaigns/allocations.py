"""The k-th allocation of the process fails, for every k that occurs: alone,
three in a row, and all that follow."""

import random

from harness import Tally, count_of, damage, gaps_of

TERMINATED = 77
# The C library gives a thread its variables when it first uses them; without
# memory for that it ends the process itself, with this status and these words.
ENDED_BY_LOADER, LAST_WORDS = 127, "cannot allocate memory for thread-local data"
FOR_EVER = 10**9


def run_driver(stage, manner, lines, fault):
    where = stage.fresh_dir()
    (where / "log").mkdir()
    run = stage.run([stage.program("allocation_driver"), where / "log", str(lines), manner],
                    {"ZIN_ALLOCATION": fault}, limit=30)
    return run, where


def fail_once(stage, case):
    """The problem, and whether the process ended."""
    manner, lines, k, length = case
    run, where = run_driver(stage, manner, lines, f"{k}:{length}")
    log = stage.check("allocation_driver", where / "log", where / "log/net")
    metrics = stage.check(None, where / "log/metrics")
    by_loader = run.status == ENDED_BY_LOADER and LAST_WORDS in run.err
    ended = run.status == TERMINATED or by_loader
    problem = None if by_loader else run.ended_badly((0, TERMINATED))
    # A repeated start may leave two workers, which write beside each other.
    for account, files in ((log, 2), (metrics, 1)):
        problem = problem or damage(account, cut_tails=files if ended else 0, disorder=10**9)
    missing = 0
    for account, stream in ((log, "0.0"), (log, "0.1"), (metrics, "0.2")):
        missing += gaps_of(account, stream) if ended else lines - count_of(account, stream)
    if missing:
        problem = problem or f"{missing} lines lost, process {'ended' if ended else 'went on'}"
    stage.remove(where)
    return f"{manner}: allocation {k} x{length}: {problem}" if problem else None, ended


def rows(stage):
    choice = random.Random(11)
    cases = []
    for manner, lines in (("plain", stage.count(250, 60)), ("rotate", 12)):
        # What each line allocates need not be the same in every run.
        run, where = run_driver(stage, manner, lines, "0:0")
        stage.remove(where)
        if run.ended_badly():
            raise RuntimeError(f"without a fault: {run.ended_badly()}")
        cases += [(manner, lines, k, length) for k in range(1, int(run.out) + 1)
                  for length in (1, 3, FOR_EVER)]
    if stage.quick:
        cases = choice.sample(cases, min(400, len(cases)))
    tally = Tally("an allocation fails: once, three in a row, from then on",
                  "none, unless std::terminate ends the process: then what is queued")
    ended = 0
    for problem, has_ended in stage.each(lambda case: fail_once(stage, case), cases):
        tally.add(problem)
        ended += has_ended
    tally.expect(stage.quick or tally.runs >= 5000, f"only {tally.runs} allocations to fail")
    tally.seen = f"none; {ended:,} processes ended"
    yield tally.row("goes on or ends; no hang, no damage")
