#!/usr/bin/env python3
"""Says which branches of the library the tests never take, and why.

usage: report.py <gcovr json> <reasons toml> <output md> <heading line>...

Every branch that was not taken, and every line that was not reached, needs an
entry in the reasons; every entry needs such a branch. Exits 1 when one side
lacks the other. The heading lines go into the report as they are.
"""
import json
import pathlib
import re
import sys
import textwrap
import tomllib
from collections import defaultdict

ROOT = pathlib.Path(__file__).resolve().parents[2]


def short_name(function):
    """`(anonymous namespace)::Emit(int)` is `Emit`; a lambda is part of its function."""
    plain = function.replace("(anonymous namespace)::", "").replace("[abi:cxx11]", "")
    return re.split(r"[(<]|::\{lambda", plain)[0]


def function_at(functions, line):
    before = [f for f in functions if f["lineno"] <= line]
    return short_name(max(before, key=lambda f: f["lineno"])["name"]) if before else "-"


class File:
    """The counts of one source file. A branch that only an exception takes is
    counted apart."""

    def __init__(self, data):
        self.path = data["file"]
        self.lines = [line for line in data["lines"] if not line.get("gcovr/noncode")]
        self.functions = data.get("functions", [])
        branches = [branch for line in self.lines for branch in line["branches"]]
        self.branches = [branch for branch in branches if not branch["throw"]]
        self.throwing = [branch for branch in branches if branch["throw"]]

    def open_places(self):
        """(file, function, text of the line) -> [branches never taken, lines never reached]"""
        text = (ROOT / self.path).read_text().split("\n")
        places = defaultdict(lambda: [0, 0])
        for line in self.lines:
            never_taken = sum(b["count"] == 0 for b in line["branches"] if not b["throw"])
            never_reached = line["count"] == 0
            if never_taken or never_reached:
                number = line["line_number"]
                key = (self.path, function_at(self.functions, number), text[number - 1].strip())
                places[key][0] += never_taken
                places[key][1] += never_reached
        return places


def compare(places, reasons):
    """What is wrong, one sentence each."""
    wrong = []
    for key, (branches, lines) in places.items():
        known = reasons.get(key)
        what = f"{key[0]}, {key[1]}: {key[2]!r}"
        if known is None:
            wrong.append(f"no reason: {what}: {branches} branches not taken, {lines} lines not reached")
        elif branches > known["branches"] or branches < known["branches"] and not known.get("sometimes"):
            wrong.append(f"{branches} branches not taken, the reason is for {known['branches']}: {what}")
    for key, known in reasons.items():
        if key not in places and not known.get("sometimes"):
            wrong.append(f"a reason for what the tests do reach: {key[0]}, {key[1]}: {key[2]!r}")
        if not known["reason"].strip():
            wrong.append(f"an empty reason: {key[0]}, {key[1]}: {key[2]!r}")
    return wrong


def share(covered, total):
    return f"{covered} of {total} ({100 * covered / total:.1f} %)" if total else "-"


def taken(branches):
    return sum(branch["count"] > 0 for branch in branches)


def row(name, lines, branches):
    reached = sum(line["count"] > 0 for line in lines)
    return f"| {name} | {share(reached, len(lines))} | {share(taken(branches), len(branches))} |"


def table(files):
    yield "| file | lines reached | branches taken |"
    yield "|---|---|---|"
    for file in files:
        yield row(f"`{file.path.removeprefix('BaseAPI/')}`", file.lines, file.branches)
    yield row("**all of `BaseAPI/`**", [line for f in files for line in f.lines],
              [branch for f in files for branch in f.branches])


def open_list(reasons):
    """By the reasons, so that a branch that is taken now and then is listed always."""
    latest = None
    for (path, function, text), known in sorted(reasons.items()):
        if path != latest:
            yield f"\n### `{path.removeprefix('BaseAPI/')}`\n"
            latest = path
        count = known["branches"]
        number = f"{'up to ' if known.get('sometimes') else ''}{count} branch{'es' if count != 1 else ''}"
        if count == 0:
            number = "the line alone"
        yield f"- **`{function}`**, `{text}` ({number}):"
        yield textwrap.fill(known["reason"], 120, initial_indent="  ", subsequent_indent="  ")


def report(files, reasons, heading):
    throwing = [branch for file in files for branch in file.throwing]
    yield (ROOT / "tests/coverage/introduction.md").read_text().rstrip("\n")
    yield "\n```"
    yield from heading
    yield "```\n"
    yield from table(files)
    yield f"\nBranches that only an exception takes, not in the table: {share(taken(throwing), len(throwing))}."
    yield "\n## What is never taken, and why"
    yield from open_list(reasons)


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    counts, reasons_file, output, *heading = sys.argv[1:]
    files = [File(data) for data in json.loads(pathlib.Path(counts).read_text())["files"]]
    files = [file for file in files if file.lines]
    if not files:
        sys.exit("coverage: nothing was counted")
    entries = tomllib.loads(pathlib.Path(reasons_file).read_text())["open"]
    reasons = {(e["file"], e["function"], e["line"]): e for e in entries}
    if len(reasons) != len(entries):
        sys.exit("coverage: two reasons for one line")
    places = {key: counts for file in files for key, counts in file.open_places().items()}

    pathlib.Path(output).write_text("\n".join(report(files, reasons, heading)) + "\n")
    print("\n".join(table(files)))
    wrong = compare(places, reasons)
    for sentence in wrong:
        print(f"coverage: {sentence}", file=sys.stderr)
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
