"""What the tests of zinpipe share: a scratch directory, and runs of the tool."""

import os
import re
import subprocess
import tempfile
import time
import unittest

ZINPIPE = os.environ["ZINPIPE"]

# Only a hang takes so long.
HANG_SECONDS = 60

LONGEST_RAW_LINE = 8189
CUT, RESUME = b"[zinpipe+]", b"[+zinpipe]"


def joined(text):
    """Puts cut lines together again, as the manual says."""
    return text.replace(CUT + b"\n" + RESUME, b"")


def numbered_lines(count, width=60):
    return b"".join(b"%08d %s\n" % (i, b"x" * (width - 9)) for i in range(count))


def counts(error_text):
    """The numbers of the last message: handed over, found, missing."""
    found = re.search(r"zinpipe: (\d+) lines? for '.*': (\d+) found in the files, (\d+) missing",
                      error_text)
    assert found, error_text
    return tuple(int(number) for number in found.groups())


def need_proc():
    if not os.path.exists("/proc/self"):
        raise unittest.SkipTest("no /proc is mounted here")


def unprivileged(command):
    if os.geteuid() != 0:
        return command
    other_user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
    trial = subprocess.run(other_user + ["true"], capture_output=True, check=False)
    if trial.returncode != 0:
        raise unittest.SkipTest("no right to become another user: " + trial.stderr.decode())
    return other_user + command


def wait_until(condition):
    deadline = time.monotonic() + HANG_SECONDS
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.01)
    return True


def threads_of(process):
    names = []
    for thread in os.listdir("/proc/%d/task" % process.pid):
        with open("/proc/%d/task/%s/comm" % (process.pid, thread), encoding="ascii") as comm:
            names.append(comm.read().strip())
    return names


def content_if_there(path):
    """Of a file that the tool may remove or rename after it was listed."""
    try:
        with open(path, "rb") as stream:
            return stream.read()
    except FileNotFoundError:
        return b""


class ZinpipeTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="zinpipe-log-")
        self.addCleanup(scratch.cleanup)
        self.scratch = scratch.name
        self.dir = os.path.join(self.scratch, "out")

    def path(self, *names):
        return os.path.join(self.scratch, *names)

    def command(self, *arguments, name="app.log"):
        return [ZINPIPE, "--dir", self.dir, "--name", name, *arguments]

    def run_pipe(self, text, *arguments, expected=0, **options):
        """Runs the tool on `text`; returns its messages."""
        result = subprocess.run(self.command(*arguments), input=text, capture_output=True,
                                timeout=HANG_SECONDS, **options)
        self.output = result.stdout
        error = result.stderr.decode()
        self.assertEqual(result.returncode, expected, error)
        return error

    def start(self, *arguments, **options):
        options.setdefault("stdin", subprocess.PIPE)
        process = subprocess.Popen(self.command(*arguments), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **options)

        def clean_up():
            process.kill()
            process.wait()
            for stream in (process.stdin, process.stdout, process.stderr):
                if stream:
                    stream.close()

        self.addCleanup(clean_up)
        return process

    def await_running(self, process):
        """Until the run is past everything that it may be refused for."""
        self.assertTrue(wait_until(
            lambda: {"zin-met-worker", "zin-log-worker"} & set(threads_of(process))))

    def end(self, process, expected=0):
        """Waits for the end of a started run; returns its messages."""
        error = process.stderr.read().decode()
        self.assertEqual(process.wait(HANG_SECONDS), expected, error)
        return error

    def files(self, directory=None):
        """The log files, the oldest first; the one being written is the last."""
        directory = directory or self.dir
        names = sorted(n for n in os.listdir(directory) if n.startswith("app") and n != "app.log")
        if os.path.exists(os.path.join(directory, "app.log")):
            names.append("app.log")
        return [os.path.join(directory, name) for name in names]

    def written(self, directory=None):
        return b"".join(content_if_there(file) for file in self.files(directory))

    def write(self, name, text, mode="wb"):
        with open(self.path(name), mode) as stream:
            stream.write(text)
        return self.path(name)

    def assert_one_line(self, error):
        self.assertRegex(error, r"\Azinpipe: [^\n]+\n\Z")
