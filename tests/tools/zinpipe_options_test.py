"""The command line, and what is refused before anything is written."""

import os
import re
import subprocess
import unittest

from zinpipe_support import (HANG_SECONDS, ZINPIPE, ZinpipeTest, counts, need_proc, unprivileged,
                             wait_until)


class Refused(ZinpipeTest):
    def assert_refused(self, arguments, reason, expected=2, command=None, **options):
        options.setdefault("stdin", subprocess.DEVNULL)
        result = subprocess.run((command or [ZINPIPE]) + arguments, capture_output=True,
                                timeout=HANG_SECONDS, **options)
        error = result.stderr.decode()
        self.assertEqual(result.returncode, expected, error)
        self.assert_one_line(error)
        self.assertIn(reason, error)
        self.assertEqual(result.stdout, b"")

    def test_wrong_arguments(self):
        here = ["--dir", self.dir, "--name", "app.log"]
        for arguments, reason in [
            ([], "--dir is missing"),
            (["--dir", self.dir], "--name is missing"),
            (["--dir", self.dir, "--name"], "--name needs a value"),
            (["--dir", self.dir, "--name", "app.txt"], "--name takes"),
            (["--dir", self.dir, "--name", "a.log.log"], "--name takes"),
            (["--dir", self.dir, "--name", ".log"], "--name takes"),
            (["--dir", self.dir, "--name", "../app.log"], "--name takes"),
            (here + ["--colour"], "unknown or misused option '--colour'"),
            (here + ["--stamp=yes"], "unknown or misused option"),
            (here + ["--size", "0"], "--size takes whole MiB"),
            (here + ["--size", "1000000"], "--size takes whole MiB"),
            (here + ["--size", "4096M"], "--size takes whole MiB"),
            (here + ["--size", "1T"], "--size takes whole MiB"),
            (here + ["--size", "99999999999999999999"], "--size takes whole MiB"),
            (here + ["--size", "18446744073709551615G"], "--size takes whole MiB"),
            (here + ["--keep", "-1"], "--keep takes a number from 0"),
            (here + ["--keep", "many"], "--keep takes a number"),
            (here + ["--max-files", "0"], "--max-files takes a number from 1"),
            (here + ["--max-bytes", "1K"], "--max-bytes takes whole MiB"),
            (here + ["--queue", "0"], "--queue takes a number from 1"),
            (here + ["--queue", ""], "--queue takes a number from 1"),
            (here + ["--subdir", "a/b"], "--subdir takes the bare name"),
            (here + ["--subdir", ".."], "--subdir takes the bare name"),
            (here + ["--level", "INFO"], "--level needs --stamp"),
            (here + ["--tag", "web"], "--tag needs --stamp"),
            (here + ["--stamp", "--level", "info"], "--level takes FATAL"),
            (here + ["--stamp", "--tag", "x" * 201], "--tag takes at most"),
            (here + ["--follow"], "--follow needs a FILE"),
            (["--dir", "/var/data", "--name", "app.log", "--stamp"], "must hold 'log'"),
        ]:
            with self.subTest(arguments=arguments):
                self.assert_refused(arguments, reason)
        self.assertFalse(os.path.exists(self.dir))

    def test_an_input_that_cannot_be_read(self):
        good = self.write("good", b"line\n")
        secret = self.write("secret", b"line\n")
        os.chmod(secret, 0)
        os.chmod(self.scratch, 0o777)
        here = ["--dir", self.dir, "--name", "app.log"]
        for file, reason in [
            (self.path("missing"), "missing': No such file or directory"),
            (self.scratch, "is not a regular file"),
            ("/dev/null", "'/dev/null' is not a regular file"),
            (secret, "secret': Permission denied"),
        ]:
            for follow in ([], ["--follow"]):
                with self.subTest(file=file, follow=follow):
                    command = unprivileged([ZINPIPE]) if file == secret else [ZINPIPE]
                    self.assert_refused(here + follow + [good, file], reason, expected=1,
                                        command=command)
        self.assertFalse(os.path.exists(self.dir))

    def test_a_closed_standard_input(self):
        here = ["--dir", self.dir, "--name", "app.log"]
        self.assert_refused(["-c", 'exec "$0" "$@" <&-', ZINPIPE] + here,
                            "standard input is closed", expected=1, command=["sh"])

    def test_a_directory_that_cannot_be_written(self):
        os.mkdir(self.dir, 0o555)
        os.chmod(self.scratch, 0o755)
        blocked = self.write("file", b"")
        for directory, reason in [
            (self.dir, "cannot write to the directory '%s': Permission denied" % self.dir),
            (self.path("new"), "cannot create the directory"),
            (os.path.join(blocked, "below"), "Not a directory"),
            (blocked, "Not a directory"),
        ]:
            with self.subTest(directory=directory):
                self.assert_refused(["--dir", directory, "--name", "app.log"], reason, expected=1,
                                    command=unprivileged([ZINPIPE]))

    def test_an_output_that_is_no_file(self):
        os.makedirs(os.path.join(self.dir, "app.log"))
        self.assert_refused(["--dir", self.dir, "--name", "app.log"], "is not a regular file", 1)

    def test_an_output_that_would_be_emptied(self):
        os.mkdir(self.dir)
        os.chmod(self.dir, 0o777)
        os.chmod(self.scratch, 0o755)
        leftover = self.write("out/app.log", b"earlier\n")
        os.chmod(leftover, 0o200)
        self.assert_refused(["--dir", self.dir, "--name", "app.log"],
                            "cannot read what an earlier run left", expected=1,
                            command=unprivileged([ZINPIPE]))
        self.assertEqual(self.written(), b"earlier\n")

    def test_output_as_input(self):
        self.run_pipe(b"line\n")
        here = ["--dir", self.dir, "--name", "app.log"]
        self.assert_refused(here + ["--follow", os.path.join(self.dir, "app.log")],
                            "cannot be both input and output", 1)
        self.assertEqual(self.written(), b"line\n")

    def test_a_name_that_another_run_writes(self):
        need_proc()
        process = self.start()
        process.stdin.write(b"line\n")
        process.stdin.flush()
        # The lock comes with the first look at the file, soon after the line.
        self.assertTrue(wait_until(lambda: self.holds_a_lock(process.pid)))
        self.assert_refused(["--dir", self.dir, "--name", "app.log"], "another zinpipe writes to", 1)
        process.stdin.close()
        self.end(process)
        self.assertEqual(self.written(), b"line\n")

    def holds_a_lock(self, process):
        with open("/proc/locks", encoding="ascii") as locks:
            return any(re.match(r"\d+: FLOCK +ADVISORY +WRITE %d " % process, lock) for lock in locks)


