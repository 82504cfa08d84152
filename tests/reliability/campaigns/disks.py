"""Room, rights, folders, files and descriptors are taken away from a running
channel and given back, without a restart."""

import os
import shutil

from harness import LedgerView, Tally, count_of, damage

NOT_POSSIBLE = 75
# Scenario, what happens, allowed loss, where lines are, cut lines allowed per cycle.
SCENARIOS = (
    ("full", "disk full, then room again", "lines written meanwhile", ("saved",), 1),
    ("read-only", "directory made read-only and back (not as root)", "the line meanwhile", ("key-*",), 0),
    ("descriptors", "no descriptor left, then some again", "the line meanwhile", ("key-*",), 0),
    ("folder-removed", "directory removed, in half of the cycles made again", "what it held, and one line",
     (), 0),
    ("folder-moved", "directory moved away", "none", ("moved-*", "sub"), 0),
    ("rename-refused", "renameat2 refused with EPERM, rotating", "none", ("sub",), 0),
    ("descriptors-closed", "all descriptors closed by the program, numbers taken again in half of the cycles", "none",
     ("sub",), 0),
    ("file-deleted", "live file deleted from outside", "lines until its next rotation", (), 0),
)


def play(stage, scenario, places, cut, cycles):
    """The problem, lines lost that must not be, lines lost that may be."""
    where = stage.fresh_dir()
    log = where / "log"
    log.mkdir()
    ledger = LedgerView(where / "ledger")
    command = [stage.program("disk_driver"), log, where / "ledger", scenario, str(cycles)]
    if scenario == "read-only" and os.geteuid() == 0:
        # The build folder may be closed to other users.
        copy = shutil.copy(stage.program("disk_driver"), where / "disk_driver")
        library = shutil.copy(stage.library, where / "libZinLogger.so.1")
        for path in (where, log, where / "ledger", copy, library):
            os.chown(path, 65534, 65534)
        command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "env",
                   f"LD_LIBRARY_PATH={where}", copy, *command[1:]]
    run = stage.run(command, limit=170)
    if run.status == NOT_POSSIBLE:
        stage.remove(where)
        return "not possible here", 0, 0
    well, need = ledger[2], ledger[3]
    problem = run.ended_badly() or (None if ledger[0] else "nothing logged")
    if places:
        found = [path for place in places for path in sorted(log.glob(place))]
        account = stage.check("disk_driver", *found)
        problem = problem or damage(account, cut_inside=cut * cycles, cut_tails=cut, disorder=10**9)
        well = ledger[0] - count_of(account, "0.0")
        need = ledger[1] - count_of(account, "1.0")
    stage.remove(where)
    return problem or (f"{well} lines lost while all was well" if well else None), well, need


def rows(stage):
    for scenario, fault, allowed, places, cut in SCENARIOS:
        cycles = stage.count(100, 10)
        tally = Tally(fault, allowed)
        problem, _, need = play(stage, scenario, places, cut, cycles)
        if problem == "not possible here":
            yield tally.skipped("needs rights that this user has not, or a filter that this kernel has not")
            continue
        tally.add(problem)
        tally.runs *= cycles
        tally.seen = f"{need:,} lines in {cycles} cycles"
        yield tally.row("goes on by itself")
