"""How a run ends: signals, a full disk, files that go away."""

import os
import signal
import subprocess
import time
import unittest

from zinpipe_support import (HANG_SECONDS, ZINPIPE, ZinpipeTest, counts, need_proc,
                             numbered_lines, wait_until)


class Signals(ZinpipeTest):
    def feed(self, process, text):
        process.stdin.write(text)
        process.stdin.flush()

    def test_a_stop_signal_writes_what_was_sent_and_ends(self):
        text = numbered_lines(20000)
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number):
                self.dir = self.path(str(number))
                process = self.start()
                # The last line has no newline yet. The pipe stays open.
                self.feed(process, text + b"cut off")
                process.send_signal(number)
                error = self.end(process)
                self.assertEqual(counts(error), (20001, 20001, 0))
                self.assertEqual(self.written(), text + b"cut off\n")

    def test_a_writer_without_end_cannot_keep_it(self):
        writer = subprocess.Popen(["yes"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(writer.wait)
        self.addCleanup(writer.kill)
        process = self.start("--size", "1M", "--keep", "2", stdin=writer.stdout)
        writer.stdout.close()
        self.assertTrue(wait_until(lambda: os.path.exists(os.path.join(self.dir, "app.log"))))
        process.send_signal(signal.SIGTERM)
        handed_over, found, missing = counts(self.end(process))
        self.assertGreater(handed_over, 0)
        self.assertEqual((found, missing), (handed_over, 0))

    def test_a_hang_up_changes_nothing(self):
        process = self.start()
        self.feed(process, b"before\n")
        self.assertTrue(wait_until(lambda: os.path.exists(os.path.join(self.dir, "app.log"))))
        process.send_signal(signal.SIGHUP)
        self.feed(process, b"after\n")
        self.assertTrue(wait_until(lambda: self.written() == b"before\nafter\n"))
        self.assertIsNone(process.poll())
        process.stdin.close()
        self.end(process)

    def test_a_reader_that_sleeps_cannot_keep_it(self):
        process = self.start("--echo")
        os.set_blocking(process.stdin.fileno(), False)
        # Nobody reads the echo, so both pipes fill up.
        chunk = numbered_lines(1000)
        deadline = time.monotonic() + 1
        while time.monotonic() < deadline:
            try:
                os.write(process.stdin.fileno(), chunk)
            except BlockingIOError:
                pass
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(HANG_SECONDS), 1)
        error = process.stderr.read().decode()
        self.assertIn("nobody reads it", error)
        self.assertEqual(counts(error)[2], 0)

    def test_lines_are_written_while_the_pipe_stays_open(self):
        process = self.start()
        for i in range(20):
            self.feed(process, b"line %d\n" % i)
            self.assertTrue(wait_until(
                lambda: os.path.exists(self.dir) and self.written().endswith(b"line %d\n" % i)))
        process.stdin.close()
        self.assertEqual(counts(self.end(process)), (20, 20, 0))


DISK = """
mount -t tmpfs -o size=2m,mode=755 none "$1" || { echo cannot mount >&2; exit 99; }
mkdir "$1/logs"
"$2" --dir "$1/logs" --name app.log --size 1M --keep 1000 $4 <"$3"
status=$?
cat "$1"/logs/*.log
exit $status
"""

# The disk stands still for two seconds while the tool has lines to write.
FROZEN = """
truncate -s 64M "$1/image" && mkdir "$1/mount" && mkfs.ext4 -q "$1/image" &&
  mount -o loop "$1/image" "$1/mount" || { echo cannot mount >&2; exit 99; }
{
  head -n 1 "$3"
  until [ -s "$1/mount/logs/app.log" ]; do sleep 0.05; done
  fsfreeze -f "$1/mount"
  (sleep 2; fsfreeze -u "$1/mount") >&2 &
  tail -n +2 "$3"
  wait
} | "$2" --dir "$1/mount/logs" --name app.log --size 1M --keep 1000
status=$?
cat "$1"/mount/logs/app_*.log "$1/mount/logs/app.log"
umount "$1/mount"
exit $status
"""


class Disk(ZinpipeTest):
    def run_on_a_small_disk(self, text, *options, script=DISK):
        need_proc()
        os.mkdir(self.dir)
        result = subprocess.run(
            ["unshare", "--mount", "sh", "-c", script, "sh", self.dir, ZINPIPE,
             self.write("input", text), " ".join(options)], capture_output=True,
            timeout=HANG_SECONDS)
        error = result.stderr.decode()
        if result.returncode == 99 or error.startswith("unshare: "):
            self.skipTest("no right to mount a small file system: " + error)
        return result.returncode, result.stdout, error

    def test_a_full_disk_is_told_and_counted(self):
        status, written, error = self.run_on_a_small_disk(numbered_lines(60000))
        self.assertEqual(status, 1)
        self.assertIn("No space left on device; lines get lost", error)
        # The cut one has no newline; all that are counted have.
        whole = written.count(b"\n")
        self.assertGreater(whole, 0)
        self.assertEqual(counts(error), (60000, whole, 60000 - whole))

    def test_a_disk_that_hangs_is_waited_for(self):
        text = numbered_lines(300000)
        status, written, error = self.run_on_a_small_disk(text, script=FROZEN)
        self.assertEqual(status, 0, error)
        self.assert_one_line(error)
        self.assertEqual(counts(error), (300000, 300000, 0))
        self.assertTrue(written == text)  # no wall of text when it is not

    def test_the_same_for_stamped_lines(self):
        status, written, error = self.run_on_a_small_disk(numbered_lines(60000), "--stamp")
        self.assertEqual(status, 1)
        whole = sum(b"] [zinpipe]: " in line for line in written.split(b"\n")[:-1])
        self.assertEqual(counts(error), (60000, whole, 60000 - whole))

    def test_a_limit_of_the_file_size_is_told_and_counted(self):
        text = self.write("input", numbered_lines(10000, width=100))
        result = subprocess.run(
            ["bash", "-c", 'ulimit -f 256; exec "$@" <"$0"', text] + self.command(),
            capture_output=True, timeout=HANG_SECONDS)
        error = result.stderr.decode()
        self.assertEqual(result.returncode, 1, error)
        self.assertIn("lines get lost", error)
        whole = self.written().count(b"\n")
        self.assertEqual(counts(error), (10000, whole, 10000 - whole))

    def test_a_file_that_was_removed_is_not_missing(self):
        process = self.start()
        process.stdin.write(b"first\n")
        process.stdin.flush()
        live = os.path.join(self.dir, "app.log")
        self.assertTrue(wait_until(lambda: os.path.exists(live) and self.written() == b"first\n"))
        time.sleep(0.2)  # the run looks at the file itself soon after
        os.remove(live)
        process.stdin.write(b"second\n")
        process.stdin.close()
        error = self.end(process)
        self.assertEqual(counts(error), (2, 2, 0))
        self.assertIn("; 2 removed since", error)


if __name__ == "__main__":
    unittest.main()
