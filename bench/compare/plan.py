"""What is run: which measure, of which libraries, with which arguments, how often."""
import dataclasses

OURS = "zin"
PEERS = ("spdlog", "glog", "log4cplus", "boostlog")
BARE, EMPTY = "bare", "empty"
LIBRARIES = (OURS,) + PEERS
EVERYTHING = LIBRARIES + (BARE, EMPTY)
# Those with a queue that can fill and a worker that can be late.
BACKGROUND = (OURS, "spdlog", "log4cplus", "boostlog")

TITLES = {
    "zin": "libZinLogger", "spdlog": "spdlog", "glog": "glog", "log4cplus": "log4cplus",
    "boostlog": "Boost.Log", "bare": "bare write(2)", "empty": "empty logger",
}
THREADS = (1, 4, 16)
RATES = (100, 2000, 20000, 500000)
KEYS = (1, 100, 1000)
FILES = (10, 1000, 100000)


@dataclasses.dataclass(frozen=True)
class Case:
    """One column of a table: run once for each program in each round."""
    measure: str
    label: str
    arguments: tuple
    programs: tuple
    rounds: int


def cases(quick):
    """All cases, in the order in which they are measured."""
    def rounds(few, many):
        return few if quick else many

    lines = rounds(250_000, 500_000)
    # A library that drops lines must have room for all of them, and those that
    # wait instead are faster when they need not.
    room = ("--queue", str(lines + 1000))
    plan = []

    def add(measure, label, arguments, programs, count):
        plan.append(Case(measure, label, tuple(map(str, arguments)), programs, count))

    for threads in THREADS:
        sustained = ("--threads", threads, "--lines", lines, *room)
        add("sustained", f"{threads} threads", (*sustained, "--double"), EVERYTHING, rounds(2, 9))
        add("sustained", f"{threads} threads, own flushing", (*sustained, "--double", "--own-flushing"),
            PEERS, rounds(2, 5))
        add("sustained", f"{threads} threads, integers", sustained, EVERYTHING, rounds(2, 5))
    for threads in (1, 4):
        add("bursts", f"{threads} threads",
            ("--threads", threads, "--seconds", rounds(0.5, 2), "--double"), EVERYTHING, rounds(2, 9))
    steady = ("--seconds", rounds(1, 2), "--double")
    add("steady", "sleeping", steady, EVERYTHING, rounds(1, 7))
    add("steady", "busy", (*steady, "--spin"), EVERYTHING, rounds(1, 7))
    for rate in RATES:
        add("lateness", f"{rate}/s", ("--rate", rate, "--seconds", 3 if rate < 1000 else 2),
            BACKGROUND, rounds(1, 7))
    add("memory", "500000 lines", ("--lines", 500_000, "--queue", 501_000), BACKGROUND,
        rounds(1, 3))
    filtered = ("--lines", 20_000_000)
    add("filtered", "call", filtered, LIBRARIES + (EMPTY,), rounds(3, 7))
    add("filtered", "macro", (*filtered, "--by-macro"), LIBRARIES + (EMPTY,), rounds(3, 7))
    add("startstop", "process", (), LIBRARIES, rounds(3, 21))
    add("idle", "10 s", ("--seconds", 10), (OURS,), 1)
    for keys in KEYS:
        add("keys", f"{keys} keys", ("--count", keys, "--lines", 200_000, "--queue", 300_000),
            ("keys",), rounds(3, 7))
    for files in FILES:
        add("directories", f"{files} files", ("--count", files), ("directories",), rounds(1, 3))
    add("steps", "one thread", (), ("steps",), 1)
    return plan
