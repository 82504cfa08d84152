"""Runs tests against mutants and says which of them notice."""
import concurrent.futures
import dataclasses
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess
import tempfile
import threading
import time

import sources as library
from tree import Failed, digest

MEMORY = 4 << 30       # bytes of address space; a mutant must not take the machine's
# A test is given this many times the time that it takes, and these seconds. One that
# seems to hang is given twice as long before that is believed.
PATIENCE = (4, 10)


@dataclasses.dataclass
class Test:
    name: str
    command: list
    environment: dict
    slow: bool
    seconds: float = 0.0
    reached: bytes = b""    # the map of what it reaches
    reach: int = 0          # how many mutants
    passes: bool = False

    def set_reached(self, reached):
        self.reached, self.reach = reached, sum(reached)


class Sandbox:
    """A mutant of code that removes files may remove any. All that is mounted is
    therefore read-only for the tests, but for a scratch folder in memory."""

    def __init__(self, root, build_folder, holder):
        self.scratch = pathlib.Path("/tmp")  # some tools know no other place
        below_scratch = str(root).startswith("/tmp/")
        if below_scratch:
            self.mount("--bind", root, holder)
        self.mount("-t", "tmpfs", "-o", "mode=1777,size=2g", "tmpfs", self.scratch)
        if below_scratch:
            root.mkdir(parents=True)
            self.mount("--bind", holder, root)
        self.mount("--bind", build_folder, build_folder)
        kept = ("/proc", "/sys", "/dev", str(build_folder))
        for line in pathlib.Path("/proc/self/mounts").read_text().split("\n"):
            point = line.split(" ")[1].encode().decode("unicode_escape") if line else ""
            if point and point != "/tmp" and not any(point == k or point.startswith(k + "/") for k in kept):
                self.mount("-o", "remount,bind,ro", point)
        try:
            (build_folder.parent / "must-not-work").touch()
        except OSError:
            return
        raise Failed("the sandbox does not hold: the source tree can be written to")

    @staticmethod
    def mount(*arguments):
        result = subprocess.run(["mount", *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                text=True)
        if result.returncode != 0:
            raise Failed(f"no sandbox: mount {' '.join(map(str, arguments))}: {result.stdout.strip()}")

    def folder(self):
        folder = tempfile.mkdtemp(dir=self.scratch)
        os.chmod(folder, 0o777)
        return folder


def limit():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))


