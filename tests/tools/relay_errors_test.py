#!/usr/bin/env python3
"""The relay of a Windows program's errors: all of them, and to their reader an end that nobody else holds up."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "relay_errors.py"
WRITER = "import sys; print('first', flush=True); sys.stdin.read(); print('last', flush=True)"


class RelayErrors(unittest.TestCase):
    def setUp(self):
        self.file = tempfile.NamedTemporaryFile("w+b")
        self.addCleanup(self.file.close)

    def relay(self, pid):
        with open(self.file.name, "rb") as errors:
            process = subprocess.Popen([sys.executable, TOOL, str(pid)], stdin=errors, stderr=subprocess.PIPE)
        self.addCleanup(process.kill)
        self.addCleanup(process.stderr.close)
        return process

    def test_what_is_written_comes_at_once_and_to_the_last_word(self):
        writer = subprocess.Popen([sys.executable, "-c", WRITER], stdin=subprocess.PIPE, stdout=self.file)
        self.addCleanup(writer.kill)
        relay = self.relay(writer.pid)
        self.assertEqual(relay.stderr.readline(), b"first\n")
        self.assertIsNone(relay.poll())
        writer.stdin.close()
        self.assertEqual(writer.wait(60), 0)
        self.assertEqual(relay.stderr.read(), b"last\n")
        self.assertEqual(relay.wait(60), 0)

    def test_a_process_that_is_gone_already_leaves_its_words(self):
        self.file.write(b"all\n")
        self.file.flush()
        gone = subprocess.Popen(["true"])
        gone.wait(60)
        relay = self.relay(gone.pid)
        self.assertEqual(relay.stderr.read(), b"all\n")
        self.assertEqual(relay.wait(60), 0)


if __name__ == "__main__":
    unittest.main()
