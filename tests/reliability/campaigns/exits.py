"""Processes that end without a stop, in mid-logging."""

from harness import LedgerView, Tally, count_of, damage, gaps_of

KINDS = (
    ("return-queued", "return from main, {lines} lines queued"),
    ("return-logging", "return from main, four threads still log"),
    ("return-two-workers", "return from main, two workers, {lines} lines"),
    ("exit-second-thread", "exit() in a second thread, two threads log"),
    ("late-destructor", "log calls out of destructors of static objects, older and younger than the logger"),
    ("quick_exit", "quick_exit, {lines} lines queued"),
    ("_exit", "_exit, {lines} lines queued"),
)
THREADS = [*range(4), 100, 101]


def end_once(stage, kind):
    """The problem, lines handed over, and how many of them are not on disk."""
    where = stage.fresh_dir()
    ledger = LedgerView(where / "ledger")
    run = stage.run([stage.program("exit_driver"), where / "log", where / "ledger", kind])
    two = kind == "return-two-workers"
    account = stage.check("exit_driver", where / "log")
    handed = sum(ledger[i] for i in THREADS)
    written = sum(count_of(account, f"0.{i}") for i in THREADS)
    problem = run.ended_badly()
    # Two workers write beside each other, each in order.
    problem = problem or damage(account, cut_tails=2 if two else 1, disorder=10**9 if two else 0)
    gaps = sum(gaps_of(account, f"0.{i}") for i in THREADS)
    if not problem and gaps > (1 if two else 0):
        problem = f"{gaps} lines missing before the tail"
    if not problem and not handed:
        problem = "nothing was logged"
    stage.remove(where)
    return problem, handed, max(0, handed - written)


def rows(stage):
    lines = "10,000" if stage.sanitizers else "100,000"
    for kind, text in KINDS:
        tally = Tally(text.format(lines=lines), "what is queued")
        most = with_loss = 0
        for problem, _, lost in stage.each(lambda k: end_once(stage, k), [kind] * stage.count(1000, 10)):
            tally.add(problem)
            most = max(most, lost)
            with_loss += lost > 0
        tally.seen = f"at most {most:,} a run; in {with_loss} runs"
        yield tally.row("no signal, no hang, no foreign byte")
