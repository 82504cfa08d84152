"""The collectors under test: programs of Debian, unpacked into a folder of their
own, with the configurations of tools/collector at ports and paths of the test."""
import os
import pathlib
import signal
import socket
import subprocess
import time

LIBRARIES = "usr/lib/x86_64-linux-gnu"


class CollectorError(Exception):
    pass


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def is_listening(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


def wait_until(condition, what, seconds=30):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise CollectorError(f"waited in vain: {what}")
        time.sleep(0.05)


class Daemon:
    """One running collector. Whoever starts it ends it: see `end`."""

    def __init__(self, command, environment, output):
        self.command = command
        self.environment = environment
        self.output = output
        self.process = None

    def start(self):
        with open(self.output, "ab") as output:
            self.process = subprocess.Popen(self.command, env=self.environment, stdout=output,
                                            stderr=output, stdin=subprocess.DEVNULL)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(timeout=60)
        except subprocess.TimeoutExpired as error:
            raise CollectorError(f"{self.command[0]} does not stop") from error

    def kill(self):
        self.process.kill()
        self.process.wait()

    def hang(self):
        self.process.send_signal(signal.SIGSTOP)

    def is_running(self):
        return self.process is not None and self.process.poll() is None

    def end(self):
        if self.is_running():
            self.process.kill()
            self.process.wait()


def find(root, pattern):
    found = sorted(pathlib.Path(root).glob(pattern))
    if not found:
        raise CollectorError(f"no {pattern} below {root}")
    return found[0]


class Setup:
    """An edge and a central collector of one kind, at work in one folder."""

    name = ""
    def __init__(self, programs, configurations, work, edge_changes):
        self.root = pathlib.Path(programs, self.name).resolve()
        self.configurations = pathlib.Path(configurations, self.name)
        self.work = pathlib.Path(work)
        self.logs = self.work / "service-log"
        self.collected = self.work / "collected"
        self.edge_changes = edge_changes
        self.port = free_port()
        for folder in (self.logs, self.collected, self.work / "edge", self.work / "central"):
            folder.mkdir(parents=True)
        self.edge = self.daemon("edge")
        self.central = self.daemon("central")

    def daemon(self, role):
        raise NotImplementedError

    def configuration(self, role):
        """Copies a configuration, with the test's directories, port and pattern."""
        text = (self.configurations / f"{role}.conf").read_text()
        changes = {
            "edge": {"/var/log/myservice": str(self.logs), "logs.example.net": "127.0.0.1"},
            "central": {"/var/log/collected": str(self.collected)},
        }[role] | {"6514": str(self.port)}
        if role == "edge":
            changes |= self.edge_changes
        for old, new in changes.items():
            if old not in text:
                raise CollectorError(f"{self.name}/{role}.conf does not say {old}")
            text = text.replace(old, new)
        path = self.work / f"{role}.conf"
        path.write_text(text)
        return path

    def start(self):
        self.start_central()
        self.edge.start()

    def start_central(self):
        self.central.start()
        wait_until(lambda: is_listening(self.port) or not self.central.is_running(),
                   f"{self.name} listens")
        if not self.central.is_running():
            raise CollectorError(f"{self.name} ended: {self.output('central')}")

    def output(self, role):
        return (self.work / f"{role}.out").read_text(errors="replace")[-2000:]

    def collected_files(self):
        return sorted(self.collected.rglob("*.log"))

    def end(self):
        for daemon in (self.edge, self.central):
            daemon.end()


class Rsyslog(Setup):
    name = "rsyslog"

    def daemon(self, role):
        # As in Debian's rsyslog.conf: a work directory, an input, then this.
        main = self.work / f"{role}-main.conf"
        main.write_text(f'module(load="imuxsock" SysSock.Use="off")\n'
                        f'$WorkDirectory {self.work / role}\n'
                        f'$IncludeConfig {self.configuration(role)}\n')
        return Daemon([str(self.root / "usr/sbin/rsyslogd"), "-n", "-M",
                       str(find(self.root, "usr/lib/*/rsyslog")), "-f", str(main),
                       "-i", str(self.work / f"{role}.pid")],
                      dict(os.environ), self.work / f"{role}.out")


class SyslogNg(Setup):
    name = "syslog-ng"

    def daemon(self, role):
        main = self.work / f"{role}-main.conf"
        main.write_text(f'@version: 3.38\n@include "{self.configuration(role)}"\n')
        own = self.work / role
        libraries = self.root / "usr/lib/syslog-ng"
        return Daemon([str(self.root / "usr/sbin/syslog-ng"), "--foreground", "--no-caps",
                       "--module-path", str(find(libraries, "[0-9]*")), "--cfgfile", str(main),
                       "--persist-file", str(own / "persist"), "--pidfile", str(own / "pid"),
                       "--control", str(own / "control")],
                      dict(os.environ, LD_LIBRARY_PATH=str(libraries)), self.work / f"{role}.out")


KINDS = {kind.name: kind for kind in (Rsyslog, SyslogNg)}
