"""What becomes of the lines: raw, cut, binary, stamped, echoed."""

import os
import random
import re
import unittest

from zinpipe_support import (CUT, LONGEST_RAW_LINE, RESUME, ZinpipeTest, counts, joined,
                             numbered_lines)


class Raw(ZinpipeTest):
    def test_lines_arrive_as_they_are(self):
        text = b"first\n\n  %s %n \\0 tail \r\n\n\nlast\n"
        error = self.run_pipe(text)
        self.assertEqual(self.written(), text)
        self.assertEqual(counts(error), (6, 6, 0))
        self.assert_one_line(error)

    def test_an_unterminated_last_line_is_kept_and_ended(self):
        error = self.run_pipe(b"first\nlast")
        self.assertEqual(self.written(), b"first\nlast\n")
        self.assertEqual(counts(error), (2, 2, 0))

    def test_empty_input_writes_no_file(self):
        error = self.run_pipe(b"")
        self.assertEqual(os.listdir(self.dir), [])
        self.assertEqual(counts(error), (0, 0, 0))

    def test_empty_lines_are_lines(self):
        self.run_pipe(b"\n" * 20000)
        self.assertEqual(self.written(), b"\n" * 20000)

    def test_rotation_and_a_short_queue_lose_nothing(self):
        text = numbered_lines(60000)
        for queue in ("3", "10000"):
            with self.subTest(queue=queue):
                for file in self.files() if os.path.exists(self.dir) else []:
                    os.remove(file)
                error = self.run_pipe(text, "--size", "1M", "--queue", queue)
                self.assertEqual(len(self.files()), 4)
                self.assertEqual(self.written(), text)
                self.assertEqual(counts(error), (60000, 60000, 0))

    def test_no_line_stands_in_two_files(self):
        self.run_pipe(numbered_lines(40000), "--size", "1M")
        for file in self.files():
            with open(file, "rb") as stream:
                self.assertRegex(stream.read(), rb"\A(\d{8} x+\n)+\Z")

    def test_what_the_keep_count_removed_is_not_missing(self):
        error = self.run_pipe(numbered_lines(120000), "--size", "1M", "--keep", "1")
        self.assertEqual(len(self.files()), 2)
        self.assertEqual(counts(error), (120000, 120000, 0))
        left = self.written().count(b"\n")
        self.assertIn("; %d removed since" % (120000 - left), error)

    def test_nothing_is_kept_when_nothing_is_to_be_kept(self):
        error = self.run_pipe(numbered_lines(60000), "--size", "1M", "--keep", "0")
        self.assertEqual(self.files(), [os.path.join(self.dir, "app.log")])
        self.assertEqual(counts(error), (60000, 60000, 0))

    def test_the_file_of_an_earlier_run_is_kept_and_not_counted(self):
        self.run_pipe(b"earlier\n")
        error = self.run_pipe(b"later\n")
        self.assertEqual(self.written(), b"earlier\nlater\n")
        self.assertEqual(counts(error), (1, 1, 0))

    def test_sub_directory(self):
        self.run_pipe(b"line\n", "--subdir", "net")
        self.assertEqual(self.written(os.path.join(self.dir, "net")), b"line\n")

    def test_standard_input_may_be_a_file(self):
        text = numbered_lines(1000)
        with open(self.write("input", text), "rb") as stream:
            self.run_pipe(None, stdin=stream)
        self.assertEqual(self.written(), text)

    def test_an_input_that_cannot_be_read_to_its_end(self):
        # A regular file whose first page cannot be read.
        error = self.run_pipe(b"", "/proc/self/mem", expected=1)
        self.assertIn("cannot read '/proc/self/mem': Input/output error", error)
        self.assertEqual(counts(error), (0, 0, 0))

    def test_files_are_read_one_after_the_other(self):
        first, second = self.write("a", b"1\n2"), self.write("b", b"3\n")
        self.assertEqual(counts(self.run_pipe(b"", first, second)), (3, 3, 0))
        self.assertEqual(sorted(self.written().split()), [b"1", b"2", b"3"])


class Long(ZinpipeTest):
    def test_lines_up_to_a_record_are_whole(self):
        text = b"a" * (LONGEST_RAW_LINE - 1) + b"\n" + b"b" * LONGEST_RAW_LINE + b"\n"
        self.assertEqual(counts(self.run_pipe(text)), (2, 2, 0))
        self.assertEqual(self.written(), text)

    def test_a_longer_line_is_cut_visibly_and_whole_when_joined(self):
        for extra in (1, 9, 10, 11, LONGEST_RAW_LINE, 3 * LONGEST_RAW_LINE, 300000):
            with self.subTest(extra=extra):
                text = b"first\n" + b"y" * (LONGEST_RAW_LINE + extra) + b"\nlast\n"
                error = self.run_pipe(text)
                with open(self.files()[-1], "rb") as stream:
                    written = stream.read()
                pieces = written.splitlines()[1:-1]
                self.assertGreater(len(pieces), 1)
                self.assertTrue(all(piece.endswith(CUT) for piece in pieces[:-1]))
                self.assertTrue(all(piece.startswith(RESUME) for piece in pieces[1:]))
                self.assertTrue(all(len(piece) <= LONGEST_RAW_LINE for piece in pieces))
                self.assertEqual(joined(written), text)
                self.assertIn("1 long line cut", error)

    def test_a_long_line_without_an_end(self):
        self.run_pipe(b"z" * 20000)
        self.assertEqual(joined(self.written()), b"z" * 20000 + b"\n")

    def test_characters_are_not_cut(self):
        text = ("x" + "é€😀" * 5000 + "\n").encode()
        self.run_pipe(text)
        self.assertEqual(joined(self.written()), text)
        for line in self.written().splitlines():
            line.decode()  # throws where a character was cut


