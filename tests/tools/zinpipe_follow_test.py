"""Files that grow, and the display of progress."""

import os
import pty
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
