"""On what, and with which versions, a comparison ran."""
import os
import pathlib
import subprocess

PACKAGES = {"spdlog": "libspdlog-dev", "glog": "libgoogle-glog-dev", "log4cplus": "liblog4cplus-dev",
            "Boost.Log": "libboost-log1.74-dev", "C library": "libc6"}


def _output(*command):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                              check=False).stdout.strip()
    except OSError:
        return ""


def _field(path, name):
    for line in pathlib.Path(path).read_text().splitlines():
        key, _, value = line.partition(":")
        if key.strip() == name:
            return value.strip()
    return "unknown"


def describe(directory):
    """Name and value of all that a reader needs to judge the figures."""
    system = dict(line.split("=", 1) for line in pathlib.Path("/etc/os-release").read_text()
                  .splitlines() if "=" in line)
    memory = int(_field("/proc/meminfo", "MemTotal").split()[0]) / 2**20
    facts = {
        "processor": f"{_field('/proc/cpuinfo', 'model name')}, {os.cpu_count()} CPUs",
        "memory": f"{memory:.0f} GiB",
        "system": f"{system.get('PRETTY_NAME', '?').strip(chr(34))}, Linux {os.uname().release}",
        "file system": _output("stat", "-f", "-c", "%T", str(directory)),
        "compiler": _output("c++", "--version").splitlines()[0],
        "load at the start": _output("cut", "-d ", "-f1", "/proc/loadavg"),
        "libZinLogger": _output("git", "-C", str(pathlib.Path(__file__).parent), "describe",
                                "--always", "--dirty") or "not a git checkout",
    }
    for name, package in PACKAGES.items():
        facts[name] = _output("dpkg-query", "-W", "-f", "${Version}", package) or "?"
    return facts
