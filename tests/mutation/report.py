"""Compares what survived with the reasons, counts, and writes the published page."""
import textwrap
import tomllib
from collections import defaultdict

NOTICED = ("killed", "hung")


class Reasons:
    """tests/mutation/survivors.toml by mutant."""

    def __init__(self, text):
        self.by_key = {}
        self.wrong = []
        for entry in tomllib.loads(text).get("survivor", []):
            for mutation in entry["mutations"]:
                detail, _, number = mutation.partition(" #")
                key = (entry["file"], entry["function"], entry["line"], detail, int(number or 1))
                if key in self.by_key:
                    self.wrong.append(f"two reasons for one mutant: {described(key)}")
                if not entry["reason"].strip():
                    self.wrong.append(f"an empty reason: {described(key)}")
                self.by_key[key] = entry


def described(key):
    file, function, line, detail, occurrence = key
    number = f" #{occurrence}" if occurrence > 1 else ""
    return f"{file}, {function}: {line!r}: {detail}{number}"


def compare(judged, all_keys, reasons):
    """What is wrong, one sentence each. judged: mutant key -> record."""
    wrong = list(reasons.wrong)
    for key, record in judged.items():
        if record["outcome"] == "survived" and key not in reasons.by_key:
            reached = "" if record["reached"] else " (no test reaches it)"
            wrong.append(f"survived without a reason{reached}: {described(key)}")
    for key, entry in reasons.by_key.items():
        if key not in all_keys:
            wrong.append(f"a reason for a mutant that there is not: {described(key)}")
        elif key in judged and judged[key]["outcome"] in NOTICED and not entry.get("sometimes"):
            wrong.append(f"a reason for a mutant that {judged[key]['by']} notices: {described(key)}")
    return wrong


class Count:
    def __init__(self):
        self.all = self.noticed = self.hung = self.equivalent = 0

    def add(self, record, entry):
        self.all += 1
        self.noticed += record["outcome"] in NOTICED
        self.hung += record["outcome"] == "hung"
        self.equivalent += record["outcome"] == "survived" and entry is not None and entry["equivalent"]

    def scores(self):
        able = self.all - self.equivalent
        return share(self.noticed, able), share(self.noticed, self.all)


def share(part, whole):
    return f"{100 * part / whole:.1f} %" if whole else "-"


def counts(judged, reasons):
    """(by file, over all)"""
    files, total = defaultdict(Count), Count()
    for key, record in judged.items():
        entry = reasons.by_key.get(key)
        files[key[0]].add(record, entry)
        total.add(record, entry)
    return dict(sorted(files.items())), total


def row(name, count):
    score, of_all = count.scores()
    survived = count.all - count.noticed - count.equivalent
    return f"| {name} | {count.all} | {count.noticed} | {survived} | {count.equivalent} | {score} | {of_all} |"


def table(judged, reasons):
    files, total = counts(judged, reasons)
    yield "| file | mutants | noticed | survived | equivalent | score | noticed of all |"
    yield "|---|---|---|---|---|---|---|"
    for name, count in files.items():
        yield row(f"`{name.removeprefix('BaseAPI/')}`", count)
    yield row("**all of `BaseAPI/`**", total)


def survivors(judged, reasons):
    """The survivors with their reasons, those of one reason together."""
    groups = defaultdict(list)
    for key, record in judged.items():
        entry = reasons.by_key.get(key)
        if record["outcome"] == "survived" and entry is not None:
            groups[(key[0], id(entry))].append((key, entry))
    latest = None
    for (file, _), group in sorted(groups.items(), key=lambda item: item[0][0]):
        if file != latest:
            yield f"\n### `{file.removeprefix('BaseAPI/')}`\n"
            latest = file
        key, entry = group[0]
        changes = "; ".join(k[3] + (f" (number {k[4]} of the line)" if k[4] > 1 else "") for k, _ in group)
        kind = "equivalent" if entry["equivalent"] else "**survives**"
        yield f"- `{key[1]}`, `{key[2]}`: {changes}: {kind}"
        yield textwrap.fill(" ".join(entry["reason"].split()), 120, initial_indent="  ", subsequent_indent="  ")


def page(introduction, heading, judged, reasons, left_out):
    yield introduction.rstrip("\n")
    yield "\n```"
    yield from heading
    yield "```\n"
    yield from table(judged, reasons)
    hung = sorted(described(key) for key, record in judged.items() if record["outcome"] == "hung")
    yield f"\nOf the mutants noticed, {len(hung)} made a test hang, and ran into its time-out."
    if left_out:
        yield f"Tests that were left out, for they fail without a mutant, too: {', '.join(sorted(left_out))}."
    yield "\n## What survives, and why"
    yield from survivors(judged, reasons)
