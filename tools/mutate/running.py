"""Runs the tests that ctest knows, several at once, and stops at the first that fails."""

import json
import os
import re
import signal
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass, field


class Stopped(Exception):
    """Somebody wants the whole run to end."""


stopping = threading.Event()


@dataclass
class Test:
    name: str
    command: list
    folder: str
    timeout: float
    environment: dict = field(default_factory=dict)
    skip_code: int = -1
    passes: list = field(default_factory=list)
    fails: list = field(default_factory=list)
    must_fail: bool = False

    def is_passed(self, code, output):
        if code == self.skip_code:
            return True
        if any(re.search(expression, output) for expression in self.fails):
            return False
        if self.passes:
            return any(re.search(expression, output) for expression in self.passes)
        return (code == 0) != self.must_fail


def _patterns(value):
    return value if isinstance(value, list) else [value]


def _test(entry):
    """None for a test that needs another one, or is switched off."""
    properties = {item["name"]: item["value"] for item in entry.get("properties", [])}
    if not entry.get("command") or properties.get("DISABLED") or properties.get("FIXTURES_REQUIRED"):
        return None
    return Test(entry["name"], entry["command"], properties.get("WORKING_DIRECTORY"), properties.get("TIMEOUT", 1500.0),
                dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", [])), properties.get("SKIP_RETURN_CODE", -1),
                _patterns(properties.get("PASS_REGULAR_EXPRESSION", [])), _patterns(properties.get("FAIL_REGULAR_EXPRESSION", [])),
                bool(properties.get("WILL_FAIL")))


def tests_in(build):
    listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, check=True, capture_output=True, text=True)
    return [test for test in map(_test, json.loads(listed.stdout)["tests"]) if test]


class _Run:
    """One test under way, with all that it starts in a process group of its own."""

    def __init__(self, test, limit):
        self.test, self.limit, self.started = test, limit, time.monotonic()
        self.output = tempfile.TemporaryFile()
        self.process = subprocess.Popen(test.command, cwd=test.folder, env={**os.environ, **test.environment},
                                        stdin=subprocess.DEVNULL, stdout=self.output, stderr=subprocess.STDOUT,
                                        start_new_session=True)

    def end(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        self.output.close()

    def result(self):
        """None while it runs; else passed, failed or hung."""
        code = self.process.poll()
        if code is None:
            return "hung" if time.monotonic() - self.started > self.limit else None
        self.output.seek(0)
        return "passed" if self.test.is_passed(code, self.output.read().decode(errors="replace")) else "failed"


def run(tests, at_once, limit_of, on_end):
    """Runs the tests in that order, `at_once` at a time; on_end(test, result, seconds) says whether to go on."""
    waiting, running = list(reversed(tests)), []
    try:
        while waiting or running:
            if stopping.is_set():
                raise Stopped
            while waiting and len(running) < at_once:
                test = waiting.pop()
                running.append(_Run(test, limit_of(test)))
            for one in list(running):
                result = one.result()
                if result is None:
                    continue
                running.remove(one)
                one.end()
                if not on_end(one.test, result, time.monotonic() - one.started):
                    return
            time.sleep(0.005)
    finally:
        for one in running:
            one.end()