class Binary(ZinpipeTest):
    def test_nul_bytes_are_shown_and_counted(self):
        error = self.run_pipe(b"\0start\na\0\0b\n\0\n")
        self.assertEqual(self.written(), b"\\0start\na\\0\\0b\n\\0\n")
        self.assertIn("; 4 NUL bytes written as \\0", error)
        self.assertEqual(counts(error), (3, 3, 0))

    def test_any_bytes_survive(self):
        noise = random.Random(1).randbytes(400000)
        self.run_pipe(noise)
        self.assertEqual(joined(self.written()), noise.replace(b"\0", b"\\0") + b"\n")

    def test_nothing_but_nul(self):
        self.run_pipe(b"\0" * 300000)
        self.assertEqual(joined(self.written()), b"\\0" * 300000 + b"\n")


HEADER = (rb"\[zinpipe\] \[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[\d+\] \[%s\]%s"
          rb"\[%s:(\d+)\] \[zinpipe\]: (.*)\Z")


class Stamped(ZinpipeTest):
    def setUp(self):
        super().setUp()
        self.dir = self.path("logs")

    def records(self, level=b"INFO", tag=b" ", source=b"stdin"):
        """(line number, text) of the lines that are the tool's."""
        lines = [line for line in self.written().splitlines()
                 if b"[ZinChownDirAndFirstDepthFiles]" not in line]
        matches = [re.match(HEADER % (level, re.escape(tag), re.escape(source)), line, re.DOTALL)
                   for line in lines]
        self.assertNotIn(None, matches, lines)
        return [(int(m.group(1)), m.group(2)) for m in matches]

    def test_each_line_has_a_header(self):
        error = self.run_pipe(b"first\n\n100 % sure\nlast", "--stamp")
        self.assertEqual(self.records(), [(1, b"first"), (2, b""), (3, b"100 % sure"), (4, b"last")])
        self.assertEqual(counts(error), (4, 4, 0))
        self.assert_one_line(error)

    def test_level_and_tag(self):
        self.run_pipe(b"first\n", "--stamp", "--level", "ERROR", "--tag", " [web] ")
        self.assertEqual(self.records(b"ERROR", b" [web] "), [(1, b"first")])

    def test_every_level_is_printed_as_it_is_named(self):
        for level in ("FATAL", "ERROR", "WARN", "INFO", "DEBUG"):
            with self.subTest(level=level):
                self.dir = self.path("logs", level)
                self.run_pipe(b"first\n", "--stamp", "--level", level)
                self.assertEqual(self.records(level.encode()), [(1, b"first")])

    def test_long_lines_are_cut_beside_a_long_tag_or_source(self):
        for tag, source in (("t" * 200, "input.txt"), (" ", "s" * 200)):
            with self.subTest(tag=tag, source=source):
                self.dir = self.path("logs", source)
                file = self.write(source, b"first\n" + b"y" * 5000 + b"\nlast\n")
                self.run_pipe(b"", "--stamp", "--tag", tag, file)
                records = self.records(tag=tag.encode(), source=source.encode())
                text = b"\n".join(text for _, text in records) + b"\n"
                self.assertEqual(joined(text), b"first\n" + b"y" * 5000 + b"\nlast\n")

    def test_the_lowest_level_is_written(self):
        self.run_pipe(b"first\n", "--stamp", "--level=DEBUG")
        self.assertEqual(self.records(b"DEBUG"), [(1, b"first")])

    def test_a_file_is_named_as_the_source(self):
        self.run_pipe(b"", "--stamp", self.write("input.txt", b"first\nsecond\n"))
        self.assertEqual(self.records(source=b"input.txt"), [(1, b"first"), (2, b"second")])

    def test_long_lines_are_cut_and_keep_their_number(self):
        self.run_pipe(b"first\n" + b"y" * 5000 + b"\nlast\n", "--stamp")
        records = self.records()
        self.assertEqual([number for number, _ in records], [1, 2, 2, 2, 3])
        text = b"\n".join(text for _, text in records) + b"\n"
        self.assertEqual(joined(text), b"first\n" + b"y" * 5000 + b"\nlast\n")

    def test_rotation_loses_nothing(self):
        error = self.run_pipe(numbered_lines(20000), "--stamp", "--size", "1M")
        self.assertEqual(counts(error), (20000, 20000, 0))
        self.assertEqual([number for number, _ in self.records()], list(range(1, 20001)))


class Echoed(ZinpipeTest):
    def test_standard_output_gets_the_input_as_it_is(self):
        text = b"a\0b\n" + b"y" * 20000 + b"\n" + numbered_lines(5000) + b"end"
        self.run_pipe(text, "--echo")
        self.assertEqual(self.output, text)

    def test_without_it_there_is_no_output(self):
        self.run_pipe(b"line\n")
        self.assertEqual(self.output, b"")

    def test_a_closed_output_ends_the_echo_alone(self):
        process = self.start("--echo")
        process.stdout.close()
        process.stdin.write(numbered_lines(1000))
        process.stdin.close()
        error = self.end(process, expected=1)
        self.assertIn("standard output: Broken pipe; --echo ends here", error)
        self.assertEqual(counts(error), (1000, 1000, 0))
        self.assertEqual(self.written(), numbered_lines(1000))


if __name__ == "__main__":
    unittest.main()
