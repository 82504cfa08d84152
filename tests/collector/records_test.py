#!/usr/bin/env python3
"""Plants losses, duplicates and damage in logs and sees that they are counted.

    records_test.py PROGRAM     zinlogger-split
"""
import pathlib
import sys
import tempfile
import unittest

import records

split = sys.argv.pop() if len(sys.argv) == 2 else sys.exit("usage: records_test.py PROGRAM")


def record(number, text="text"):
    header = "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [demo.cpp:1] [WriteLine]: "
    return (f"{header}{number:010d} {text}\n").encode()


def cut_record(number):
    return record(number, "#" * 3000)[:2046]


class AccountTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zin-records-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def account(self, written, arrived):
        counted = []
        for name, text in (("written", written), ("arrived", arrived)):
            file = self.folder / name
            file.write_bytes(b"".join(text))
            counted.append(records.read(split, [file]))
        return records.Account(*counted)

    def expect(self, account, missing=0, doubled=0, foreign=0):
        self.assertEqual((account.missing, account.doubled, account.foreign),
                         (missing, doubled, foreign))

    def test_whatever_the_order(self):
        self.expect(self.account([record(1), record(2, "a\n  b"), record(3)],
                                 [record(3), record(1), record(2, "a\n  b")]))

    def test_the_missing(self):
        account = self.account([record(n) for n in range(9)], [record(n) for n in range(7)])
        self.expect(account, missing=2)
        self.assertEqual(account.missing_numbers(), [7, 8])

    def test_the_doubled(self):
        self.expect(self.account([record(1), record(2)], [record(1), record(2), record(2)]),
                    doubled=1)

    def test_the_torn(self):
        self.expect(self.account([record(1), record(2)], [record(1), record(2)[:80] + b"\n"]),
                    missing=1, foreign=1)

    def test_a_line_of_a_record_that_went_astray(self):
        self.expect(self.account([record(1, "a\n  b"), record(2)],
                                 [record(1, "a"), record(2), b"  b\n"]), missing=2, foreign=2)

    def test_records_that_stand_on_one_line(self):
        self.expect(self.account([cut_record(1), cut_record(2), record(3)],
                                 [cut_record(1), record(3), cut_record(2)]))

    def test_files_that_end_within_a_line(self):
        whole, ended = self.folder / "whole", self.folder / "ended"
        whole.write_bytes(record(1))
        ended.write_bytes(cut_record(1))
        self.assertEqual(records.without_newline([whole, ended]), [ended])


if __name__ == "__main__":
    unittest.main()