class Accepted(ZinpipeTest):
    def test_help_and_version(self):
        for option, shown in [("--help", b"--follow"), ("--version", b"zinpipe 1.")]:
            result = subprocess.run([ZINPIPE, option], stdin=subprocess.DEVNULL,
                                    capture_output=True, timeout=HANG_SECONDS)
            self.assertEqual(result.returncode, 0)
            self.assertIn(shown, result.stdout)
            self.assertEqual(result.stderr, b"")

    def test_units_of_size(self):
        text = b"".join(b"%01023d\n" % i for i in range(2500))
        for size in ("2097152", "2048K", "2M"):
            with self.subTest(size=size):
                self.dir = self.path(size)
                self.run_pipe(text, "--size", size)
                self.assertEqual(len(self.files()), 2)
                self.assertGreater(os.path.getsize(self.files()[0]), 2 << 20)

    def old_files(self, count, size):
        os.mkdir(self.dir)
        for i in range(count):
            path = self.write("out/old%d.log" % i, b"x" * size)
            os.utime(path, (1000 + i, 1000 + i))

    def test_most_files_of_the_directory(self):
        self.old_files(8, 10)
        process = self.start("--max-files", "4")
        # Above the limit, the oldest go until one file fewer than that is left.
        self.assertTrue(wait_until(lambda: len(os.listdir(self.dir)) <= 3))
        process.stdin.close()
        self.end(process)
        self.assertEqual(sorted(os.listdir(self.dir)), ["old5.log", "old6.log", "old7.log"])

    def test_most_bytes_of_the_directory(self):
        self.old_files(6, 1 << 20)
        process = self.start("--max-bytes", "3M")
        self.assertTrue(wait_until(lambda: len(os.listdir(self.dir)) <= 2))
        process.stdin.close()
        self.end(process)
        self.assertEqual(sorted(os.listdir(self.dir)), ["old4.log", "old5.log"])

    def test_the_limits_hold_for_stamped_lines_too(self):
        self.dir = self.path("logs")
        os.mkdir(self.dir)
        for i in range(8):
            os.utime(self.write("logs/old%d.log" % i, b"x"), (1000 + i, 1000 + i))
        process = self.start("--stamp", "--max-files", "4")
        self.assertTrue(wait_until(lambda: len(os.listdir(self.dir)) <= 3))
        process.stdin.write(b"line\n")
        process.stdin.close()
        self.assertEqual(counts(self.end(process)), (1, 1, 0))


if __name__ == "__main__":
    unittest.main()
