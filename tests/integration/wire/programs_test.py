#!/usr/bin/env python3
"""How the programs begin and end: what they say of themselves, and their exit status when something does not work."""

import os
import pathlib
import re
import signal
import ssl
import subprocess
import sys
import tempfile
import unittest

from processes import Stage, eventually, free_port, host_program

COLLECTOR = [os.environ["QOLIVE_COLLECTOR"]]
SINK = [os.environ["QOLIVE_SINK"]]


def run(command, **options):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60,
                          **options)


class Usual(unittest.TestCase):
    PROGRAMS = {"QoLive": host_program(), "qolive-collector": COLLECTOR, "qolive-sink": SINK}

    def test_help_is_asked_for_in_two_ways_and_fits_80_columns(self):
        for name, command in self.PROGRAMS.items():
            long, short = run([*command, "--help"]), run([*command, "-h"])
            self.assertEqual((long.returncode, short.returncode), (0, 0), name)
            self.assertEqual(long.stdout, short.stdout)
            self.assertTrue(long.stdout.startswith(f"usage: {name} "), name)
            self.assertEqual([line for line in long.stdout.splitlines() if len(line) > 80], [], name)

    def test_the_version_is_that_of_the_project(self):
        project = (pathlib.Path(__file__).parents[3] / "CMakeLists.txt").read_text()
        version = re.search(r"project\(QoLiveReport VERSION (\S+)", project).group(1)
        for name, command in self.PROGRAMS.items():
            shown = run([*command, "--version"])
            self.assertEqual((shown.returncode, shown.stdout), (0, f"{name} (QoLiveReport) {version}\n"))

    def test_a_wrong_option_is_named(self):
        for name, command in self.PROGRAMS.items():
            shown = run([*command, "--bogus"])
            self.assertEqual((shown.returncode, shown.stdout), (2, ""))
            self.assertIn("--bogus", shown.stderr)


class StageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.stage = Stage(folder.name)
        cls.addClassCleanup(cls.stage.close)
        cls.wrong = cls.stage.folder / "wrong"
        cls.wrong.write_text("wrong\n")
        cls.address = f"127.0.0.1:{cls.stage.port}"


class Collector(StageTest):
    def collect(self, *arguments, **options):
        return run([*COLLECTOR, "--broker", self.address, "--user", "collector", "--token-file", self.stage.folder / "token",
                    *arguments], **options)

    def test_it_says_how_it_is_connected(self):
        shown = self.collect("--seconds", "1")
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertIn(f"listening at {self.address} over plain TCP\n", shown.stdout)

    def test_a_broker_is_to_be_started_only_where_nothing_listens(self):
        nothing = run([*COLLECTOR, "--broker", f"127.0.0.1:{free_port()}"])
        self.assertEqual(nothing.returncode, 1)
        self.assertIn("over plain TCP: Connection refused\nStart one (mosquitto -p ", nothing.stderr)
        for arguments in (["--token-file", self.wrong], ["--tls"]):
            refused = self.collect(*arguments)
            self.assertEqual(refused.returncode, 1)
            self.assertNotIn("mosquitto -p", refused.stderr)
        self.assertIn("over TLS", refused.stderr)
        self.assertNotIn("wrong", refused.stderr)

    def test_what_cannot_be_written_ends_in_a_failure(self):
        self.assertEqual(self.collect("--record", "/nonexistent/record").returncode, 2)
        record = self.collect("--record", "/dev/full", "--seconds", "1")
        self.assertEqual(record.returncode, 1)
        self.assertIn("cannot write to /dev/full: No space left on device", record.stderr)
        self.assertIn("listening", record.stdout, "and is shown all the same")

    def test_without_anywhere_to_write_to_it_ends(self):
        with open("/dev/full", "w") as full:
            ended = subprocess.run([*COLLECTOR, "--broker", self.address, "--user", "collector", "--token-file",
                                    self.stage.folder / "token", "--json"], stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(ended.returncode, 1)
        self.assertIn(b"cannot write to the standard output", ended.stderr)


if __name__ == "__main__":
    unittest.main()
