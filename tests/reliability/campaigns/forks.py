"""fork out of a process whose threads log."""

from harness import LedgerView, Tally, count_of, damage

ROUNDS = 100
THREADS = 4
LINES_PER_CHILD = 20


def forks(stage, _):
    """The problem, and how many lines of parent and children are missing."""
    where = stage.fresh_dir()
    ledger = LedgerView(where / "ledger")
    with open(where / "stderr.txt", "wb") as err:
        run = stage.run([stage.program("fork_driver"), where / "log", where / "ledger", str(ROUNDS)],
                        limit=150, stderr=err)
    log = stage.check("fork_driver", where / "log")
    metrics = stage.check(None, where / "log/metrics")
    err = stage.check("fork_driver", where / "stderr.txt")
    problem = run.ended_badly()
    for account in (log, metrics, err):
        problem = problem or damage(account)

    lost = 0
    for i in range(THREADS):
        lost += 2 * ledger[i] - count_of(log, f"0.{i}") - count_of(metrics, f"0.{i}")
        if not ledger[i]:
            problem = problem or "a thread of the parent did not log"
    foreign = [s for account in (log, metrics) for s in account["streams"] if not s.startswith("0.")]
    if foreign:
        problem = problem or f"children's lines in the parent's files: {foreign[:3]}"
    if any(s.startswith("0.") for s in err["streams"]):
        problem = problem or "the parent's lines on standard error"
    for round_ in range(ROUNDS):
        stream = f"{round_ + 1}.0"
        expected = {0: (err,), 2: (err,), 3: (err,)}.get(round_ % 5, ())
        if round_ % 5 == 1:
            own = where / f"log/child-{round_}"
            expected = (stage.check("fork_driver", own), stage.check(None, own / "metrics"))
        lost += sum(LINES_PER_CHILD - count_of(account, stream) for account in expected)
    stage.remove(where)
    return problem or (f"{lost} lines lost" if lost else None), lost


def rows(stage):
    tally = Tally("fork while 4 threads log to both channels; children log, stop, start, exit, exec", "none")
    total = 0
    for problem, lost in stage.each(lambda c: forks(stage, c), range(stage.count(10, 2))):
        tally.add(problem)
        total += lost
    tally.runs *= ROUNDS
    tally.seen = str(total)
    yield tally.row("no hung child, no doubled or foreign line")
