"""The results as SVG, drawn by gnuplot."""
import subprocess

from plan import BARE, BACKGROUND, LIBRARIES, OURS, THREADS, TITLES

COLOURS = {"zin": "#0b5cad", "spdlog": "#d9480f", "glog": "#7a8b00", "log4cplus": "#8e44ad",
           "boostlog": "#00897b", "bare": "#555555"}
STYLE = """
set encoding utf8
set border 3 lc rgb "#888888"
set tics nomirror textcolor rgb "#333333"
set grid ytics lc rgb "#dddddd" lt 1
set key top left Left reverse samplen 2 textcolor rgb "#333333"
"""
LATENCY_CASES = (("bursts of 2,000 lines, 1 thread", ("bursts", "1 threads")),
                 ("bursts of 2,000 lines, 4 threads", ("bursts", "4 threads")),
                 ("20,000 lines/s, caller sleeps between", ("steady", "sleeping")),
                 ("20,000 lines/s, caller computes between", ("steady", "busy")))


def _draw(path, size, script):
    script = (f'set terminal svg size {size} dynamic background rgb "white" font "sans-serif,13"\n'
              f'set output "{path}"\n' + STYLE + script)
    subprocess.run(["gnuplot"], input=script, text=True, check=True, stdout=subprocess.DEVNULL)


def _data(name, rows):
    return f"${name} << END\n" + "".join(" ".join(map(str, row)) + "\n" for row in rows) + "END\n"


def _line_style(program):
    return f'lc rgb "{COLOURS[program]}" lw {3 if program == OURS else 1.5}'


def _percentiles(histogram):
    """(1 / share of calls that took longer, duration in µs), along the histogram.

    Points that would not be told apart are left out.
    """
    total = sum(count for _, count in histogram)
    below = 0
    last = (0, 0)
    for duration, count in histogram:
        below += count
        if below == total:
            return
        point = (total / (total - below), duration / 1000)
        if point[0] > 1.03 * last[0] or point[1] > 1.1 * last[1]:
            yield point
            last = point


def latency(summary, path):
    """How long the call takes, by the share of calls that take no longer."""
    script = """
set multiplot layout 2,2
set logscale xy
set xrange [1:10000]
set yrange [0.05:20000]
set xtics ("0" 1, "p50" 2, "p90" 10, "p99" 100, "p99.9" 1000, "p99.99" 10000)
set ylabel "µs"
set grid xtics ytics
"""
    for number, (title, case) in enumerate(LATENCY_CASES):
        curves = []
        for program in LIBRARIES:
            rows = list(_percentiles(summary.histogram(program, *case, "call")))
            if not rows:
                continue
            name = f"{program}{number}"
            script += _data(name, rows)
            curves.append(f'${name} with lines {_line_style(program)} title "{TITLES[program]}"')
        if curves:
            script += f'set title "{title}"\nplot ' + ", ".join(curves) + "\n"
            script += "set key off\n"
    _draw(path, "1100,800", script + "unset multiplot\n")


def throughput(summary, path):
    """Lines per second against the number of threads that log."""
    script = """
set xrange [-0.2:2.2]
set yrange [0:*]
set ylabel "thousand lines per second"
set key outside right
"""
    labels = ", ".join(f'"{threads} thread{"s" * (threads > 1)}" {place}'
                       for place, threads in enumerate(THREADS))
    script += f"set xtics ({labels})\n"
    curves = []
    for program in LIBRARIES + (BARE,):
        rows = []
        for place, threads in enumerate(THREADS):
            figure = summary.figure(program, "sustained", f"{threads} threads", "linesPerSecond")
            if figure:
                rows.append((place, figure.median / 1e3, figure.least / 1e3, figure.most / 1e3))
        if rows:
            script += _data(program, rows)
            curves.append(f'${program} with yerrorlines pt 7 ps 0.6 {_line_style(program)} '
                          f'title "{TITLES[program]}"')
    if curves:
        _draw(path, "900,480", script + "plot " + ", ".join(curves) + "\n")


def cpu(summary, path):
    """CPU time per line, one bar for each library and number of threads."""
    script = """
set style data histograms
set style histogram clustered gap 1.5
set style fill solid
set yrange [0:*]
set ylabel "µs of CPU time per line"
set key top left
"""
    shades = ("#0b5cad", "#6ea8dc", "#c3dbf0")
    rows = []
    for program in LIBRARIES + (BARE,):
        values = [summary.median(program, "sustained", f"{threads} threads", "cpuNanosecondsPerLine")
                  for threads in THREADS]
        if None not in values:
            rows.append([f'"{TITLES[program]}"'] + [value / 1000 for value in values])
    if rows:
        script += _data("cpu", rows) + "plot " + ", ".join(
            f'$cpu using {column + 2}:xtic(1) lc rgb "{shades[column]}" '
            f'title "{threads} thread{"s" * (threads > 1)}"'
            for column, threads in enumerate(THREADS)) + "\n"
        _draw(path, "900,420", script)


def lateness(summary, path):
    """How late the lines are in the file, by rate."""
    script = """
set multiplot layout 1,2
set logscale xy
set xrange [1:1000]
set yrange [1:20000]
set xtics ("0" 1, "p50" 2, "p90" 10, "p99" 100, "p99.9" 1000)
set ylabel "µs until the line is in the file"
set grid xtics ytics
"""
    for rate in (100, 20000):
        curves = []
        for program in BACKGROUND:
            rows = list(_percentiles(summary.histogram(program, "lateness", f"{rate}/s", "lateness")))
            if rows:
                name = f"{program}{rate}"
                script += _data(name, rows)
                curves.append(f'${name} with lines {_line_style(program)} title "{TITLES[program]}"')
        if curves:
            script += f'set title "{rate:,} lines/s"\nplot ' + ", ".join(curves) + "\nset key off\n"
    _draw(path, "1100,420", script + "unset multiplot\n")


def draw_all(summary, folder):
    latency(summary, folder / "latency.svg")
    throughput(summary, folder / "throughput.svg")
    cpu(summary, folder / "cpu.svg")
    lateness(summary, folder / "lateness.svg")
