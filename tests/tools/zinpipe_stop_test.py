"""How a run ends: signals, a full disk, files that go away."""

import os
import signal
import subprocess
import time
import unittest

from zinpipe_support import (HANG_SECONDS, ZINPIPE, ZinpipeTest, content_if_there, counts, need_proc,
                             numbered_lines, wait_until)


class Signals(ZinpipeTest):
    def feed(self, process, text):
        process.stdin.write(text)
        process.stdin.flush()

    def feed_and_await(self, process, text):
        """Feeds lines and waits until they are in the files."""
        self.feed(process, text)
        self.assertTrue(wait_until(
            lambda: os.path.exists(self.dir) and self.written().endswith(text)))

    def contents(self):
        return {name: content_if_there(os.path.join(self.dir, name))
                for name in os.listdir(self.dir)}

    def test_a_stop_signal_writes_what_was_sent_and_ends(self):
        text = numbered_lines(20000)
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number):
                self.dir = self.path(str(number))
                process = self.start("--drain", "0")
                # The last line has no newline yet. The pipe stays open.
                self.feed(process, text + b"cut off")
                process.send_signal(number)
                error = self.end(process)
                self.assertEqual(counts(error), (20001, 20001, 0))
                self.assertEqual(self.written(), text + b"cut off\n")

    def test_the_writer_may_finish_after_a_stop_signal(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number):
                self.dir = self.path(str(number))
                process = self.start("--drain", "1000")
                self.feed_and_await(process, b"before\n")
                process.send_signal(number)
                self.feed_and_await(process, b"after\n")
                self.assertIsNone(process.poll())
                process.stdin.close()
                error = self.end(process)
                self.assert_one_line(error)
                self.assertEqual(counts(error), (2, 2, 0))
                self.assertEqual(self.written(), b"before\nafter\n")

    def test_a_signal_to_the_whole_group_loses_no_last_line(self):
        # As systemd and a terminal send it: the service writes its last lines
        # after its reader has got the same signal.
        service = "trap 'seq 1001 1500; exit' TERM; seq 1000; while :; do sleep 0.01; done"
        pipe = subprocess.Popen(["bash", "-c", 'bash -c "$1" | "${@:2}"', "bash", service] +
                                self.command(), stderr=subprocess.PIPE, start_new_session=True,
                                preexec_fn=lambda: signal.signal(signal.SIGTERM, signal.SIG_DFL))
        self.addCleanup(pipe.stderr.close)
        self.addCleanup(pipe.wait)
        self.addCleanup(lambda: pipe.poll() is None and os.killpg(pipe.pid, signal.SIGKILL))
        self.assertTrue(wait_until(
            lambda: os.path.exists(self.dir) and self.written().endswith(b"\n1000\n")))
        os.killpg(pipe.pid, signal.SIGTERM)
        error = pipe.stderr.read().decode()
        self.assertEqual(counts(error), (1500, 1500, 0))
        self.assertEqual(self.written(), b"".join(b"%d\n" % i for i in range(1, 1501)))

    def test_a_writer_that_goes_on_gets_the_time_of_drain(self):
        process = self.start("--drain", "1")
        self.feed_and_await(process, b"before\n")
        process.send_signal(signal.SIGTERM)
        started = time.monotonic()
        error = self.end(process)
        self.assertGreater(time.monotonic() - started, 0.5)
        self.assertIn("still has the pipe open, 1 second after", error)
        self.assertEqual(counts(error), (1, 1, 0))

    def test_a_second_signal_ends_it_at_once(self):
        process = self.start("--drain", "1000")
        self.feed_and_await(process, b"before\n")
        process.send_signal(signal.SIGTERM)
        self.feed_and_await(process, b"between\n")  # the first one has been taken
        process.send_signal(signal.SIGTERM)
        self.assertEqual(counts(self.end(process)), (2, 2, 0))

    def test_a_signal_that_was_ignored_at_the_start_stays_ignored(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGALRM, signal.SIGUSR1):
            with self.subTest(signal=number):
                self.dir = self.path(str(number))
                process = self.start(preexec_fn=lambda: signal.signal(number, signal.SIG_IGN))
                self.feed_and_await(process, b"before\n")
                process.send_signal(number)
                self.feed_and_await(process, b"after\n")
                process.stdin.close()
                error = self.end(process)
                self.assert_one_line(error)
                self.assertEqual(counts(error), (2, 2, 0))
                self.assertEqual(os.listdir(self.dir), ["app.log"])

    def test_alrm_begins_a_new_file(self):
        process = self.start("--keep", "2")
        for i in range(4):
            self.feed_and_await(process, b"line %d\n" % i)
            process.send_signal(signal.SIGALRM)
            self.assertTrue(wait_until(
                lambda: "app.log" not in self.contents()), self.contents())
        # There is no file that could be finished.
        process.send_signal(signal.SIGALRM)
        self.feed_and_await(process, b"last\n")
        self.assertEqual(sorted(self.contents().values()), [b"last\n", b"line 2\n", b"line 3\n"])
        for name in self.contents():
            self.assertRegex(name, r"\Aapp(_\d{17}-\d{3}-%d)?\.log\Z" % process.pid)
            mode = os.stat(os.path.join(self.dir, name)).st_mode & 0o7777
            self.assertEqual(mode, 0o640)
        process.stdin.close()
        error = self.end(process)
        self.assert_one_line(error)
        self.assertEqual(counts(error), (5, 5, 0))
        self.assertIn("; 2 removed since with their files", error)

    def test_alrm_while_lines_pour_in_loses_none(self):
        text = numbered_lines(200000)
        process = self.start("--size", "1M", "--keep", "1000")
        for begin in range(0, len(text), 600000):
            self.feed(process, text[begin:begin + 600000])
            process.send_signal(signal.SIGALRM)
        process.stdin.close()
        error = self.end(process)
        self.assert_one_line(error)
        self.assertEqual(counts(error), (200000, 200000, 0))
        self.assertTrue(self.written() == text)

    def test_usr1_prints_the_counts(self):
        process = self.start()
        self.feed_and_await(process, b"one\ntwo\n")
        process.send_signal(signal.SIGUSR1)
        error = process.stderr.readline().decode()
        self.assertEqual(counts(error), (2, 2, 0))
        self.feed_and_await(process, b"three\n")
        process.stdin.close()
        self.assertEqual(counts(self.end(process)), (3, 3, 0))

    def test_a_writer_without_end_cannot_keep_it(self):
        writer = subprocess.Popen(["yes"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(writer.wait)
        self.addCleanup(writer.kill)
        process = self.start("--size", "1M", "--keep", "2", "--drain", "1", stdin=writer.stdout)
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
        process = self.start("--echo", "--drain", "0")
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


if __name__ == "__main__":
    unittest.main()
