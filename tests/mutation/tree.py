"""A copy of the tree with all mutants in, and its build."""
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
# They look at the text of the tree or at the installed library, not at what the
# code does.
NOT_BEHAVIOUR = re.compile(r"^(Header|Abi|Layering|Package|Mutation)")

# A mutant that leaves its memory is stopped there, as far as that costs little.
WATCHFUL = b"add_compile_options(-O1 -D_GLIBCXX_ASSERTIONS)\n"


class Failed(Exception):
    """The check could not be done."""


def run(command, cwd, what):
    result = subprocess.run([str(part) for part in command], cwd=cwd, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        raise Failed(f"{what}:\n" + "\n".join(result.stdout.strip().split("\n")[-30:]))
    return result.stdout


def write_if_new(path, content):
    """Leaves the time of a file that stays as it is, so that it is not built again."""
    if path.is_file() and path.read_bytes() == content:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


def digest(parts):
    total = hashlib.sha256()
    for part in parts:
        total.update(hashlib.sha256(part).digest())
    return total.hexdigest()[:16]


class Tree:
    """build/mutation: the sources, the build, and the library that the mutants ask."""

    def __init__(self, root, folder):
        self.root = root
        self.folder = folder
        self.sources = folder / "tree"
        self.build = folder / "build"
        self.library = folder / "libZinMutants.so"

    def copy(self, names, rewritten):
        wanted = set(names)
        for name in names:
            content = rewritten[name].encode() if name in rewritten else (self.root / name).read_bytes()
            if name == "BaseAPI/CMakeLists.txt":
                content = WATCHFUL + content
            target = self.sources / name
            write_if_new(target, content)
            if os.access(self.root / name, os.X_OK):
                target.chmod(0o755)
        for old in self.sources.rglob("*"):
            if old.is_file() and str(old.relative_to(self.sources)) not in wanted:
                old.unlink()

    def test_digest(self, names):
        """Of what decides whether a mutant is noticed, but for the library."""
        return digest((self.root / name).read_bytes() for name in names
                      if name.startswith("tests/") and not name.startswith("tests/mutation/"))

    def test_programs(self):
        programs = []
        for lists in sorted(self.sources.glob("tests/*/CMakeLists.txt")):
            if lists.parent.name in ("unit", "faults", "channel", "siblings", "probes"):
                programs += re.findall(r"zin_add_tests\(\s*(\w+)", lists.read_text())
        return programs

    def compile(self, jobs):
        header = HERE / "runtime/ZinMutants.h"
        newest = max(header.stat().st_mtime, (HERE / "runtime/ZinMutants.cpp").stat().st_mtime)
        if not self.library.exists() or self.library.stat().st_mtime < newest:
            run(["g++", "-std=c++20", "-O1", "-fPIC", "-shared", "-o", self.library, HERE / "runtime/ZinMutants.cpp"],
                self.folder, "the mutants' library does not compile")
        options = {"CMAKE_BUILD_TYPE": "None", "CMAKE_CXX_FLAGS": f"-O0 -w -include {header}",
                   "CMAKE_CXX_STANDARD_LIBRARIES": self.library, "CMAKE_BUILD_RPATH": self.folder,
                   "CMAKE_EXPORT_COMPILE_COMMANDS": "ON", "CMAKE_LINK_DEPENDS_NO_SHARED": "ON",
                   "ZIN_BUILD_TOOLS": "OFF", "ZIN_BUILD_EXAMPLES": "OFF"}
        if shutil.which("ccache") and "CMAKE_CXX_COMPILER_LAUNCHER" not in os.environ:
            options["CMAKE_CXX_COMPILER_LAUNCHER"] = "ccache"
        run(["cmake", "-S", self.sources, "-B", self.build, "-G", "Ninja",
             *(f"-D{name}={value}" for name, value in options.items())], self.folder, "cmake failed")
        run(["cmake", "--build", self.build, "-j", jobs, "--target", *self.test_programs()], self.folder,
            "the tree with all mutants does not build")

    def tests(self):
        """name -> (command, environment, working directory) of the tests that were built."""
        listing = subprocess.run(["ctest", "--test-dir", self.build, "--show-only=json-v1"], check=True,
                                 stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
        found = {}
        for test in json.loads(listing)["tests"]:
            command = test.get("command")
            if NOT_BEHAVIOUR.match(test["name"]) or not command or not pathlib.Path(command[0]).is_file():
                continue
            properties = {p["name"]: p["value"] for p in test["properties"]}
            environment = dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", []) if "=" in entry)
            found[test["name"]] = (command, environment, "slow" in properties.get("LABELS", []))
        return found
