"""The results as markdown."""
from goals import goals
from plan import (BACKGROUND, BARE, EMPTY, EVERYTHING, FILES, KEYS, LIBRARIES, OURS, PEERS, RATES,
                  THREADS, TITLES)


def _table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|---" + "|---:" * (len(head) - 1) + "|"]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def _number(value):
    """About three digits, with separators."""
    if value == 0 or abs(value) >= 100:
        return f"{value:,.0f}"
    return f"{value:.2f}" if abs(value) < 10 else f"{value:.1f}"


def _cell(summary, program, case, quantity, scale=1.0):
    """Median (least-most); marked when a run lost a line."""
    figure = summary.figure(program, *case, quantity)
    if figure is None:
        return "–"
    text = _number(figure.median * scale)
    if len(figure.values) > 1:
        text += f" ({_number(figure.least * scale)}–{_number(figure.most * scale)})"
    return text + (" **lost lines**" if summary.lost(program, *case) else "")


def _by_program(summary, programs, columns):
    """columns: (title, case, quantity, scale)"""
    rows = [[TITLES[program]] + [_cell(summary, program, case, quantity, scale)
                                 for _, case, quantity, scale in columns] for program in programs]
    return _table([""] + [title for title, *_ in columns], rows)


def goals_table(summary):
    rows = []
    for goal in goals(summary):
        value = "not measured" if goal.value is None else f"{_number(goal.value)} {goal.unit}".strip()
        bound = f"{'≥' if goal.at_least else '≤'} {goal.bound:g} {goal.unit}".strip()
        rows.append([goal.what, value, bound, {True: "yes", False: "**no**", None: "–"}[goal.met]])
    return _table(["", "measured", "goal", "met?"], rows)


def _sustained(summary):
    def columns(quantity, scale, form=""):
        return [(f"{threads} thread{'s' * (threads > 1)}", ("sustained", f"{threads} threads{form}"),
                 quantity, scale) for threads in THREADS]

    def both(programs, form):
        return _by_program(summary, programs, columns("linesPerSecond", 1e-3, form)
                           + [("CPU, " + title, *rest) for title, *rest in
                              columns("cpuNanosecondsPerLine", 1, form)])
    return ("### Sustained: thousand lines per second\n\n"
            + _by_program(summary, LIBRARIES + (BARE,), columns("linesPerSecond", 1e-3))
            + "\n### Sustained: CPU time per line of the whole process, ns\n\n"
            + _by_program(summary, EVERYTHING, columns("cpuNanosecondsPerLine", 1))
            + "\n### The same, flushed as a library does it untold: thousand lines per second, and ns\n\n"
            + both(PEERS, ", own flushing")
            + "\n### The same with two integers in the message: thousand lines per second, and ns\n\n"
            + both(EVERYTHING, ", integers"))


def _latency(summary):
    text = ""
    for title, case in (("bursts of 2,000 lines, 1 thread", ("bursts", "1 threads")),
                        ("bursts of 2,000 lines, 4 threads", ("bursts", "4 threads")),
                        ("20,000 lines/s, the caller sleeps between", ("steady", "sleeping")),
                        ("20,000 lines/s, the caller computes between", ("steady", "busy"))):
        columns = [(name, case, "call." + key, 1) for name, key in
                   (("p50", "p50"), ("p90", "p90"), ("p99", "p99"), ("p99.9", "p999"))]
        text += f"\n### Duration of the call, ns: {title}\n\n"
        text += _by_program(summary, EVERYTHING, columns)
    return text + "\nThe empty logger's row is what reading the clock twice costs; it is not subtracted.\n"


def _lateness(summary):
    columns = [(f"{rate:,}/s {key}", ("lateness", f"{rate}/s"), "lateness." + key, 1e-3)
               for rate in RATES for key in ("p50", "p99")]
    return ("\n### Lateness: from the return of the call until the line is in the file, µs\n\n"
            + _by_program(summary, BACKGROUND, columns))


def _others(summary):
    memory, start = ("memory", "500000 lines"), ("startstop", "process")
    return ("\n### Resident memory around 500,000 queued lines, MiB\n\n"
            + _by_program(summary, BACKGROUND, [
                ("before the start", memory, "beforeKiB", 1 / 1024),
                ("peak", memory, "peakKiB", 1 / 1024),
                ("after the drain", memory, "drainedKiB", 1 / 1024)])
            + "\n### A call below the threshold, ns\n\n"
            + _by_program(summary, LIBRARIES + (EMPTY,),
                          [(f"by {label}", ("filtered", label), "nanosecondsPerCall", 1)
                           for label in ("call", "macro")])
            + "\n### Start and stop, µs\n\n"
            + _by_program(summary, LIBRARIES, [
                ("start returns", start, "startMicroseconds", 1),
                ("first line in the file", start, "firstLineMicroseconds", 1),
                ("stop with an empty queue", start, "stopMicroseconds", 1)]))


def _ours_alone(summary):
    keys = [[f"{count:,}"] + [_cell(summary, "keys", ("keys", f"{count} keys"), quantity)
                              for quantity in ("nanosecondsPerLine", "bareNanosecondsPerLine")]
            for count in KEYS]
    quantities = ("bare", "passBelowLimits", "passOverLimit", "rotation")
    walks = [[f"{count:,}"] + [_cell(summary, "directories", ("directories", f"{count} files"),
                                     f"{quantity}Microseconds") for quantity in quantities]
             for count in FILES]
    steps = {}
    for run in summary.runs:
        if run["program"] == "steps" and run["result"]:
            steps = run["result"]
    calls = summary.median(OURS, "idle", "10 s", "systemCalls")
    return ("\n### Sub-directory keys: ns per line until the stop has returned\n\n"
            + _table(["keys", "ns per line", "bare write(2) into as many files"], keys)
            + "\n### Walks over a directory, µs\n\n"
            + _table(["files", "bare readdir and stat", "retention pass below its limits",
                      "retention pass that deletes the two oldest", "clean-up after a rotation"], walks)
            + "\n### Single steps of a line, one thread, ns of CPU time\n\n"
            + _table(["step", "ns"], [[name, _number(value)] for name, value in steps.items()])
            + f"\nSystem calls in 10 s of an idle process: {'–' if calls is None else int(calls)}\n")


def _plot(name, what, folder):
    return f"\n![{what}]({folder}{name}.svg)\n"


def markdown(summary, machine, command, problems, plot_folder=""):
    """All tables and plots, below headings of the second level and lower."""
    text = "## Machine and versions\n\n" + _table(["", ""], [[key, value] for key, value
                                                           in machine.items()])
    text += f"\nCommand: `{command}`. Figures are medians of the rounds (least–most).\n"
    if problems:
        text += "\n**Problems:**\n\n" + "".join(f"- {problem}\n" for problem in problems)
    text += "\n## Goals\n\n" + goals_table(summary) + "\n## Measured\n\n"
    return (text + _sustained(summary)
            + _plot("throughput", "Lines per second against threads", plot_folder)
            + _plot("cpu", "CPU time per line", plot_folder)
            + _latency(summary)
            + _plot("latency", "Duration of the call by percentile", plot_folder)
            + _lateness(summary)
            + _plot("lateness", "Lateness by percentile", plot_folder)
            + _others(summary) + _ours_alone(summary))
