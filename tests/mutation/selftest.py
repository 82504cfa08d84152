#!/usr/bin/python3
"""Tests of the mutation check itself: that it finds what it promises to change, that
it can be told what nobody tests, and that it says so."""
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap
import threading
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import places  # noqa: E402
import report  # noqa: E402
from judge import Judge, Test  # noqa: E402
from sources import Mutant  # noqa: E402


def found_in(text, folder):
    path = pathlib.Path(folder) / "sample.cpp"
    path.write_text(textwrap.dedent(text))
    unit = places.parse(path, ["-std=c++20"])
    content = path.read_bytes()
    found = places.find(places.declarations_by_file(unit).get(str(path), []), str(path), content)
    for number, place in enumerate(found):
        place.number = number
    return unit, path, content, found


def changes(text):
    with tempfile.TemporaryDirectory() as folder:
        return [place.detail for place in found_in(text, folder)[3]]


class TheFinder(unittest.TestCase):
    def test_shifts_each_comparison_once(self):
        self.assertEqual(changes("bool F(int a, int b) { return a < b; }"), ["< becomes <="])
        self.assertEqual(changes("bool F(int a, int b) { return a == b; }"), ["== becomes !="])

    def test_moves_constants_of_every_kind(self):
        self.assertEqual(changes("int i = 0x10; bool b = true; char c = 'x';"),
                         ["0x10 becomes 0x10 + 1", "true becomes false", "'x' becomes the next character"])

    def test_negates_conditions_and_their_parts(self):
        self.assertEqual(changes("int F(bool a, bool b) { return a && b ? *\"x\" : *\"y\"; }"),
                         ["a && b is negated", "a is negated", "b is negated"])

    def test_negates_a_condition_that_declares(self):
        self.assertIn("int* p = Q() is negated", changes("int* Q(); void F() { if (int* p = Q()) *p; }"))

    def test_negates_the_condition_behind_an_initialisation(self):
        self.assertIn("b > a is negated", changes("void G(); void F(int a) { if (int b = a; b > a) G(); }"))

    def test_does_not_count_a_negated_equality_twice(self):
        self.assertEqual(changes("void G(); void F(int a, int b) { if (a == b) G(); }"),
                         ["== becomes !=", "G(); is left out"])

    def test_leaves_out_statements_and_calls_whose_result_is_not_used(self):
        self.assertEqual(changes("int G(); void F(int& a) { a += a; (void)G(); return; }"),
                         ["a += a; is left out", "(void)G(); is left out", "return; is left out"])

    def test_keeps_the_only_return_of_a_value(self):
        self.assertEqual(changes("int F(int a) { return a; }"), [])

    def test_leaves_out_guards_that_nobody_reads(self):
        self.assertEqual(changes("struct Guard { Guard(int); ~Guard(); }; void F(int a) { const Guard guard(a); }"),
                         ["const Guard guard(a); is left out"])

    def test_knows_where_a_constant_is_wanted(self):
        with tempfile.TemporaryDirectory() as folder:
            found = found_in("constexpr int size = 4; int F(int a) { return a + 5; }", folder)[3]
            self.assertEqual([(p.detail, p.constant) for p in found],
                             [("4 becomes 4 + 1", True), ("5 becomes 5 + 1", False)])

    def test_does_not_look_into_what_a_macro_makes(self):
        self.assertEqual(changes("#define BOTH(a, b) ((a) < (b))\nbool F(int a) { return BOTH(a, a); }"), [])

    def test_changes_the_conditions_and_constants_of_macros(self):
        self.assertEqual(changes("#define MAYBE(c) if (c) Call(7)\n"), ["c is negated", "7 becomes 7 + 1"])

    def test_says_which_comparison_it_did_not_understand(self):
        with tempfile.TemporaryDirectory() as folder:
            unit, path, content, found = found_in("bool F(int a) { return a == a; }", folder)
            self.assertEqual(places.missed_comparisons(unit, str(path), content, found), [])
            self.assertEqual(len(places.missed_comparisons(unit, str(path), content, [])), 1)


class TheSwitchedProgram(unittest.TestCase):
    """A small library with one function that is tested, and one that is not."""

    SOURCE = """
        bool Tested(int a) { return a >= 10; }
        bool Untested(int a) { return a >= 20; }
        int main() { Untested(20); return Tested(10) && Tested(11) && !Tested(9) ? 0 : 1; }
    """

    def test_a_mutant_of_what_nobody_tests_survives_and_the_others_do_not(self):
        with tempfile.TemporaryDirectory() as folder:
            _, path, content, found = found_in(self.SOURCE, folder)
            path.write_text(places.rewrite(content, found))
            program = pathlib.Path(folder) / "program"
            subprocess.run(["g++", "-std=c++20", "-include", HERE / "runtime/ZinMutants.h", path,
                            HERE / "runtime/ZinMutants.cpp", "-o", program], check=True)
            self.assertEqual(subprocess.run([program]).returncode, 0)
            survived = [p.function for p in found if p.function != "main" and
                        subprocess.run([program], env={"ZIN_MUTANT": str(p.number)}).returncode == 0]
            killed = [p.function for p in found if p.function != "main" and
                      subprocess.run([program], env={"ZIN_MUTANT": str(p.number)}).returncode != 0]
            self.assertEqual(survived, ["Untested", "Untested"])
            self.assertEqual(killed, ["Tested", "Tested"])

    def test_it_notes_which_mutants_it_reaches(self):
        with tempfile.TemporaryDirectory() as folder:
            _, path, content, found = found_in(self.SOURCE.replace("Untested(20);", ""), folder)
            path.write_text(places.rewrite(content, found))
            program, trace = pathlib.Path(folder) / "program", pathlib.Path(folder) / "trace"
            trace.write_bytes(bytes(1 << 16))
            subprocess.run(["g++", "-std=c++20", "-include", HERE / "runtime/ZinMutants.h", path,
                            HERE / "runtime/ZinMutants.cpp", "-o", program], check=True)
            subprocess.run([program], env={"ZIN_MUTANTS_REACHED": str(trace)}, check=True)
            reached = trace.read_bytes()
            self.assertEqual({p.function for p in found if reached[p.number]}, {"Tested", "main"})


