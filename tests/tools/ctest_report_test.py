#!/usr/bin/env python3
"""What scripts/test says of a test run, from ctest's own report."""

import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as tree

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "ctest_report.py"
sys.path.insert(0, str(TOOL.parent))
import ctest_report  # noqa: E402


def read(*cases):
    return ctest_report.read(tree.fromstring(f"<testsuite>{''.join(cases)}</testsuite>"))


def case(status, output="", inside=""):
    return f'<testcase name="a.b" status="{status}" time="1.26">{inside}<system-out>{output}</system-out></testcase>'


class CTestReport(unittest.TestCase):
    def test_tests_are_counted_by_how_they_ended(self):
        counts, told = read(case("run"), case("fail"), case("run"), case("notrun"), case("run"))
        self.assertEqual((counts, len(told)), ((3, 1, 1), 2))

    def test_the_reason_of_a_skip_is_without_what_the_test_program_says_around_it(self):
        output = "Running main() from x\nNote: filter\n[ RUN ] a.b\n  no mosquitto\n\n  on this machine\n[ SKIPPED ] a.b"
        self.assertEqual(read(case("notrun", output))[1], ["skipped  a.b: no mosquitto on this machine"])
        self.assertEqual(read(case("notrun"))[1], ["skipped  a.b: (no reason given)"])
        self.assertEqual(len(read(case("notrun", "x" * 999))[1][0]), len("skipped  a.b: ") + 300)

    def test_a_failure_is_told_with_its_reason_and_the_end_of_its_output(self):
        lines = [f"line {number}" for number in range(100)]
        told = read(case("fail", "\n".join(lines), '<failure message="Timeout"/>'))[1][0].splitlines()
        self.assertEqual(told[:2], ["FAILED  ", "a.b (Timeout, after 1.3 s)"])
        self.assertEqual(told[2:], lines[20:])
        self.assertIn("a.b (no reason given, ", read(case("fail"))[1][0])

    def test_the_counts_alone_go_to_standard_output(self):
        with tempfile.NamedTemporaryFile("w") as report:
            report.write(f"<testsuite>{case('run')}{case('notrun', 'no network')}</testsuite>")
            report.flush()
            done = subprocess.run([sys.executable, TOOL, report.name], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "1 0 1\n", "skipped  a.b: no network\n"))


if __name__ == "__main__":
    unittest.main()
