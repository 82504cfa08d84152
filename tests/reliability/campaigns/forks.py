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


PLUGIN_LINES_PER_CHILD = 10
FIRST_METRICS_SLOT = 10
HANDLERS_SLOT = 20


def plugin_forks(stage, scenario, seed, rounds):
    """The problem, and how many lines of parent and children are missing."""
    where = stage.fresh_dir()
    log = where / "log"
    log.mkdir()
    ledger = LedgerView(where / "ledger")
    program = "plugin_fork_driver"
    plugins = ["libfirst_record_plugin.so", *(["libsecond_record_plugin.so"] if scenario != "older-handlers" else [])]
    with open(where / "stderr.txt", "wb") as err:
        run = stage.run([stage.program(program), log, where / "ledger", scenario, str(seed), str(rounds),
                         *map(stage.program, plugins)], limit=100, stderr=err)
    err = stage.check(program, where / "stderr.txt")
    # Of two copies that see only their own, each has the lines of its own threads.
    copies = {"first": [0, 1], "second": [2, 3]} if scenario == "local" else {
        "first": [0, 1] if scenario == "older-handlers" else [0, 1, 2, 3]}
    problem = run.ended_badly() or damage(err)
    lost = 0
    for copy, threads in copies.items():
        lines, records = stage.check(program, log / copy), stage.check(None, log / copy / "metrics")
        problem = problem or damage(lines) or damage(records)
        metrics_slots = [FIRST_METRICS_SLOT + t for t in threads]
        if scenario == "older-handlers":
            threads, metrics_slots = [*threads, HANDLERS_SLOT], [*metrics_slots, HANDLERS_SLOT + 1]
        for account, slots in ((lines, threads), (records, metrics_slots)):
            lost += sum(ledger[s] - count_of(account, f"0.{s}") for s in slots)
            foreign = sorted(set(account["streams"]) - {f"0.{s}" for s in slots})
            if foreign:
                problem = problem or f"lines of others in {copy}: {foreign[:3]}"
        if not all(ledger[s] for s in (*threads, *metrics_slots)):
            problem = problem or "a thread did not log"
    if any(stream.startswith("0.") for stream in err["streams"]):
        problem = problem or "the parent's lines on standard error"
    for round_ in range(rounds):
        account = err if round_ % 2 == 0 else stage.check(program, log / f"child-{round_}")
        lost += PLUGIN_LINES_PER_CHILD - count_of(account, f"{round_ + 1}.0")
    stage.remove(where)
    return problem or (f"{lost} lines lost" if lost else None), lost


def plugin_row(stage, fault, scenario, runs, rounds, clean):
    tally = Tally(fault, "none")
    total = 0
    for problem, lost in stage.each(lambda seed: plugin_forks(stage, scenario, seed, rounds), range(1, runs + 1)):
        tally.add(problem)
        total += lost
    tally.runs *= rounds
    tally.seen = str(total)
    return tally.row(clean)


def rows(stage):
    tally = Tally("fork while 4 threads log to both channels; children log, stop, start, exit, exec", "none")
    total = 0
    for problem, lost in stage.each(lambda c: forks(stage, c), range(stage.count(10, 2))):
        tally.add(problem)
        total += lost
    tally.runs *= ROUNDS
    tally.seen = str(total)
    yield tally.row("no hung child, no doubled or foreign line")

    runs = stage.count(20, 2)
    yield plugin_row(stage, "fork with handlers that log and are older than the library; 2 threads log to both channels",
                     "older-handlers", runs, ROUNDS, "nobody hangs, no doubled or foreign line")
    yield plugin_row(stage, "fork with two copies of the library that see only their own, 2 threads log to each",
                     "local", runs, ROUNDS // 2, "each its own files, no doubled or foreign line")
    yield plugin_row(stage, "the same with two copies that see each other",
                     "global", runs, ROUNDS // 2, "the first one's files, no doubled or foreign line")
