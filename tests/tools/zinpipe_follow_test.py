"""Files that grow, and the display of progress."""

import os
import pty
import re
import select
import signal
import subprocess
import time
import unittest

from zinpipe_support import HANG_SECONDS, ZinpipeTest, counts, numbered_lines, wait_until


class Follow(ZinpipeTest):
    def follow(self, *arguments):
        return self.start("--follow", *arguments, stdin=subprocess.DEVNULL)

    def await_text(self, text):
        self.assertTrue(
            wait_until(lambda: os.path.exists(self.dir) and self.written() == text),
            self.written())

    def stop(self, process):
        process.send_signal(signal.SIGTERM)
        return self.end(process)

    def test_lines_that_are_added_later(self):
        file = self.write("a.txt", b"one\n")
        process = self.follow(file)
        self.await_text(b"one\n")
        self.write("a.txt", b"two\nth", "ab")
        self.await_text(b"one\ntwo\n")  # a line waits for its end
        self.write("a.txt", b"ree\n", "ab")
        self.await_text(b"one\ntwo\nthree\n")
        self.assertEqual(counts(self.stop(process)), (3, 3, 0))

    def test_lines_of_several_files_do_not_mix(self):
        names = ["a.txt", "b.txt", "c.txt"]
        files = [self.write(name, b"") for name in names]
        process = self.follow(*files)
        expected = []
        for i in range(300):
            for name in names:
                line = b"%s %d" % (name.encode(), i)
                expected.append(line)
                half = len(line) // 2
                self.write(name, line[:half], "ab")
                self.write(name, line[half:] + b"\n", "ab")
        self.assertTrue(wait_until(
            lambda: os.path.exists(self.dir) and self.written().count(b"\n") == len(expected)))
        lines = self.written().splitlines()
        self.assertEqual(sorted(lines), sorted(expected))
        for name in names:  # in order, each by itself
            self.assertEqual([l for l in lines if l.startswith(name.encode())],
                             [l for l in expected if l.startswith(name.encode())])
        self.assertEqual(counts(self.stop(process)), (900, 900, 0))

    def test_a_file_that_is_replaced(self):
        file = self.write("a.txt", b"old\n")
        process = self.follow(file)
        self.await_text(b"old\n")
        self.write("a.txt", b"unfinished", "ab")
        os.rename(file, file + ".1")
        self.write("a.txt", b"new\n")
        self.await_text(b"old\nunfinished\nnew\n")
        self.assertEqual(counts(self.stop(process)), (3, 3, 0))

    def test_a_file_that_is_emptied(self):
        file = self.write("a.txt", b"a long first line\n")
        process = self.follow(file)
        self.await_text(b"a long first line\n")
        self.write("a.txt", b"new\n")
        self.await_text(b"a long first line\nnew\n")
        self.assertIn("became shorter", self.stop(process))

    def test_the_rest_of_a_file_that_is_emptied_is_a_line_of_its_own(self):
        file = self.write("a.txt", b"one\nthe rest")
        process = self.follow(file)
        self.await_text(b"one\n")
        self.write("a.txt", b"new\n")
        self.await_text(b"one\nthe rest\nnew\n")
        self.assertEqual(counts(self.stop(process)), (3, 3, 0))

    def test_lines_are_numbered_anew_in_a_file_that_was_emptied_or_replaced(self):
        self.dir = self.path("logs")
        file = self.write("a.txt", b"1\n2\n")
        process = self.follow("--stamp", file)
        self.await_stamped([b"1: 1", b"2: 2"])
        self.write("a.txt", b"3\n")
        self.await_stamped([b"1: 1", b"2: 2", b"1: 3"])
        os.rename(file, file + ".1")
        self.write("a.txt", b"4\n")
        self.await_stamped([b"1: 1", b"2: 2", b"1: 3", b"1: 4"])
        self.assertEqual(counts(self.stop(process)), (4, 4, 0))

    def await_stamped(self, expected):
        """Numbers and texts of the stamped lines."""
        def seen():
            found = re.findall(rb"\[a.txt:(\d+)\] \[zinpipe\](: .*)\n", self.written())
            return [number + text for number, text in found]
        self.assertTrue(wait_until(lambda: os.path.exists(self.dir) and seen() == expected))

    def test_a_file_that_is_not_there_yet_is_waited_for(self):
        there = self.write("there", b"one\n")
        process = self.follow("--retry", self.path("missing"), there)
        self.assertRegex(process.stderr.readline().decode(),
                         r"\Azinpipe: '.*/missing' is not there yet; waiting for it\n\Z")
        self.await_text(b"one\n")
        self.write("missing", b"two\n")
        self.await_text(b"one\ntwo\n")
        error = self.stop(process)
        self.assert_one_line(error)
        self.assertEqual(counts(error), (2, 2, 0))

    def test_a_file_that_never_comes_does_not_keep_it_from_stopping(self):
        process = self.follow("--retry", self.path("missing"))
        process.stderr.readline()
        self.await_running(process)
        self.assertEqual(counts(self.stop(process)), (0, 0, 0))

    def test_a_stop_signal_takes_what_is_there(self):
        file = self.write("a.txt", b"one\n")
        process = self.follow(file)
        self.await_text(b"one\n")
        self.write("a.txt", b"two\nlast", "ab")
        self.assertEqual(counts(self.stop(process)), (3, 3, 0))
        self.assertEqual(self.written(), b"one\ntwo\nlast\n")


