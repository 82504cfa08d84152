"""What somebody else does to the files while they are written, and what the
closing count says then."""

import os
import re
import signal
import subprocess
import unittest

from zinpipe_support import (HANG_SECONDS, ZinpipeTest, counts, numbered_lines, unprivileged,
                             wait_until)


class Files(ZinpipeTest):
    def run_disturbed(self, before, disturb, after, *arguments, awaited=None):
        """Feeds `before`, calls `disturb` once it is in the files and was found
        there, feeds `after` and ends. Returns the messages; the exit status is 1,
        because lines are lost."""
        self.live = os.path.join(self.dir, "app.log")
        process = self.start(*arguments)
        process.stdin.write(before)
        process.stdin.flush()
        self.await_counts(process, before.count(b"\n"))
        disturb()
        if awaited:
            # Said when it happens, not at the end.
            self.assertRegex(process.stderr.readline().decode(), awaited)
        process.stdin.write(after)
        process.stdin.close()
        return self.end(process, expected=1)

    def await_counts(self, process, lines):
        self.await_running(process)

        def all_found():
            process.send_signal(signal.SIGUSR1)
            return counts(process.stderr.readline().decode()) == (lines, lines, 0)
        self.assertTrue(wait_until(all_found))

    def empty(self):
        os.truncate(self.live, 0)

    def test_a_file_that_is_emptied_is_told_at_once_and_missing(self):
        error = self.run_disturbed(numbered_lines(50000), self.empty, b"after\n" * 10,
                                   awaited=r"app.log' was emptied: 50000 lines lost\n")
        self.assert_one_line(error)
        self.assertEqual(counts(error), (50010, 10, 50000))
        # No hole stands before them.
        self.assertEqual(self.written(), b"after\n" * 10)

    def test_a_file_that_is_emptied_and_written_to_at_once_is_missing(self):
        error = self.run_disturbed(numbered_lines(50000), self.empty, b"after\n" * 10)
        self.assertIn("was emptied: 50000 lines lost", error)
        self.assertEqual(counts(error), (50010, 10, 50000))
        self.assertEqual(self.written().replace(b"\0", b""), b"after\n" * 10)

    def test_a_file_that_grew_beyond_its_old_size_after_it_was_emptied(self):
        # Bytes for bytes where the old ones stood, by a program that appends.
        def rewrite():
            self.empty()
            with open(self.live, "ab") as stream:
                stream.write(b"foreign\n" * 100)

        error = self.run_disturbed(numbered_lines(10), rewrite, b"after\n")
        self.assertIn("was emptied: 10 lines lost", error)

    def test_a_file_that_is_cut_keeps_its_first_lines(self):
        error = self.run_disturbed(numbered_lines(1000), lambda: os.truncate(self.live, 61 * 400),
                                   b"after\n", awaited="was emptied: 600 lines lost")
        self.assertEqual(counts(error), (1001, 401, 600))
        self.assertEqual(self.written(), numbered_lines(400) + b"after\n")

    def test_stamped_lines_of_a_file_that_is_emptied_are_missing(self):
        self.dir = self.path("logs")
        error = self.run_disturbed(b"before\n" * 20, self.empty, b"after\n" * 3, "--stamp")
        self.assertEqual(counts(error), (23, 3, 20))

    def test_a_file_that_is_removed_is_told_at_once_and_missing(self):
        error = self.run_disturbed(
            numbered_lines(500), lambda: os.remove(self.live), b"after\n",
            awaited="app.log' was removed, and not by a limit of this run: 500 lines lost")
        self.assertEqual(counts(error), (501, 1, 500))
        # What comes then goes into a new file.
        self.assertEqual(self.written(), b"after\n")

    def test_a_finished_file_that_is_removed_is_missing(self):
        def remove():
            self.removed = 0
            for file in self.files()[:-1]:
                with open(file, "rb") as stream:
                    self.removed += stream.read().count(b"\n")
                os.remove(file)

        error = self.run_disturbed(numbered_lines(60000), remove, b"after\n", "--size", "1M")
        self.assertGreater(self.removed, 0)
        self.assertEqual(counts(error), (60001, 60001 - self.removed, self.removed))
        self.assertEqual(self.written().count(b"\n"), 60001 - self.removed)

    def test_a_finished_file_that_is_emptied_is_missing(self):
        def empty():
            file = self.files()[0]
            with open(file, "rb") as stream:
                self.removed = stream.read().count(b"\n")
            os.truncate(file, 0)

        error = self.run_disturbed(numbered_lines(60000), empty, b"after\n", "--size", "1M")
        self.assertEqual(counts(error), (60001, 60001 - self.removed, self.removed))

    def test_a_file_that_is_moved_away_is_not_missing(self):
        process = self.start()
        process.stdin.write(b"first\n")
        process.stdin.flush()
        self.await_counts(process, 1)
        os.rename(os.path.join(self.dir, "app.log"), self.path("moved"))
        self.write("out/app.log", b"of somebody else\n")
        process.stdin.write(b"second\n")
        process.stdin.close()
        self.assertEqual(counts(self.end(process)), (2, 2, 0))
        with open(self.path("moved"), "rb") as stream:
            self.assertEqual(stream.read(), b"first\n")
        # The other file was moved aside, and a new one begun.
        self.assertEqual(self.written(), b"of somebody else\nsecond\n")

    def test_a_directory_that_may_not_be_written_for_a_while(self):
        os.mkdir(self.dir)
        os.chmod(self.dir, 0o777)
        os.chmod(self.scratch, 0o755)
        process = subprocess.Popen(
            unprivileged(self.command("--size", "1M", "--keep", "1000")), stdin=subprocess.PIPE,
            stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        process.stdin.write(numbered_lines(30000))
        process.stdin.flush()
        self.await_counts(process, 30000)
        # So many that more than one file gets full meanwhile.
        os.chmod(self.dir, 0o555)
        process.stdin.write(numbered_lines(300000))
        process.stdin.flush()
        os.chmod(self.dir, 0o777)
        process.stdin.write(numbered_lines(60000))
        process.stdin.close()
        error = self.end(process, expected=1)
        left = self.written().count(b"\n")
        self.assertLess(left, 390000)
        self.assertEqual(counts(error), (390000, left, 390000 - left))
        self.assertIn("finished files cannot be renamed: Permission denied", error)

    def test_what_the_limits_removed_is_removed_and_the_rest_is_missing(self):
        def remove():
            with open(self.files()[0], "rb") as stream:
                self.removed = stream.read().count(b"\n")
            os.remove(self.files()[0])

        error = self.run_disturbed(numbered_lines(120000), remove, b"after\n", "--size", "1M",
                                   "--keep", "2")
        left = self.written().count(b"\n")
        self.assertEqual(counts(error), (120001, 120001 - self.removed, self.removed))
        self.assertIn("; %d removed since with their files" % (120001 - self.removed - left), error)

    def test_a_file_that_cannot_be_begun_names_the_reason(self):
        os.mkdir(self.dir)
        os.chmod(self.dir, 0o777)
        os.chmod(self.scratch, 0o755)
        process = subprocess.Popen(unprivileged(self.command()), stdin=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        self.await_counts(process, 0)
        os.chmod(self.dir, 0o555)
        process.stdin.write(b"lost\n" * 7)
        process.stdin.flush()
        self.assertRegex(process.stderr.readline().decode(),
                         "cannot write to '.*': Permission denied; lines get lost")
        os.chmod(self.dir, 0o777)
        process.stdin.write(b"found\n" * 5)
        process.stdin.flush()
        self.assertRegex(process.stderr.readline().decode(),
                         r"are written to '.*' again, after 7 lines lost in \d+\.\d s\n")
        process.stdin.close()
        self.assertEqual(counts(self.end(process, expected=1)), (12, 5, 7))


if __name__ == "__main__":
    unittest.main()
