#!/usr/bin/env python3
"""The manual pages: what the programs' --help says, in a form that man takes without a word."""

import gzip
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import man_page  # noqa: E402

HELP = """\
usage: tool [OPTION ...]

Does things - and
.more things.

Options:
  --one VALUE             the first
                          with a second line
  --a-rather-long-option VALUE
                          the next
  --flag                  no value

Example: a run
  tool --one 2 \\ &

Exit status: 0 or not.
"""


class Form(unittest.TestCase):
    PAGE = man_page.page_of("tool", "does things", HELP, "QoLiveReport 1.2")

    def test_sections(self):
        self.assertEqual(re.findall(r"^\.SH (.*)", self.PAGE, re.MULTILINE),
                         ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXAMPLE", "EXIT STATUS"])
        self.assertIn(".SH NAME\ntool \\- does things\n", self.PAGE)
        self.assertIn("\\fBtool\\fR [OPTION ...]\n", self.PAGE)

    def test_options(self):
        self.assertIn(".TP\n\\fB\\-\\-one\\fR \\fIVALUE\\fR\nthe first\nwith a second line\n", self.PAGE)
        self.assertIn(".TP\n\\fB\\-\\-a\\-rather\\-long\\-option\\fR \\fIVALUE\\fR\nthe next\n", self.PAGE)
        self.assertIn(".TP\n\\fB\\-\\-flag\\fR\nno value\n", self.PAGE)

    def test_what_roff_would_take_for_its_own(self):
        self.assertIn("Does things \\- and\n\\&.more things.\n", self.PAGE)
        self.assertIn(".nf\n  tool \\-\\-one 2 \\e &\n.fi\n", self.PAGE)


class Pages(unittest.TestCase):
    FOLDER = pathlib.Path(os.environ["QOLIVE_MAN"])
    PROGRAMS = [pathlib.Path(path) for path in os.environ["QOLIVE_PROGRAMS"].split(":")]

    def test_each_program_has_a_page_with_every_option(self):
        self.assertEqual(sorted(path.name for path in self.FOLDER.iterdir()), sorted(f"{path.name}.1.gz" for path in self.PROGRAMS))
        for program in self.PROGRAMS:
            page = gzip.decompress((self.FOLDER / f"{program.name}.1.gz").read_bytes()).decode()
            shown = subprocess.run([program, "--help"], check=True, capture_output=True, text=True).stdout
            options = re.findall(r"^  (--[a-z-]+)", shown, re.MULTILINE)
            self.assertGreater(len(options), 4)
            for option in options:
                self.assertIn(f"\\fB{man_page.escaped(option)}\\fR", page, program.name)

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_man_takes_them_without_a_word(self):
        for program in self.PROGRAMS:
            shown = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", self.FOLDER / f"{program.name}.1.gz"],
                                   capture_output=True, text=True, env={**os.environ, "LC_ALL": "C.UTF-8", "MANROFFSEQ": ""})
            self.assertEqual((shown.returncode, shown.stderr), (0, ""), program.name)


if __name__ == "__main__":
    unittest.main()
