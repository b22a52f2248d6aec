#!/usr/bin/env python3
"""The fault tool, on a project of a few lines."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
TOOL = HERE.parent.parent / "tools/mutate"
sys.path.insert(0, str(TOOL))

from faults import faults_of, select  # noqa: E402
from source import active_lines, code_of  # noqa: E402


def changed(kind, line):
    """What `line` can become by that kind of fault."""
    return [fault.after for fault in faults_of("a.cpp", line, []) if fault.kind == kind]


class Finders(unittest.TestCase):
    def test_boundaries_are_moved_and_comparisons_turned(self):
        self.assertEqual(changed("relation", "if (a < b) x();"), ["if (a <= b) x();"])
        self.assertEqual(changed("relation", "return a == b;"), ["return a != b;"])

    def test_what_is_in_angle_brackets_is_no_comparison(self):
        self.assertEqual(changed("relation", "std::vector<int> a;"), [])

    def test_numbers_are_one_off_and_keep_their_suffix(self):
        self.assertEqual(changed("off by one", "x = 7U;"), ["x = 8U;", "x = 6U;"])
        self.assertEqual(changed("off by one", "x = y2 + 1.5;"), [])

    def test_limits_are_doubled_and_halved(self):
        self.assertEqual(changed("limit", "constexpr seconds kWait{30};"),
                         ["constexpr seconds kWait{60};", "constexpr seconds kWait{15};"])

    def test_conditions_are_turned_and_switched_off(self):
        self.assertEqual(changed("negation", "if (isOpen(x)) return;"), ["if (!(isOpen(x))) return;"])
        self.assertEqual(changed("guard", "if (isOpen(x)) return;"), ["if (false) return;"])

    def test_a_statement_is_removed_and_a_declaration_is_not(self):
        self.assertEqual(changed("removal", "    m_all.notify_all();"), ["    ;"])
        self.assertEqual(changed("removal", "    if (x) m_count = 0;"), ["    if (x) ;"])
        self.assertEqual(changed("removal", "    { const Lock passing(m); }"), ["    {}"])
        for declaration in ("    const Lock lock(m);", "    int count = 0;", "    void f();",
                            "    A(const A&) = delete;", "    return f(x);"):
            self.assertEqual(changed("removal", declaration), [], declaration)

    def test_branches_and_arguments_change_places(self):
        self.assertEqual(changed("choice", "f(on ? 1 : g(2));"), ["f(on ? g(2) : 1);"])
        self.assertEqual(changed("swap", "f(a, b.c);"), ["f(b.c, a);"])

    def test_a_branch_with_texts_keeps_them(self):
        self.assertEqual(changed("choice", 'g(on ? "one" : "two");'), ['g(on ? "two" : "one");'])

    def test_truth_logic_and_arithmetic(self):
        self.assertEqual(changed("truth", "x = true;"), ["x = false;"])
        self.assertEqual(changed("logic", "return a && b;"), ["return a || b;"])
        self.assertEqual(changed("arithmetic", "++x;"), ["--x;"])
        self.assertEqual(changed("arithmetic", "x = a - b;"), ["x = a + b;"])


class Sources(unittest.TestCase):
    def test_comments_and_texts_hold_no_faults(self):
        text = 'f("1 < 2", \'3\');  // 4 < 5\n/* 6\n7 */ x = 8;'
        code = code_of(text)
        self.assertEqual(len(code), len(text))
        self.assertEqual([digit for digit in "12345678" if digit in code], ["8"])

    def test_what_another_system_compiles_is_left_out(self):
        lines = ["#if defined(_WIN32)", "a", "#else", "b", "#endif", "#define X \\", "  1", "c"]
        self.assertEqual([line for line, active in zip(lines, active_lines(lines, ["_WIN32"])) if active], ["b", "c"])

    def test_an_id_outlives_lines_that_come_before(self):
        text = "int f() {\n    return 3;\n}\n"
        before = {fault.id for fault in faults_of("a.cpp", text, [])}
        self.assertEqual(before, {fault.id for fault in faults_of("a.cpp", "int g();\n\n" + text, [])})

    def test_an_id_outlives_a_move_of_its_file_and_is_not_that_of_another(self):
        def ids(name):
            return {fault.id for fault in faults_of(name, "int f() {\n    return 3;\n}\n", [])}

        here = ids("src/kernel/Kernel.cpp")
        self.assertEqual(here, ids("src/platform/posix/Kernel.cpp"))
        self.assertEqual(here, ids("src/kernel/Kernel_posix.cpp"))
        self.assertTrue(here.isdisjoint(ids("src/kernel/Kernel.h")))
        self.assertTrue(here.isdisjoint(ids("src/kernel/Log.cpp")))

    def test_the_same_line_twice_has_two_ids(self):
        ids = [fault.id for fault in faults_of("a.cpp", "void f() {\n    ++x;\n    ++x;\n}\n", [])]
        self.assertEqual(len(ids), len(set(ids)))

    def test_a_selection_is_the_same_each_time_and_has_every_file_and_kind(self):
        faults = [fault for name in ("a.cpp", "b.cpp") for fault in
                  faults_of(name, "bool f() {\n    ++x;\n    return x < 3 && true;\n}\n" * 10, [])]
        chosen = select(faults, 20, "1")
        self.assertEqual(chosen, select(list(reversed(faults)), 20, "1"))
        self.assertNotEqual(chosen, select(faults, 20, "2"))
        self.assertEqual(len(chosen), 20)
        self.assertEqual({fault.file for fault in chosen}, {"a.cpp", "b.cpp"})
        self.assertEqual({fault.kind for fault in chosen}, {fault.kind for fault in faults})


class Trial(unittest.TestCase):
    """A whole run: one fault is found, one as it compiles, one hangs, one survives, one is nothing that compiles, and the
    others are listed."""

    FOUND = "years >= 12 &&"
    FOUND_BY_THE_COMPILER = "kTeens = 8"
    HANGS = "last = last - 0;"
    SURVIVES = "years <= 20"
    DOES_NOT_COMPILE = "times(what, two)"

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.root = self.folder / "project"
        shutil.copytree(HERE / "project", self.root)
        self.list_all_but([self.FOUND, self.FOUND_BY_THE_COMPILER, self.HANGS, self.SURVIVES, self.DOES_NOT_COMPILE])

    def list_all_but(self, wanted):
        faults = [fault for name in ("src/tally.cpp", "src/tally.h")
                  for fault in faults_of(name, (self.root / name).read_text(), ["_WIN32"])]
        self.tried = {part: fault.id for part in wanted for fault in faults if part in fault.after}
        self.assertEqual(len(self.tried), len(wanted))
        listed = [{"id": fault.id, "reason": "not of interest"} for fault in faults if fault.id not in self.tried.values()]
        (self.root / "equivalent.json").write_text(json.dumps(listed))

    def run_tool(self, *options):
        command = [sys.executable, TOOL / "mutate.py", "--root", self.root, "--settings", self.root / "settings.json",
                   "--work", self.folder / "work", "--jobs", "1", *options]
        return subprocess.run(command, capture_output=True, text=True, check=False, env={**os.environ, "CCACHE_DISABLE": "1"})

    def test_each_fault_ends_as_it_should(self):
        original = (self.root / "src/tally.cpp").read_text()
        done = self.run_tool()
        results = {key: entry["result"] for key, entry in json.loads((self.folder / "work/results.json").read_text()).items()}
        expected = {self.FOUND: "found", self.FOUND_BY_THE_COMPILER: "found", self.HANGS: "found",
                    self.SURVIVES: "survived", self.DOES_NOT_COMPILE: "not compiled"}
        self.assertEqual({part: results[key] for part, key in self.tried.items()}, expected, done.stdout + done.stderr)
        self.assertIn("Tally hung", done.stdout)
        self.assertIn("Tally failed", done.stdout)
        self.assertIn("+    return years >= 13 && years <= 20;", done.stdout)
        self.assertRegex(done.stdout, r"src +3 +1 +\d+ +1 +75.0 %")
        self.assertEqual(done.returncode, 1)
        self.assertEqual((self.root / "src/tally.cpp").read_text(), original)

        test = self.root / "tally_test.cpp"
        test.write_text(test.read_text().replace("isTeen(13)", "isTeen(13) && !isTeen(20)"))
        again = self.run_tool("--resume", "--again")
        self.assertIn(" 1 to try", again.stdout)
        self.assertRegex(again.stdout, r"all +4 +0 +\d+ +1 +100.0 %")
        self.assertEqual(again.returncode, 0)


if __name__ == "__main__":
    unittest.main()
