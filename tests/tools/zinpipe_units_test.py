"""The units of the operators' page, run as they stand there, but for the paths."""

import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import unittest

from zinpipe_support import (HANG_SECONDS, ZINPIPE, ZinpipeTest, content_if_there, counts,
                             wait_until)

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/OPERATORS.md")

# Counts without end; when told to stop, it has more to say.
SERVICE = """#!%s
import signal, sys, time

def stop(*_):
    for last in (1, 2, 3):
        print("last", last, flush=True)
        time.sleep(0.1)
    sys.exit(0)

signal.signal(signal.SIGTERM, stop)
number = 0
while True:
    signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
    print(number, flush=True)
    number += 1
    signal.pthread_sigmask(signal.SIG_UNBLOCK, [signal.SIGTERM])
    time.sleep(0.01)
""" % sys.executable


def block_below(heading):
    with open(PAGE, encoding="utf-8") as page:
        return re.search(re.escape(heading) + r"\n.*?\n```\w+\n(.*?)```\n", page.read(),
                         re.DOTALL).group(1)


class Units(ZinpipeTest):
    def need(self, program):
        if shutil.which(program) is None:
            self.skipTest("%s is not installed" % program)

    def executable(self, name, text):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        os.chmod(self.write(name, text.encode()), 0o755)
        return self.path(name)

    def unit(self, heading):
        """The text of the page with the paths of this test."""
        service = self.executable("bin/myservice", SERVICE)
        text = block_below(heading)
        for path, ours in (("/usr/bin/zinpipe", ZINPIPE), ("/usr/bin/myservice", service),
                           ("/var/log/myservice", self.dir)):
            text = text.replace(path, ours)
        return text

    def supervise(self, *command):
        supervisor = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.PIPE, start_new_session=True)
        self.addCleanup(supervisor.stderr.close)
        self.addCleanup(supervisor.wait)

        def kill_group():
            try:
                os.killpg(supervisor.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass

        self.addCleanup(kill_group)
        return supervisor

    def written(self, directory=None):
        directory = directory or self.dir
        names = os.listdir(directory) if os.path.exists(directory) else []
        # Finished files by their time, the one being written last.
        names.sort(key=lambda name: (name == "myservice.log", name))
        return b"".join(content_if_there(os.path.join(directory, name)) for name in names)

    def await_lines(self, count):
        self.assertTrue(wait_until(lambda: self.written().count(b"\n") >= count))

    def assert_complete(self):
        lines = self.written().splitlines()
        self.assertEqual(lines[-3:], [b"last 1", b"last 2", b"last 3"])
        self.assertEqual(lines[:-3], [b"%d" % i for i in range(len(lines) - 3)])

    def run_tool(self, *command):
        subprocess.run(command, check=True, capture_output=True, timeout=HANG_SECONDS)

    def test_systemd_takes_the_unit(self):
        self.need("systemd-analyze")
        unit = self.write("myservice.service", self.unit("### Under systemd").encode())
        result = subprocess.run(["systemd-analyze", "verify", "--man=no", unit],
                                capture_output=True, timeout=HANG_SECONDS)
        output = result.stderr.decode()
        self.assertEqual(result.returncode, 0, output)
        self.assertNotIn("myservice.service", output)

    def test_under_systemd_the_last_lines_of_the_service_are_written(self):
        unit = self.unit("### Under systemd")
        command = shlex.split(re.search(r"^ExecStart=(.*)$", unit, re.MULTILINE).group(1))
        group = self.supervise(*command)
        self.await_lines(20)
        # KillMode=control-group: all of the unit's processes at once. The one that
        # was started is the last to end, else the others would get a second one.
        os.killpg(group.pid, signal.SIGTERM)
        error = group.stderr.read().decode()
        self.assertEqual(group.wait(HANG_SECONDS), 0, error)
        lines = self.written().count(b"\n")
        self.assertEqual(counts(error), (lines, lines, 0))
        self.assert_complete()

    def test_under_runit(self):
        for program in ("runsv", "sv"):
            self.need(program)
        self.executable("service/run", "#!/bin/sh\nexec 2>&1\nexec " + self.path("bin/myservice"))
        self.executable("service/log/run", self.unit("### Under runit"))
        service, log = self.path("service"), self.path("service/log")
        supervisor = self.supervise("runsv", service)
        self.await_lines(20)
        self.run_tool("sv", "alarm", log)
        self.assertTrue(wait_until(lambda: len(os.listdir(self.dir)) == 2))
        self.run_tool("sv", "1", log)
        self.assertRegex(supervisor.stderr.readline(), rb"lines for '.*found in the files, 0 missing")
        self.run_tool("sv", "-w", "30", "restart", log)
        before = self.written().count(b"\n")
        self.await_lines(before + 20)
        # Told to leave, it stops the service, and then its logger by the end of
        # the pipe.
        self.run_tool("sv", "-w", "30", "exit", service)
        self.assertEqual(supervisor.wait(HANG_SECONDS), 0)
        self.assert_complete()

    def test_under_s6(self):
        for program in ("s6-svscan", "s6-svscanctl", "s6-svc", "s6-svwait"):
            self.need(program)
        self.executable("scan/myservice/run",
                        "#!/bin/sh\nexec 2>&1\nexec " + self.path("bin/myservice"))
        self.executable("scan/myservice/log/run", self.unit("### Under s6"))
        log = self.path("scan/myservice/log")
        supervisor = self.supervise("s6-svscan", self.path("scan"))
        self.await_lines(20)
        self.run_tool("s6-svc", "-a", log)
        self.assertTrue(wait_until(lambda: len(os.listdir(self.dir)) == 2))
        self.run_tool("s6-svc", "-1", log)
        self.assertRegex(supervisor.stderr.readline(), rb"lines for '.*found in the files, 0 missing")
        self.run_tool("s6-svc", "-wr", "-r", log)
        before = self.written().count(b"\n")
        self.await_lines(before + 20)
        self.run_tool("s6-svscanctl", "-t", self.path("scan"))
        self.assertEqual(supervisor.wait(HANG_SECONDS), 0)
        self.assert_complete()


if __name__ == "__main__":
    unittest.main()