class ScriptedJudge(Judge):
    """Its tests end as the script says, one run after the other."""

    def __init__(self, most_seconds=30, excused=()):
        self.most_seconds, self.excused = most_seconds, set(excused)
        self.kills, self.lock = {}, threading.Lock()
        self.script, self.seconds = [], []

    def run_test(self, test, extra, seconds, command=None):
        self.seconds.append(seconds)
        return self.script.pop(0)


class TheJudge(unittest.TestCase):
    TEST = Test("a test", ["program"], {}, slow=False, seconds=1.0)
    MUTANT = Mutant("a.cpp", 1, "F", "return a < b;", "compare", "< becomes <=", 1, False, 7)

    def notices(self, *script):
        judge = ScriptedJudge()
        judge.script = list(script)
        result = judge.notices(self.TEST, {}, None, judge.passes)
        self.assertEqual(judge.script, [])
        return result

    def test_a_test_that_passes_has_noticed_nothing(self):
        self.assertEqual(self.notices("passed"), "passed")

    def test_a_test_notices_what_it_fails_with_twice_and_not_in_between(self):
        self.assertEqual(self.notices("failed", "passed", "failed"), "failed")
        self.assertEqual(self.notices("hung", "passed", "hung"), "hung")

    def test_what_fails_without_the_mutant_as_well_does_not_count(self):
        self.assertEqual(self.notices("failed", "failed"), "passed")
        self.assertEqual(self.notices("hung", "hung"), "passed")

    def test_what_fails_once_does_not_count(self):
        self.assertEqual(self.notices("failed", "passed", "passed"), "passed")

    def test_what_is_only_slow_does_not_count(self):
        self.assertEqual(self.notices("hung", "passed", "passed"), "passed")

    def test_what_seems_to_hang_is_given_twice_as_long_the_second_time(self):
        judge = ScriptedJudge()
        judge.script = ["hung", "passed", "failed"]
        self.assertEqual(judge.notices(self.TEST, {}, None, judge.passes), "failed")
        self.assertEqual(judge.seconds, [14, 14, 28])

    def test_a_mutant_without_a_reason_meets_every_test_however_long_they_take(self):
        judge = ScriptedJudge(most_seconds=1)
        judge.script = ["passed"] * 5
        self.assertEqual(judge.try_tests(self.MUTANT, [self.TEST] * 5, {}), ("survived", "", 5))

    def test_a_mutant_with_a_reason_meets_those_that_there_is_time_for(self):
        judge = ScriptedJudge(most_seconds=1, excused=[self.MUTANT.key()])
        judge.script = ["passed"] * 2
        self.assertEqual(judge.try_tests(self.MUTANT, [self.TEST] * 5, {}), ("survived", "", 2))


class TheReport(unittest.TestCase):
    KEY = ("a.cpp", "F", "return a < b;", "< becomes <=", 1)

    def reasons(self, equivalent="true", key=KEY):
        return report.Reasons(f'[[survivor]]\nfile = "{key[0]}"\nfunction = "{key[1]}"\nline = "{key[2]}"\n'
                              f'mutations = ["{key[3]}"]\nequivalent = {equivalent}\nreason = "for a reason"\n')

    def wrong(self, outcome, reasons, keys=(KEY,)):
        return report.compare({self.KEY: {"outcome": outcome, "reached": True, "by": "a test"}}, set(keys), reasons)

    def test_a_survivor_without_a_reason_is_wrong(self):
        self.assertRegex(" ".join(self.wrong("survived", report.Reasons(""))), "survived without a reason")

    def test_a_survivor_with_a_reason_is_fine(self):
        self.assertEqual(self.wrong("survived", self.reasons()), [])

    def test_a_reason_for_a_mutant_that_is_noticed_is_wrong(self):
        self.assertRegex(" ".join(self.wrong("killed", self.reasons())), "a test notices")

    def test_a_reason_for_a_mutant_that_there_is_not_is_wrong(self):
        other = self.reasons(key=("b.cpp", *self.KEY[1:]))
        self.assertRegex(" ".join(self.wrong("killed", other)), "there is not")

    def test_equivalent_mutants_do_not_count_against_the_score(self):
        judged = {self.KEY: {"outcome": "survived"}, ("b",): {"outcome": "killed"}}
        self.assertEqual(report.counts(judged, self.reasons())[1].scores(), ("100.0 %", "50.0 %"))
        self.assertEqual(report.counts(judged, self.reasons("false"))[1].scores(), ("50.0 %", "50.0 %"))


class TheCommand(unittest.TestCase):
    def test_wrong_use_ends_with_2_and_one_line(self):
        for arguments in (["--sample", "0"], ["--jobs", "x"], ["--only", "("], ["--nonsense"], ["--publish", "--quick"]):
            result = subprocess.run([str(HERE / "run"), *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                    text=True)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (2, 1), arguments)
            self.assertTrue(re.match("mutation: ", result.stderr), arguments)


if __name__ == "__main__":
    unittest.main()
