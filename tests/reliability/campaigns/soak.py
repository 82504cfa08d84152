"""A long mixed load: what the process holds must stay flat."""

import json

import tracer
from harness import LedgerView, Tally, count_of, damage

KEPT_FILES = 20
MOST_FILES = 60
KEEPERS = 2  # retention threads that each session leaves, by contract
KIB_PER_KEEPER = 40  # of stack, and of what the C library keeps for a thread
KIB_OF_NOISE = 4096


def missing(account, stream, handed):
    """Lines that are neither on disk nor in files that retention removed: these
    are the oldest, so what is left must be without a gap, up to the last line."""
    found = account["streams"].get(stream)
    if found is None:
        return handed
    holes = sum(end - begin for begin, end in found["gaps"] if begin > 0)
    return holes + handed - found["next"]


def rows(stage):
    seconds, session = stage.count(1800, 20), stage.count(3, 1)
    tally = Tally(f"soak, {seconds} s: rotations, restarts, retention, both channels", "none")
    where = stage.fresh_dir()
    ledger = LedgerView(where / "ledger")
    counter = None if tracer.is_missing(stage) else tracer.ProbeCounter(
        stage, "rotate", lambda dir: [stage.program("restart_driver"), dir, "cycles", "2"],
        'comm == "zin-log-worker" || comm == "zin-met-worker"')
    run = stage.run([stage.program("soak_driver"), where / "log", where / "ledger", str(seconds), str(session)],
                    limit=seconds + 120)
    # Those of the trigger's processes are a handful each.
    rotations = max(counter.stop().values()) if counter else None
    log = stage.check("soak_driver", where / "log", where / "log/net")
    metrics = stage.check(None, where / "log/metrics")
    files = [len(list((where / "log" / folder).glob("*.log"))) for folder in (".", "net", "metrics")]
    tally.add(run.ended_badly())
    if run.status == 0:
        judge(tally, json.loads(run.out), ledger, log, metrics, files, memory_is_ours=not stage.sanitizers)
        tally.seen += f"; {rotations:,} rotations" if counter else "; rotations not counted"
        fewest = stage.count(1000, 20) if stage.sanitizers else stage.count(100_000, 500)
    tally.expect(not counter or rotations >= fewest, f"{rotations} rotations")
    tally.expect(not (problem := damage(metrics)), problem)
    stage.remove(where)
    yield tally.row("descriptors, threads, memory flat; accounts exact")


def judge(tally, report, ledger, log, metrics, files, memory_is_ours):
    first, last = report["first"], report["last"]
    restarts = report["sessions"] - report["warmUp"]
    lost = sum(missing(log, f"0.{i}", ledger[i]) + missing(metrics, f"0.{i}", ledger[100 + i]) for i in range(4))
    handed = sum(ledger[i] + ledger[100 + i] for i in range(4))
    grown = last["residentKiB"] - first["residentKiB"]
    added = last["threads"] - first["threads"]
    # The files that the driver itself adds are all that is no line.
    log["damaged"] -= report["oldFiles"]
    tally.expect(not (problem := damage(log)), problem)
    tally.expect(lost == 0, f"{lost} lines lost")
    tally.expect(last["descriptors"] == first["descriptors"], f"descriptors: {first} {last}")
    tally.expect(added <= KEEPERS * restarts, f"{added} more threads after {restarts} restarts")
    tally.expect(not memory_is_ours or grown <= KIB_PER_KEEPER * added + KIB_OF_NOISE, f"{grown} KiB more, {added} more threads")
    tally.expect(report["oldFiles"] < MOST_FILES, "retention removed nothing")
    tally.expect(max(files) <= MOST_FILES + KEPT_FILES + 1, f"{files} files")
    tally.seen = (f"{lost} of {handed:,}; {restarts} restarts, {added} more threads (retention, by contract), "
                  f"{grown:,} KiB more")
