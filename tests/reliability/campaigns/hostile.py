"""Surroundings that nobody would wish for."""

import re

from harness import LedgerView, Tally, count_of, damage, gaps_of, split_standard_error

STATUSES = {
    ("closed-streams", 3): "a log file is open for writing as a standard stream",
    ("closed-streams", 4): "a log file was for a moment open for reading as a standard stream",
}


def play(stage, scenario, amount, threads=(0,), rotates=False):
    """The problem, and how many lines are missing."""
    where = stage.fresh_dir()
    ledger = LedgerView(where / "ledger")
    run = stage.run([stage.program("hostile_driver"), where / "log", where / "ledger", scenario, str(amount)])
    folders = [where / "log", *sorted((where / "log").glob("mask-*"))]
    account = stage.check("hostile_driver", *folders)
    # Names of rotated files tell no order when the time zone changes.
    problem = STATUSES.get((scenario, run.status)) or run.ended_badly() or damage(account, disorder=10**9 if rotates else 0)
    if scenario == "cancel":
        lost = sum(gaps_of(account, f"0.{t}") for t in range(amount))
    else:
        lost = sum(ledger[t] - count_of(account, f"0.{t}") for t in threads)
        problem = problem or (None if sum(ledger[t] for t in threads) else "nothing was logged")
    stage.remove(where)
    return problem or (f"{lost} lines lost" if lost else None), lost


def simple(stage, fault, scenario, runs, amount, clean, **settings):
    tally = Tally(fault, "none")
    total = 0
    for problem, lost in stage.each(lambda _: play(stage, scenario, amount, **settings), range(runs)):
        tally.add(problem)
        total += lost
    tally.seen = str(total)
    return tally.row(clean)


def clock_once(stage, lines):
    where = stage.fresh_dir()
    run = stage.run([stage.program("clock_driver"), where / "log", str(lines)])
    account = stage.check("clock_driver", where / "log")
    stage.remove(where)
    lost = lines - count_of(account, "0.0")
    return run.ended_badly() or damage(account, disorder=10**9) or (f"{lost} lines lost" if lost else None), lost


def plugin_once(stage, loads):
    where = stage.fresh_dir()
    run = stage.run([stage.program("plugin_driver"), stage.program("libreliability_plugin.so"), where / "log",
                     str(loads)], limit=170)
    numbers = []
    for path in sorted((where / "log").glob("load-*/*.log")):
        numbers += map(int, re.findall(r"\[Scenario\]: line (\d+)\n", path.read_text()))
    stage.remove(where)
    expected = loads * 20
    lost = expected - len(set(numbers))
    problem = run.ended_badly()
    if len(numbers) != len(set(numbers)):
        problem = problem or "doubled lines"
    return problem or (f"{lost} lines lost" if lost else None), lost


def neighbours_once(stage, lines):
    """Four processes, one file name. Measured, for only part of it is promised:
    lines are whole, and never in two places. Each process may empty or remove
    what another one has just begun."""
    where = stage.fresh_dir()
    LedgerView(where / "ledger").close()
    running = [stage.start([stage.program("neighbour_driver"), where / "log", where / "ledger", str(w), str(lines)])
               for w in range(4)]
    for process in running:
        process.wait(timeout=60)
    account = stage.check("neighbour_driver", where / "log")
    stage.remove(where)
    problem = damage(account, cut_tails=4, disorder=10**9)
    if any(process.returncode for process in running):
        problem = f"ended with {[process.returncode for process in running]}"
    return problem, 4 * lines - sum(count_of(account, f"{w}.0") for w in range(4))


FIRST_METRICS_SLOT = 10
MEMORY_SLOT = 20
ANY_ORDER = 10**9  # a line of a stopped channel is on standard error


def play_with_error(stage, program, arguments, keys):
    """Runs a driver that logs to both channels while they start and stop, and
    gives its run, ledger, and the accounts of its log and metrics lines, wherever
    they went."""
    where = stage.fresh_dir()
    ledger = LedgerView(where / "ledger")
    with open(where / "stderr.txt", "wb") as err:
        run = stage.run([stage.program(program), where / "log", where / "ledger", *arguments], stderr=err)
    log_error, metrics_error = split_standard_error(where / "stderr.txt")
    folders = [folder for folder in (where / "log" / key for key in ("", *keys)) if folder.is_dir()]
    log = stage.check(program, *folders, log_error)
    metrics = stage.check(None, where / "log/metrics", metrics_error)
    children = {int(folder.name.split("-")[1]): stage.check(program, folder)
                for folder in (where / "log").glob("child-*")}
    stage.remove(where)
    return run, ledger, log, metrics, children


def lost_of(ledger, accounts, slots):
    return sum(ledger[s] - sum(count_of(a, f"0.{s}") for a in accounts) for s in slots)


def doubled_of(ledger, accounts, slots):
    """A line in two places is no line of another's."""
    return [s for s in slots if sum(count_of(a, f"0.{s}") for a in accounts) > ledger[s]]


