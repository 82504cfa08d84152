"""Starts and stops: quick, doubled, at once, and with a worker that is stuck."""

from harness import Tally, count_of, damage


def run_driver(stage, scenario, count, limit=170):
    where = stage.fresh_dir()
    run = stage.run([stage.program("restart_driver"), where / "log", scenario, str(count)], limit=limit)
    return run, where


def lines_missing(account, writers, lines, threads=(0,)):
    return sum(lines - count_of(account, f"{w}.{t}") for w in range(writers) for t in threads)


def one_channel(scenario, lines):
    """A campaign of a scenario in which each round logs that many lines."""
    def campaign(stage, count):
        run, where = run_driver(stage, scenario, count)
        account = stage.check("restart_driver", where / "log")
        lost = lines_missing(account, count, lines)
        stage.remove(where)
        return run.ended_badly() or damage(account) or (f"{lost} lines lost" if lost else None), lost
    return campaign


def two_starts(stage, count):
    run, where = run_driver(stage, "two-starts", count)
    log = stage.check("restart_driver", where / "log")
    metrics = stage.check(None, where / "log/metrics")
    lost = lines_missing(log, count, 60) + lines_missing(metrics, count, 40, (1,))
    stage.remove(where)
    problem = run.ended_badly() or damage(log, disorder=10**9) or damage(metrics, disorder=10**9)
    return problem or (f"{lost} lines lost" if lost else None), lost


def stalled(stage, channels):
    run, where = run_driver(stage, "stalled", channels)
    new = stage.check("restart_driver", where / "log/second")
    old = stage.check("restart_driver", where / "log/first/app.log")
    lost = 200 - count_of(new, "1.0") + 1 - count_of(old, "0.0")
    if channels == "both":
        metrics = stage.check(None, where / "log/second/metrics")
        lost += 200 - count_of(metrics, "1.1")
    foreign = count_of(old, "1.0")
    stage.remove(where)
    problem = run.ended_badly() or damage(new) or damage(old)
    problem = problem or (f"{foreign} new lines in the old file" if foreign else None)
    return problem or (f"{lost} lines lost" if lost else None), lost


def rows(stage):
    # Many at a time: a process of this kind sleeps.
    for fault, function, cases, each_stands_for, jobs in (
            ("start, one line, stop: 1,000 cycles", one_channel("cycles", 1), [1000] * stage.count(5, 1), 1000, None),
            ("two threads stop at once, then a restart", one_channel("two-stops", 20), [100] * stage.count(10, 1), 100, None),
            ("two starts of both channels, one stop", two_starts, [50] * stage.count(20, 2), 50, None),
            ("stop while the worker is stuck, restart elsewhere; it comes back",
             stalled, ["log"] * stage.count(80, 8), 1, 8),
            ("the same with both channels stuck", stalled, ["both"] * stage.count(40, 4), 1, 8)):
        tally = Tally(fault, "none")
        total = 0
        for problem, lost in stage.each(lambda case, f=function: f(stage, case), cases, jobs):
            tally.add(problem)
            total += lost
        tally.runs *= each_stands_for
        tally.seen = str(total)
        yield tally.row("every line once, workers end")