class Display(ZinpipeTest):
    def run_on_a_terminal(self, arguments, stdin):
        """Runs the tool with a terminal as standard error; returns what it shows."""
        try:
            ours, theirs = pty.openpty()
        except OSError as error:
            self.skipTest("no terminal is to be had: " + str(error))
        process = subprocess.Popen(self.command(*arguments), stdin=stdin, stderr=theirs)
        os.close(theirs)
        shown = b""
        deadline = time.monotonic() + HANG_SECONDS
        while time.monotonic() < deadline:
            if select.select([ours], [], [], 0.1)[0]:
                try:
                    shown += os.read(ours, 65536)
                except OSError:  # the other end is closed
                    break
        self.assertEqual(process.wait(HANG_SECONDS), 0, shown)
        os.close(ours)
        return shown

    def test_progress_on_a_terminal(self):
        file = self.write("input", numbered_lines(50000))
        shown = self.run_on_a_terminal([file], subprocess.DEVNULL)
        self.assertRegex(shown, rb"\r\x1b\[Kzinpipe: +\d+ %  \d\.\d of 2\.9 MiB")
        self.assertIn(b"zinpipe: 100 %  2.9 of 2.9 MiB", shown)
        # The last message stands alone.
        self.assertRegex(shown, rb"\r\x1b\[Kzinpipe: 50000 lines for [^\r]*\r\n\Z")

    def test_progress_counts_all_files(self):
        files = [self.write(name, numbered_lines(25000)) for name in ("a", "b")]
        shown = self.run_on_a_terminal(files, subprocess.DEVNULL)
        self.assertIn(b"zinpipe: 100 %  2.9 of 2.9 MiB", shown)

    def test_progress_of_a_redirected_file(self):
        with open(self.write("input", numbered_lines(50000)), "rb") as stream:
            self.assertIn(b"100 %", self.run_on_a_terminal([], stream))

    def test_none_when_the_size_is_not_known(self):
        reading, writing = os.pipe()
        os.write(writing, b"line\n")
        os.close(writing)
        shown = self.run_on_a_terminal([], reading)
        os.close(reading)
        self.assertNotIn(b"%", shown)

    def test_none_without_a_terminal(self):
        file = self.write("input", numbered_lines(50000))
        self.assert_one_line(self.run_pipe(b"", file))


if __name__ == "__main__":
    unittest.main()
