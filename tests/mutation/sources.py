"""The mutants of the library: which there are, and the sources with all of them in."""
import concurrent.futures
import dataclasses
import json
import pathlib
import re
import shlex
import subprocess

import places

NUMBERS_PER_FILE = 512
MOST_NUMBERS = 1 << 16  # as many as runtime/ZinMutants.cpp has room for
# Parsed by a source of their own, for no source of the library includes them.
HEADERS_APART = ("BaseAPI/ZinLogger/include/ZinLoggerMacros.h",)


@dataclasses.dataclass
class Mutant:
    file: str        # below the root of the tree
    line: int
    function: str
    text: str        # of the line
    kind: str
    detail: str
    occurrence: int  # among those that read alike
    constant: bool
    number: int

    def key(self):
        """What stays when lines elsewhere change."""
        return (self.file, self.function, self.text, self.detail, self.occurrence)


@dataclasses.dataclass
class SourceFile:
    path: str
    text: bytes
    rewritten: str
    mutants: list
    functions: list  # (name, first line, last line)


def tracked(root):
    listing = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=root,
                             stdout=subprocess.PIPE, check=True).stdout
    return sorted(name for name in listing.decode().split("\0") if name and (root / name).is_file())


def units(root, files):
    """(file to parse, arguments, headers apart) for each translation unit of the library."""
    includes = sorted({f"-I{root / pathlib.Path(name).parent}" for name in files if name.endswith(".h")})
    arguments = ["-std=c++20", "-DZIN_HAS_PROBES", *includes]
    for name in files:
        if name.endswith(".cpp"):
            yield str(root / name), arguments
    for name in HEADERS_APART:
        if name in files:
            yield f"{root}/{name}.cpp", arguments


def read_unit(root, unit, wanted):
    """The places of the files that this translation unit is made of, numbered by the caller's bases."""
    path, arguments = unit
    unsaved = None
    if not pathlib.Path(path).exists():
        unsaved = [(path, f'#include "{pathlib.Path(path).name.removesuffix(".cpp")}"\n')]
    parsed = places.parse(path, arguments, unsaved)
    names = {str(pathlib.Path(i.include.name)) for i in parsed.get_includes()} | {path}
    declarations = places.declarations_by_file(parsed)
    found = []
    for name in sorted(names):
        relative = str(pathlib.Path(name).resolve().relative_to(root)) if name.startswith(str(root)) else None
        if relative not in wanted:
            continue
        text = pathlib.Path(name).read_bytes()
        base = wanted[relative] * NUMBERS_PER_FILE
        in_file = places.find(declarations.get(name, []), name, text)
        missed = places.missed_comparisons(parsed, name, text, in_file)
        if missed:
            raise ValueError(f"a comparison was not understood: {missed[0]}")
        if len(in_file) > NUMBERS_PER_FILE:
            raise ValueError(f"{relative}: more than {NUMBERS_PER_FILE} mutants")
        for offset, place in enumerate(in_file):
            place.number = base + offset
        mutants = [Mutant(relative, p.line, p.function, places.line_text(text, p), p.kind, p.detail, p.occurrence,
                          p.constant, p.number) for p in in_file]
        found.append(SourceFile(relative, text, places.rewrite(text, in_file), mutants,
                                places.function_lines(declarations.get(name, []))))
    return found


def read(root, jobs):
    """SourceFile by name, for all sources and headers of the library."""
    files = [name for name in tracked(root) if re.fullmatch(r"BaseAPI/.*\.(cpp|h)", name)]
    wanted = {name: index for index, name in enumerate(files)}
    if len(files) * NUMBERS_PER_FILE > MOST_NUMBERS:
        raise ValueError(f"more than {MOST_NUMBERS // NUMBERS_PER_FILE} files")
    result = {}
    with concurrent.futures.ProcessPoolExecutor(jobs) as pool:
        pending = [pool.submit(read_unit, root, unit, wanted) for unit in units(root, files)]
        for unit in pending:
            for source in unit.result():
                known = result.get(source.path)
                if known is None or len(source.mutants) > len(known.mutants):
                    result[source.path] = source
    return dict(sorted(result.items()))


def planted(source, number):
    """The source with one mutant on for good, and the others as they are."""
    return source.rewritten.replace(f"zinMutants::Is({number})", "true")


def constant_users(sources, name):
    """(file, function) of all functions that use the constant, also by way of other constants."""
    names, users, queue = {name}, set(), [name]
    mutated = {mutant.function for source in sources.values() for mutant in source.mutants}
    while queue:
        word = re.compile(rf"\b{re.escape(queue.pop())}\b")
        for source in sources.values():
            for number, line in enumerate(source.text.decode().split("\n"), 1):
                if not word.search(line) or line.lstrip().startswith("//"):
                    continue
                inside = [f for f in source.functions if f[1] <= number <= f[2]]
                users.update((source.path, function[0]) for function in inside)
                # A function without a mutant tells nothing of who reaches it.
                for function in inside:
                    plain = function[0].split("::")[-1]
                    if function[0] not in mutated and plain not in names:
                        names.add(plain)
                        queue.append(plain)
                declared = re.search(r"\b(?:constexpr|const|using)\b[^=;{(]*?\b(\w+)\s*(?:=|\{)", line)
                if declared and declared.group(1) not in names:
                    names.add(declared.group(1))
                    queue.append(declared.group(1))
    return users


def to_json(mutant):
    return json.dumps(dataclasses.asdict(mutant))


def command_of(entry):
    return shlex.split(entry["command"]) if "command" in entry else entry["arguments"]