class Judge:
    """excused: keys of the mutants that may survive; the others meet every test that reaches them."""

    def __init__(self, tree, mutants, sources, jobs, most_seconds, excused, holder):
        self.tree = tree
        self.sources = sources
        self.mutants = mutants
        self.jobs = jobs
        self.most_seconds = most_seconds
        self.excused = excused
        self.sandbox = Sandbox(tree.root, tree.folder, holder)
        self.tests = {}
        self.kills = {}      # (file, function) -> {test: how many mutants of it}
        self.lock = threading.Lock()

    # ---- one test ----------------------------------------------------------

    def run_test(self, test, extra, seconds, command=None):
        """'passed', 'failed' or 'hung'."""
        folder = self.sandbox.folder()
        environment = {**os.environ, **test.environment, "TMPDIR": folder, **extra}
        process = subprocess.Popen(command or test.command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        try:
            outcome = "passed" if process.wait(timeout=seconds) == 0 else "failed"
        except subprocess.TimeoutExpired:
            outcome = "hung"
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
        shutil.rmtree(folder, ignore_errors=True)
        return outcome

    # ---- what the tests reach ------------------------------------------------

    def trace(self, listed, stamp):
        """Runs every test once, without a mutant; or reads what the last such run has found."""
        store = self.tree.folder / "trace"
        store.mkdir(exist_ok=True)
        for name, (command, environment, slow) in listed.items():
            self.tests[name] = Test(name, command, environment, slow)
        known = {}
        if (store / "index.json").exists():
            known = json.loads((store / "index.json").read_text())
            if known.get("stamp") != stamp:
                known = {}
        missing = [test for test in self.tests.values() if test.name not in known.get("tests", {})]
        for test in self.tests.values():
            if test.name in known.get("tests", {}):
                entry = known["tests"][test.name]
                test.seconds, test.passes = entry["seconds"], entry["passes"]
                test.set_reached((store / entry["map"]).read_bytes())
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for _ in pool.map(lambda test: self.trace_one(test, store), missing):
                pass
        # Those that other tests were in the way of.
        for test in missing:
            if not test.passes:
                self.trace_one(test, store)
        entries = {t.name: {"seconds": t.seconds, "passes": t.passes, "map": self.map_name(t)}
                   for t in self.tests.values()}
        (store / "index.json").write_text(json.dumps({"stamp": stamp, "tests": entries}))

    @staticmethod
    def map_name(test):
        return digest([test.name.encode()])

    def trace_one(self, test, store):
        path = self.sandbox.scratch / self.map_name(test)
        path.write_bytes(bytes(library.MOST_NUMBERS))
        path.chmod(0o666)
        start = time.monotonic()
        outcome = self.run_test(test, {"ZIN_MUTANTS_REACHED": str(path)}, 120)
        test.seconds = round(time.monotonic() - start, 3)
        test.passes = outcome == "passed"
        test.set_reached(path.read_bytes())
        (store / self.map_name(test)).write_bytes(test.reached)
        path.unlink()

    # ---- one mutant ----------------------------------------------------------

    def learn(self, records):
        """What noticed a change of a function is likely to notice its other ones."""
        for record in records:
            if record["by"] in self.tests:
                self.count_kill(tuple(record["mutant"][:2]), record["by"])

    def count_kill(self, function, name):
        with self.lock:
            of_function = self.kills.setdefault(function, {})
            of_function[name] = of_function.get(name, 0) + 1

    def tests_for(self, mutant):
        return self.in_order(mutant, [t for t in self.tests.values() if t.passes and t.reached[mutant.number]])

    def in_order(self, mutant, tests):
        """Those likely to notice first, then the fast ones."""
        with self.lock:
            kills = dict(self.kills.get((mutant.file, mutant.function), {}))
        return sorted(tests, key=lambda t: (t.slow, t.seconds > 2, -kills.get(t.name, 0), round(t.seconds, 1),
                                            t.reach))

    def judge(self, mutant):
        """The record of one mutant."""
        tests = self.tests_for(mutant)
        if not tests:
            return self.judge_compiled(mutant)
        outcome, by, tried = self.try_tests(mutant, tests, {"ZIN_MUTANT": str(mutant.number)})
        return {"outcome": outcome, "by": by, "tried": tried, "reached": True}

    def passes(self, test):
        return self.run_test(test, {}, self.patience(test)) == "passed"

    @staticmethod
    def patience(test):
        return PATIENCE[0] * test.seconds + PATIENCE[1]

    def notices(self, test, extra, command, control):
        """'failed' or 'hung' when it does so with the mutant, passes without it right
        after, and does so again: what a busy machine, or luck, brings about once does
        not count."""
        first = self.run_test(test, extra, self.patience(test), command)
        if first == "passed" or not control(test):
            return "passed"
        return self.run_test(test, extra, (2 if first == "hung" else 1) * self.patience(test), command)

    def try_tests(self, mutant, tests, extra, command_of=lambda test: test.command, control=None):
        """control(test): whether it passes in the same surroundings without a mutant."""
        left = self.most_seconds
        for tried, test in enumerate(tests, 1):
            if left < 0 and mutant.key() in self.excused:
                return "survived", "", tried - 1
            left -= test.seconds
            result = self.notices(test, extra, command_of(test), control or self.passes)
            if result != "passed":
                self.count_kill((mutant.file, mutant.function), test.name)
                return ("killed" if result == "failed" else "hung"), test.name, tried
        return "survived", "", len(tests)

    # ---- a mutant that must be compiled for itself -----------------------------

    def functions_reached(self, names):
        numbers = [m.number for m in self.mutants if (m.file, m.function) in names]
        return [t for t in self.tests.values() if t.passes and any(t.reached[n] for n in numbers)]

    def judge_compiled(self, mutant):
        """For what stands in constant expressions; nothing at run time can switch it."""
        if mutant.kind not in ("constant", "compare", "negate"):
            return {"outcome": "survived", "by": "", "tried": 0, "reached": False}
        users = library.constant_users(self.sources, mutant.function.split("::")[-1])
        users.add((mutant.file, mutant.function))
        if mutant.function == "-":
            users.update((mutant.file, function[0]) for function in self.sources[mutant.file].functions)
        tests = self.in_order(mutant, self.functions_reached(users))
        compiled = Compiled(self.tree, self.sources[mutant.file], mutant)
        try:
            if not compiled.library_compiles():
                return {"outcome": "killed", "by": "the compiler", "tried": 0, "reached": True}
            tried = 0
            for program in sorted({t.command[0] for t in tests}, key=lambda p: "unit_tests" not in p):
                chosen = [t for t in tests if t.command[0] == program]
                built, environment = compiled.program(program)
                if built is None:
                    return {"outcome": "killed", "by": "the compiler", "tried": tried, "reached": True}
                outcome, by, count = self.try_tests(mutant, chosen, environment,
                                                    lambda t, built=built: [built, *t.command[1:]],
                                                    lambda t: self.passes_elsewhere(t, compiled))
                tried += count
                if outcome != "survived":
                    return {"outcome": outcome, "by": by, "tried": tried, "reached": True}
            return {"outcome": "survived", "by": "", "tried": tried, "reached": bool(tests)}
        finally:
            compiled.remove()


    def passes_elsewhere(self, test, compiled):
        """Some tests mind where their program or library stands."""
        program, environment = compiled.unchanged(test.command[0])
        return self.run_test(test, environment, self.patience(test), [program, *test.command[1:]]) == "passed"


class Compiled:
    """A build of its own, in which one mutant is on for good. Only what depends on
    the changed file is compiled again."""

    # What tells of the public headers' values when it is compiled.
    HEADER_SOURCES = ("tests/header/levels.cpp",)

    def __init__(self, tree, source, mutant):
        self.tree = tree
        self.file = tree.sources / mutant.file
        self.folder = tree.folder / "planted" / str(mutant.number)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.planted = self.folder / "planted"
        self.planted.write_text(library.planted(source, mutant.number))
        self.commands = {}
        for entry in json.loads((tree.build / "compile_commands.json").read_text()):
            command = library.command_of(entry)
            self.commands[command[command.index("-o") + 1]] = (command, entry["file"])
        self.objects = self.dependents(tree, self.file)
        self.done = {}

    _dependents = {}
    _lock = threading.Lock()

    @classmethod
    def dependents(cls, tree, file):
        with cls._lock:
            if not cls._dependents:
                listing = subprocess.run(["ninja", "-t", "deps"], cwd=tree.build, stdout=subprocess.PIPE, check=True,
                                         text=True).stdout
                current = None
                for line in listing.split("\n"):
                    if line.startswith("    "):
                        path = os.path.normpath(os.path.join(tree.build, line.strip()))
                        cls._dependents.setdefault(path, set()).add(current)
                    elif ":" in line:
                        current = line.split(":")[0]
            return sorted(cls._dependents.get(str(file), set()))

    def under_plant(self, command):
        """Runs a command to which the planted file stands in the place of the file."""
        script = f"mount --bind {shlex.quote(str(self.planted))} {shlex.quote(str(self.file))} && exec \"$@\""
        result = subprocess.run(["unshare", "--mount", "sh", "-c", script, "sh", *command], cwd=self.tree.build,
                                env={**os.environ, "CCACHE_DISABLE": "1"}, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True)
        if result.returncode != 0 and "error:" not in result.stdout:
            raise Failed(f"could not compile with {self.file} changed:\n{result.stdout[-1000:]}")
        return result.returncode == 0

    def compile(self, name):
        if name not in self.done:
            command = list(self.commands[name][0])
            target = self.folder / name.replace("/", "_")
            command[command.index("-o") + 1] = str(target)
            self.done[name] = target if self.under_plant(command) else None
        return self.done[name]

    def library_compiles(self):
        for name in self.HEADER_SOURCES:
            if "/include/" in str(self.file):
                includes = [f"-I{path}" for path in sorted(self.tree.sources.glob("BaseAPI/*/include"))]
                header = pathlib.Path(__file__).parent / "runtime/ZinMutants.h"
                if not self.under_plant(["g++", "-std=c++20", "-fsyntax-only", "-include", str(header), *includes,
                                         str(self.tree.sources / name)]):
                    return False
        return all(self.compile(name) for name in self.objects if name.startswith("BaseAPI/"))

    def program(self, path):
        """(path of the program, environment it needs), or (None, {}) when it does not compile."""
        relative = os.path.relpath(path, self.tree.build)
        environment = {}
        if self.links_library(relative):
            built = self.link("BaseAPI/ZinLogger/libZinLogger.so.1.0.0", "libZinLogger.so.1")
            if built is None:
                return None, {}
            environment["LD_LIBRARY_PATH"] = str(self.folder)
        program = self.link(relative, os.path.basename(relative))
        return program, environment

    def unchanged(self, path):
        """The same as program(), but without a mutant."""
        folder = self.folder / "unchanged"
        folder.mkdir(exist_ok=True)
        shutil.copy2(path, folder)
        environment = {}
        if self.links_library(os.path.relpath(path, self.tree.build)):
            shutil.copy2(self.tree.build / "BaseAPI/ZinLogger/libZinLogger.so.1.0.0", folder / "libZinLogger.so.1")
            environment["LD_LIBRARY_PATH"] = str(folder)
        return str(folder / os.path.basename(path)), environment

    def links_library(self, relative):
        return "libZinLogger.so" in self.link_command(relative)

    def link_command(self, relative):
        listing = subprocess.run(["ninja", "-t", "commands", relative], cwd=self.tree.build, stdout=subprocess.PIPE,
                                 check=True, text=True).stdout
        for line in reversed(listing.strip().split("\n")):
            for part in line.split(" && "):
                if f"-o {relative} " in part + " " and " -c " not in part:
                    return part
        raise Failed(f"how {relative} is linked could not be found")

    def link(self, relative, name):
        command = shlex.split(self.link_command(relative))
        mentioned = set(command)
        extra = []
        for object_name in self.objects:
            needed = object_name in mentioned
            archive = re.match(r"(.*)/CMakeFiles/(\w+)\.dir/", object_name)
            in_archive = archive and f"{archive.group(1)}/lib{archive.group(2)}.a" in mentioned
            if not needed and not in_archive:
                continue
            compiled = self.compile(object_name)
            if compiled is None:
                return None
            if needed:
                command = [str(compiled) if part == object_name else part for part in command]
            else:
                extra.append(str(compiled))
        target = self.folder / name
        at = command.index("-o")
        command[at + 1] = str(target)
        # Before the archives, whose own members are then not needed.
        command[at:at] = extra
        if subprocess.run(command, cwd=self.tree.build, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode != 0:
            return None
        return str(target)

    def remove(self):
        shutil.rmtree(self.folder, ignore_errors=True)
