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
            (here + ["--keep", "1000001"], "--keep takes a number from 0 to 1000000"),
            (here + ["--queue", "0"], "--queue takes a number from 1"),
            (here + ["--drain", "-1"], "--drain takes a number from 0"),
            (here + ["--drain", "5s"], "--drain takes a number from 0"),
            (here + ["--queue", ""], "--queue takes a number from 1"),
            (here + ["--subdir", "a/b"], "--subdir takes the bare name"),
            (here + ["--subdir", ".."], "--subdir takes the bare name"),
            (here + ["--level", "INFO"], "--level needs --stamp"),
            (here + ["--tag", "web"], "--tag needs --stamp"),
            (here + ["--stamp", "--level", "info"], "--level takes FATAL"),
            (here + ["--stamp", "--tag", "x" * 201], "--tag takes at most"),
            (here + ["--stamp", "--tag", "two\nlines"], "--tag takes at most"),
            (here + ["--follow"], "--follow needs a FILE"),
            (here + ["--retry", "file"], "--retry needs --follow"),
            # With the time of a finished file it would have 256 bytes.
            (["--dir", self.dir, "--name", "x" * 222 + ".log"], "--name takes at most 225 bytes"),
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
        # Nor may a later one of several.
        other = self.write("other", b"other\n")
        self.assert_refused(here + [other, os.path.join(self.dir, "app.log")],
                            "cannot be both input and output", 1)
        self.assertEqual(self.written(), b"line\n")

    def test_output_as_input_that_is_waited_for(self):
        self.assert_refused(["--dir", "out", "--name", "app.log", "--follow", "--retry",
                             os.path.join(self.dir, "app.log")],
                            "cannot be both input and output", 1, cwd=self.scratch)

    def test_an_echo_to_a_closed_standard_output(self):
        self.assert_refused(["-c", 'exec "$0" "$@" >&-', ZINPIPE, "--dir", self.dir, "--name",
                             "app.log", "--echo"], "standard output is closed", expected=1,
                            command=["sh"])
        self.assertFalse(os.path.exists(self.dir))

    def test_a_help_that_cannot_be_written(self):
        for option in ("--help", "-h", "--version"):
            for redirection, reason in ((">/dev/full", "No space left on device"),
                                        (">&-", "standard output is closed")):
                with self.subTest(option=option, redirection=redirection):
                    self.assert_refused(["-c", '"$0" "$1" ' + redirection, ZINPIPE, option],
                                        reason, expected=1, command=["sh"])

    def test_too_few_descriptors(self):
        self.assert_refused(["-c", 'ulimit -n 6; exec "$0" "$@"', ZINPIPE, "--dir", self.dir,
                             "--name", "app.log"], "Too many open files (ulimit -n)", expected=1,
                            command=["sh"])

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

    def test_a_name_that_another_run_is_to_write(self):
        process = self.start()
        self.await_running(process)
        here = ["--dir", os.path.join(self.dir, "..", "out")]
        self.assert_refused(here + ["--name", "app.log"], "another zinpipe writes to", 1)
        # Another name is another matter.
        other = subprocess.run([ZINPIPE] + here + ["--name", "application.log"], input=b"other\n",
                               capture_output=True, timeout=HANG_SECONDS)
        self.assertEqual(other.returncode, 0, other.stderr)
        process.stdin.close()
        self.end(process)
        # Nothing is left of the lock.
        self.assertEqual(os.listdir(self.dir), ["application.log"])
        self.run_pipe(b"line\n")

    def holds_a_lock(self, process):
        with open("/proc/locks", encoding="ascii") as locks:
            return any(re.match(r"\d+: FLOCK +ADVISORY +WRITE %d " % process, lock) for lock in locks)


class Accepted(ZinpipeTest):
    def test_help_and_version(self):
        for option, shown in [("--help", b"--follow"), ("-h", b"--follow"),
                              ("--version", b"zinpipe 1.")]:
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

    def test_a_gibibyte_is_not_a_mebibyte(self):
        self.run_pipe(b"".join(b"%01023d\n" % i for i in range(2500)), "--size", "1G")
        self.assertEqual(len(self.files()), 1)

    def test_the_longest_name_can_be_renamed(self):
        name = "x" * 221 + ".log"
        for text in (b"first\n", b"second\n"):
            subprocess.run(self.command(name=name), input=text, check=True, capture_output=True,
                           timeout=HANG_SECONDS)
        finished, = set(os.listdir(self.dir)) - {name}
        for file, text in ((finished, b"first\n"), (name, b"second\n")):
            with open(os.path.join(self.dir, file), "rb") as stream:
                self.assertEqual(stream.read(), text)

    def test_log_in_any_letter_case_will_do_for_stamped_lines(self):
        for directory in (["--dir", "LOGS"], ["--dir", "some", "--subdir", "logs"]):
            with self.subTest(directory=directory):
                result = subprocess.run([ZINPIPE, "--name", "app.log", "--stamp"] + directory,
                                        input=b"line\n", capture_output=True, cwd=self.scratch,
                                        timeout=HANG_SECONDS)
                self.assertEqual(result.returncode, 0, result.stderr)
                written = self.written(self.path(*directory[1::2]))
                self.assertIn(b"[zinpipe]: line\n", written)

    def test_directories_are_closed_to_others(self):
        self.dir = self.path("new", "out")
        self.run_pipe(b"line\n", umask=0)
        for directory in (self.path("new"), self.dir):
            self.assertEqual(os.stat(directory).st_mode & 0o7777, 0o750)

    def test_closed_standard_streams_are_not_used_for_files(self):
        # Else a message of the run would end up in one of them.
        file = self.write("input", b"line\n")
        process = subprocess.Popen(
            ["sh", "-c", 'exec "$0" "$@" <&- >&- 2>&-'] + self.command("--follow", file))
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.assertTrue(wait_until(lambda: os.path.exists(self.dir) and self.written()))
        for number in range(3):
            self.assertEqual(os.readlink("/proc/%d/fd/%d" % (process.pid, number)), "/dev/null")
        process.terminate()
        self.assertEqual(process.wait(HANG_SECONDS), 0)
        self.assertEqual(self.written(), b"line\n")

    def test_without_limits_a_directory_may_hold_any_number_of_files(self):
        self.old_files(1001, 1)
        process = self.start()
        self.assertTrue(wait_until(lambda: self.sleeps(process, "zin-met-keeper")))
        process.stdin.close()
        self.end(process)
        self.assertEqual(len(os.listdir(self.dir)), 1001)

    def sleeps(self, process, name):
        """Whether the thread has done its work and waits for the next minute."""
        tasks = "/proc/%d/task/" % process.pid
        for thread in os.listdir(tasks):
            with open(tasks + thread + "/stat", encoding="ascii") as stat:
                if re.search(r"\(%s\) S" % name, stat.read()):
                    return True
        return False

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
