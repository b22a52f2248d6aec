"""What the tests of whole programs have in common: a stage of their own, and the tools that set it."""

import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "tools"))
from processes import Stage  # noqa: E402


class StageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.stage = Stage(folder.name)
        cls.addClassCleanup(cls.stage.close)
