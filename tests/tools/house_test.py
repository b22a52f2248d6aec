#!/usr/bin/env python3
"""Who may include whom in src/, and the picture of it in the documentation."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TOOL = ROOT / "tools" / "house.py"


def house(*options):
    return subprocess.run([sys.executable, TOOL, *options], capture_output=True, text=True)


class ThisHouse(unittest.TestCase):
    def test_keeps_its_rules_and_is_drawn_in_the_documentation(self):
        answer = house("--check", ROOT / "docs" / "architecture.md")
        self.assertEqual(answer.returncode, 0, answer.stderr)


class AnyHouse(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.put("src/base/Text.h", "#pragma once\n")
        self.put("src/platform/Log.h", '#include "../base/Text.h"\n')

    def put(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def house(self, *options):
        return house("--root", self.root, *options)

    def test_a_path_relative_to_the_file_counts_as_one_from_the_root(self):
        picture = self.house()
        self.assertEqual(picture.returncode, 0, picture.stderr)
        self.assertRegex(picture.stdout, r"platform/ +base\n")

    def test_an_include_upwards_is_told_with_its_place(self):
        self.put("src/base/Loud.h", '#include "platform/Log.h"\n')
        answer = self.house()
        self.assertEqual(answer.returncode, 1)
        self.assertEqual(answer.stderr.strip(),
                         "src/base/Loud.h includes platform/Log.h, but base/ may not include platform/")

    def test_a_subsystem_that_reaches_for_an_implementation_is_told(self):
        self.put("src/mqtt/Link.h", "")
        self.put("src/heartbeat/Heart.cpp", '#include "mqtt/Link.h"\n')
        self.assertIn("heartbeat/ may not include mqtt/", self.house().stderr)

    def test_a_new_folder_needs_a_rule(self):
        self.put("src/attic/Box.h", "")
        self.assertIn("src/attic is a new folder", self.house().stderr)

    def test_a_picture_that_is_out_of_date_is_told_and_can_be_put_right(self):
        self.put("page.md", "before\n<!-- house -->\nold\n<!-- /house -->\nafter\n")
        page = self.root / "page.md"
        self.assertEqual(self.house("--check", page).returncode, 1)
        self.assertEqual(self.house("--write", page).returncode, 0)
        self.assertEqual(self.house("--check", page).returncode, 0)
        self.assertTrue(page.read_text().startswith("before\n") and page.read_text().endswith("\nafter\n"))

    def test_a_page_without_a_place_for_the_picture_is_told(self):
        self.put("page.md", "nothing here\n")
        self.assertIn("are missing", self.house("--check", self.root / "page.md").stderr)


if __name__ == "__main__":
    unittest.main()
