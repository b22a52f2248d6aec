"""A copy of the tree in which faults are put and tried."""

import fnmatch
import os
import re
import shutil
import subprocess
from pathlib import Path

import running

UNSTEADY_RUNS = 2  # a test that fails here without any fault is not asked
NEVER = -1.0
PATIENCE = 20  # seconds


class BuildFailed(Exception):
    """With what the build said."""

    def is_found(self):
        """Whether a check in the sources or in the tests refused to compile, not the compiler."""
        return re.search(r"error: static[_ ]assert", str(self)) is not None


def files_of(root):
    """What belongs to the project at `root`, relative to it."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=root,
                            capture_output=True, check=False)
    if listed.returncode == 0:
        names = listed.stdout.decode().split("\0")
    else:
        names = [str(path.relative_to(root)) for path in root.rglob("*") if "build" not in path.relative_to(root).parts]
    return [name for name in names if name and (root / name).is_file()]


def _copy(root, tree):
    """Makes `tree` equal to the project at `root`, touching only what differs."""
    wanted = set(files_of(root))
    for name in wanted:
        source, target = root / name, tree / name
        if not target.is_file() or source.read_bytes() != target.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            target.unlink(missing_ok=True)
            shutil.copyfile(source, target, follow_symlinks=False)
        if not target.is_symlink():
            target.chmod(source.stat().st_mode)
    for path in tree.rglob("*"):
        if path.is_file() and str(path.relative_to(tree)) not in wanted:
            path.unlink()


class Workplace:
    """Used by one thread at a time."""

    def __init__(self, folder, settings, at_once):
        self.tree, self.build = folder / "tree", folder / "build"
        self.settings, self.at_once = settings, at_once
        self.tests, self.seconds, self.programs = {}, {}, set()
        self._changed = None  # (file, its own text) while a fault is in it

    def prepare(self, root, targets):
        """Copies, configures, builds and lists the tests, so that they can be asked."""
        _copy(root, self.tree)
        self._call([part.replace("{build}", str(self.build)) for part in self.settings["configure"]])
        self.make(targets)
        self.tests = {test.name: test for test in running.tests_in(self.build)}

    def _environment(self):
        """With which one copy takes from the compiler cache what another has built, and links quickly."""
        fast = {"LDFLAGS": "-fuse-ld=lld"} if shutil.which("ld.lld") else {}
        return {**os.environ, "CCACHE_BASEDIR": str(self.tree.parent), "CCACHE_NOHASHDIR": "true", **fast}

    def _call(self, command):
        done = subprocess.run(command, cwd=self.tree, env=self._environment(), capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise BuildFailed(done.stdout + done.stderr)

    def make(self, targets):
        self._call(["cmake", "--build", str(self.build), "--parallel", str(self.settings.get("parallel", 2)),
                    "--target", *targets])

    def tests_of(self, targets):
        """The tests whose command names one of the targets, the quickest first."""
        wanted = re.compile(r"(?:^|/)(?:" + "|".join(map(re.escape, targets)) + r")$")
        left_out = self.settings.get("leave out", [])
        chosen = [test for test in self.tests.values() if any(wanted.search(part) for part in test.command)
                  and not any(fnmatch.fnmatch(test.name, pattern) for pattern in left_out)]
        return sorted(chosen, key=lambda test: self.seconds.get(test.name, 0))

    def learn(self, targets, known):
        """How long the tests take without a fault, as far as it is not known; those that fail even then, and are not asked,
        take forever. Gives what is known now."""
        learned = dict(known)

        def note(test, result, seconds):
            before = learned.get(test.name, 0)
            learned[test.name] = NEVER if result != "passed" or before == NEVER else max(seconds, before)
            return True

        new = [test for test in self.tests_of(targets) if test.name not in known]
        for _ in range(UNSTEADY_RUNS):
            running.run(new, self.at_once, lambda test: test.timeout, note)
        self.recall(learned)
        return learned

    def recall(self, learned):
        self.seconds = learned
        self.tests = {name: test for name, test in self.tests.items() if learned.get(name, 0) != NEVER}

    def put(self, fault):
        """Puts the fault in, and takes another one out."""
        path = self.tree / fault.file
        if self._changed and self._changed[0] != path:
            self.restore()
        original = self._changed[1] if self._changed else path.read_text()
        self._changed = (path, original)
        lines = original.split("\n")
        lines[fault.line - 1] = fault.after
        path.write_text("\n".join(lines))

    def restore(self):
        if self._changed:
            path, original = self._changed
            path.write_text(original)
            self._changed = None

    def limit_of(self, test):
        """How long a test may take before it counts as hung: a machine under load is slow."""
        return min(test.timeout, self.settings.get("patience", PATIENCE) + 4 * self.seconds.get(test.name, 0))

    def ask(self, tests):
        """What finds the fault that is in the tree: (test, "failed" or "hung"), or None. A failure counts when it comes
        twice: once can be the machine's."""
        left = {test.name: test for test in tests}
        while left:
            first = self._first_failure(left)
            if first is None:
                return None
            test, result = first
            if result == "hung" or self._first_failure({test.name: test}, at_once=1):
                return test.name, result
            left.pop(test.name, None)
        return None

    def _first_failure(self, tests, at_once=None):
        found = []

        def note(test, result, _seconds):
            if result != "passed":
                found.append((test, result))
                return False
            tests.pop(test.name, None)
            return True

        running.run(list(tests.values()), at_once or self.at_once, self.limit_of, note)
        return found[0] if found else None