def judge(run, ledger, log, metrics, slots, most_lost):
    """The problem, and how many lines are missing."""
    lost = lost_of(ledger, (log, metrics), slots)
    problem = run.ended_badly() or damage(log, disorder=ANY_ORDER) or damage(metrics, disorder=ANY_ORDER)
    if not all(ledger[s] for s in slots):
        problem = problem or "a thread did not log"
    if doubled_of(ledger, (log, metrics), slots):
        problem = problem or "lines in two places"
    return problem or (f"{lost} lines lost" if lost > most_lost else None), lost


def standard_error_once(stage, scenario, seed, most_lost):
    run, ledger, log, metrics, _ = play_with_error(stage, "standard_error_driver", [scenario, str(seed)], ("sub",))
    slots = [first + t for first in (0, FIRST_METRICS_SLOT) for t in range(4)]
    return judge(run, ledger, log, metrics, slots, most_lost)


def allocator_once(stage, seed):
    keys = ("memory", "net", "a-key-that-is-longer-than-a-short-string")
    run, ledger, log, metrics, children = play_with_error(stage, "logging_allocator_driver", [str(seed)], keys)
    slots = [*range(3), *range(FIRST_METRICS_SLOT, FIRST_METRICS_SLOT + 3), MEMORY_SLOT]
    problem, lost = judge(run, ledger, log, metrics, slots, 7 * 5)
    for round_ in range(5):
        count = count_of(children[round_], f"{round_ + 1}.0") if round_ in children else 0
        problem = problem or (None if count == 10 else f"a child lost {10 - count} of 10 lines")
    return problem, lost


def seeded(stage, fault, allowed, runs, function, clean, jobs):
    """One row of runs that differ by a seed."""
    tally = Tally(fault, allowed)
    most = total = 0
    for problem, lost in stage.each(function, range(1, runs + 1), jobs):
        tally.add(problem)
        most, total = max(most, lost), total + lost
    tally.seen = f"{total}, at most {most} a run" if total else "0"
    return tally.row(clean)


def rows(stage):
    few = stage.count(50, 3)
    yield simple(stage, "standard streams closed before the start, rotating", "closed-streams", few, 500,
                 "no log file gets descriptor 0, 1 or 2")
    yield simple(stage, "broken pipe at standard error", "broken-pipe", few, 500, "no signal")
    yield simple(stage, "pthread_cancel of logging threads (50 a run)", "cancel", few, 50, "no lock left held")
    yield simple(stage, "signals all the time", "signals", few, 20000, "handlers on application threads only")
    zones = "time zone changes while logging, rotating"
    if stage.sanitizers.has("thread"):
        yield Tally(zones, "none").skipped("the thread sanitizer does not see the C library's own lock for the zone")
    else:
        yield simple(stage, zones, "time-zones", few, 500, "clean", rotates=True)
    yield simple(stage, "umask 0 and 077", "masks", few, 50, "promised modes", threads=(0, 63, 99))

    tally = Tally("time of day jumps by seconds, hours and a year", "none")
    total = 0
    for problem, lost in stage.each(lambda _: clock_once(stage, 20000), range(few)):
        tally.add(problem)
        total += lost
    tally.seen = str(total)
    yield tally.row("stops end, names stay unique")

    tally = Tally("dlopen, log, dlclose with the channel running", "none")
    loads = stage.count(1000, 200)
    problem, lost = plugin_once(stage, loads)
    tally.add(problem)
    tally.runs *= loads
    tally.seen = str(lost)
    yield tally.row("clean")

    # Many at a time: a process of this kind mostly waits.
    moment = "in the moment of a stop, a line of each thread"
    yield seeded(stage, "std::cerr is a buffer that logs; threads print and log, both channels start and stop",
                 moment, stage.count(200, 12), lambda seed: standard_error_once(stage, "redirected", seed, 4 * 2 * 3),
                 "stops end, no line twice", jobs=8)
    yield seeded(stage, "standard error is a full pipe that nobody reads", "none", stage.count(200, 12),
                 lambda seed: standard_error_once(stage, "full", seed, 0), "starts, calls, stops and exit end", jobs=8)
    allocator = "operator new and delete log from another thread and wait; keys, rotations, restarts, forks"
    if stage.sanitizers:
        yield Tally(allocator, moment).skipped("a child inherits the locks of the sanitizer's allocator")
    else:
        yield seeded(stage, allocator, moment, stage.count(200, 8), lambda seed: allocator_once(stage, seed),
                     "no memory used under a lock", jobs=4)

    tally = Tally("four processes write the same file name", "not promised: measured")
    most = total = 0
    for problem, lost in stage.each(lambda _: neighbours_once(stage, 20000), range(few), 1):
        tally.add(problem)
        most = max(most, lost)
        total += lost
    tally.seen = f"{total:,} of {tally.runs * 80000:,}, at most {most:,} a run"
    yield tally.row("no crash, no hang, lines whole")
