#!/usr/bin/env python3
"""What the scripts of this project say: of themselves, of how far they are, and where something is missing."""

import os
import pathlib
import pty
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = sorted(path for path in (ROOT / "scripts").iterdir() if os.access(path, os.X_OK))


def run(*command, **options):
    environment = {**os.environ, **options.pop("env", {})}
    environment.pop("COLUMNS", None)
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60,
                          cwd=ROOT, env=environment, **options)


def in_bash(text, **options):
    return run("bash", "-c", f"set -euo pipefail\n. scripts/common\n{text}", **options)


def on_a_terminal(text, columns):
    """What `text`, run by bash with scripts/common, writes to a terminal of that width."""
    main, side = pty.openpty()
    command = f"stty cols {columns} </dev/tty; . scripts/common\n{text}"
    process = subprocess.Popen(["setsid", "--ctty", "bash", "-c", command], stdin=side, stdout=side, stderr=side, cwd=ROOT,
                               env={name: value for name, value in os.environ.items() if name != "COLUMNS"})
    os.close(side)
    written = b""
    try:
        while chunk := os.read(main, 65536):
            written += chunk
    except OSError:  # the other side is closed
        pass
    os.close(main)
    process.wait(60)
    return written.decode()


class Usual(unittest.TestCase):
    def test_help_is_asked_for_in_two_ways_and_fits_80_columns(self):
        for script in SCRIPTS:
            long, short = run(script, "--help"), run(script, "-h")
            self.assertEqual((long.returncode, short.returncode), (0, 0), script.name)
            self.assertEqual(long.stdout, short.stdout, script.name)
            self.assertTrue(long.stdout.lower().startswith(f"usage: scripts/{script.name}"), script.name)
            self.assertEqual([line for line in long.stdout.splitlines() if len(line) > 80], [], script.name)

    def test_the_version_is_that_of_the_project(self):
        version = re.search(r"project\(QoLiveReport VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
        for script in SCRIPTS:
            self.assertEqual(run(script, "--version").stdout, f"{script.name} (QoLiveReport) {version}\n")

    def test_a_wrong_argument_is_named(self):
        for name in ("demo", "setup", "soak", "test", "bench", "footprint", "figures"):
            wrong = run(ROOT / "scripts" / name, "--bogus")
            self.assertEqual(wrong.returncode, 2, name)
            self.assertIn("--bogus", wrong.stderr, name)


class Demo(unittest.TestCase):
    def test_what_cannot_be_is_refused_before_anything_is_done(self):
        for wrong in (["--seconds"], ["--seconds", ""], ["--seconds", "abc"], ["--seconds", "19"], ["--seconds", "-20"],
                      ["--seconds", "20.5"], ["--seconds", "10000"], ["--seconds", "0x20"], ["--broker"], ["--broker", "host"],
                      ["--broker", "host:0"], ["--broker", "host:70000"]):
            refused = run(ROOT / "scripts" / "demo", *wrong)
            self.assertEqual((refused.returncode, refused.stdout), (2, ""), wrong)
            self.assertIn(wrong[0], refused.stderr)


class Tools:
    """A folder of programs that stand in for the system's."""

    def __init__(self, test, **programs):
        self.folder = tempfile.TemporaryDirectory()
        test.addCleanup(self.folder.cleanup)
        for name, text in programs.items():
            path = pathlib.Path(self.folder.name, name.replace("_", "-"))
            path.write_text(f"#!/bin/bash\n{text}\n")
            path.chmod(0o755)
        # As root no sudo is needed.
        pathlib.Path(self.folder.name, "id").write_text("#!/bin/sh\necho 0\n")
        pathlib.Path(self.folder.name, "id").chmod(0o755)

    def setup(self, *arguments, **environment):
        return run(ROOT / "scripts" / "setup", *arguments,
                   env={"PATH": f"{self.folder.name}:{os.environ['PATH']}", "QOLIVE_TELL_PAUSE": "1", **environment})


class Setup(unittest.TestCase):
    NOTHING_INSTALLED = "exit 1"
    ALL_INSTALLED = "printf installed"
    NO_NETWORK = """
case "$*" in
  *--print-uris*) exit 100 ;;
  *update*) echo "W: Failed to fetch http://example.invalid/InRelease  Temporary failure resolving 'example.invalid'" ;;
  *) echo "E: Unable to locate package mosquitto"; exit 100 ;;
esac"""
    WORKS = """
case "$*" in
  *--print-uris*) echo "'http://example.invalid/a.deb' a.deb 1500000 SHA256:0"; echo "'http://example.invalid/b.deb' b.deb 700000 x" ;;
  *install*) echo "dlstatus:1:45.5:Retrieving file 1 of 2" >&3; sleep 1; echo "pmstatus:mosquitto:70.2:Unpacking" >&3; sleep 1
             echo "pmstatus:mosquitto:90:Configuring" >&3 ;;
esac"""

    def test_where_all_is_installed_neither_network_nor_apt_is_asked(self):
        done = Tools(self, dpkg_query=self.ALL_INSTALLED, apt_get="echo asked >&2; exit 1").setup()
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_it_says_what_comes_and_how_far_it_is(self):
        done = Tools(self, dpkg_query=self.NOTHING_INSTALLED, apt_get=self.WORKS).setup("--demo")
        self.assertEqual(done.returncode, 0, done.stderr)
        text = " ".join(done.stdout.split())
        self.assertIn("installing g++ cmake ", text)
        self.assertIn("(2 packages, 2 MB to download)", text)
        self.assertIn("downloading: 45 % installing: 70 % (mosquitto)", text)

    def test_what_is_in_the_cache_is_not_asked_for(self):
        done = Tools(self, dpkg_query=self.NOTHING_INSTALLED, apt_get='case "$*" in *update*) exit 100 ;; esac').setup("--demo")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("(nothing to download)", " ".join(done.stdout.split()))
        self.assertNotIn("package lists", done.stdout)

    def test_without_a_network_it_says_what_is_needed(self):
        done = Tools(self, dpkg_query=self.NOTHING_INSTALLED, apt_get=self.NO_NETWORK).setup("--demo")
        self.assertEqual(done.returncode, 1)
        text = " ".join(done.stderr.split())
        self.assertIn("Temporary failure resolving 'example.invalid'", text)
        self.assertIn("No package source can be reached", text)
        self.assertIn("Missing: g++ cmake", text)
        self.assertEqual([line for line in (done.stdout + done.stderr).splitlines() if len(line) > 80], [])

    def test_another_trouble_is_shown_as_apt_has_it(self):
        done = Tools(self, dpkg_query=self.NOTHING_INSTALLED, apt_get="echo 'E: dpkg was interrupted'; exit 100").setup("--demo")
        self.assertEqual(done.returncode, 1)
        self.assertIn("E: dpkg was interrupted", done.stderr)
        self.assertNotIn("No package source", done.stderr)


class DebianSource(unittest.TestCase):
    def test_after_a_try_without_a_network_the_next_one_asks_again(self):
        asked = tempfile.NamedTemporaryFile()
        self.addCleanup(asked.close)
        tools = Tools(self, apt_get=f"echo \"$@\" >>{asked.name}; echo 'W: Failed to fetch' >&2", apt_cache="exit 100", dpkg_source="exit 0")
        cache = tempfile.TemporaryDirectory()
        self.addCleanup(cache.cleanup)
        for times in (1, 2):
            tried = run(ROOT / "scripts" / "debian-source", "mosquitto", f"{cache.name}/source",
                        env={"PATH": f"{tools.folder.name}:{os.environ['PATH']}", "QOLIVE_CACHE": cache.name})
            self.assertEqual(tried.returncode, 1)
            self.assertIn("no source of the package mosquitto can be had", tried.stderr)
            self.assertEqual(pathlib.Path(asked.name).read_text(), "update\n" * times)


class Test(unittest.TestCase):
    """scripts/test with programs that only pretend to build and to test."""

    CMAKE = 'for i in 1 2; do echo "[$i/2] Building"; done'
    CTEST = r"""
echo "1/2 Test #1: a ... Passed"
while [ "$1" != --output-junit ]; do shift; done
cat >"$2" <<END
<testsuite><testcase name="a" status="run"/><testcase name="b" status="notrun"><system-out>full=${QOLIVE_TEST_FULL:-no}</system-out></testcase>
<testcase name="c" status="$OUTCOME" time="1"/></testsuite>
END"""

    def setUp(self):
        self.tools = Tools(self, dpkg_query="printf installed", cmake=self.CMAKE, ctest=self.CTEST)

    def script(self, *arguments, outcome="run"):
        return run(ROOT / "scripts" / "test", *arguments,
                   env={"PATH": f"{self.tools.folder.name}:{os.environ['PATH']}", "OUTCOME": outcome})

    def test_it_says_what_comes_how_far_it_is_and_how_it_went(self):
        done = self.script("native")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        lines = done.stdout.splitlines()
        self.assertTrue(lines[0].startswith("What comes: native."))
        for line in ("build native: 1 of 2", "tests native: 1 of 2", "native: 2 passed, 0 failed, 1 skipped"):
            self.assertIn(line, lines)
        self.assertRegex(done.stdout, r"== tests native, round 1 of 1 \(part 1 of 1, \d+ s\)")
        self.assertEqual(lines[-1], "4 passed, 0 failed, 1 skipped")

    def test_a_failed_test_fails_it(self):
        done = self.script("native", outcome="fail")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stdout.splitlines()[-1], "3 passed, 1 failed, 1 skipped")

    def test_full_reaches_the_tests(self):
        self.assertIn("full=no", self.script("native").stderr)
        self.assertIn("full=1", self.script("native", "--full").stderr)

    def test_what_cannot_be_is_refused_before_anything_is_done(self):
        for wrong in (["--repeat"], ["--repeat", "0"], ["--repeat", "x"], ["nativ"]):
            refused = self.script(*wrong)
            self.assertEqual((refused.returncode, refused.stdout), (2, ""), wrong)


class Progress(unittest.TestCase):
    BUILD = "build() { for i in 1 2 3; do echo \"[$i/3] Building\"; done; echo warning; return 7; }\n"

    def test_a_log_gets_a_line_now_and_then(self):
        done = in_bash("tell first; tell second; SECONDS=$((SECONDS + 9)); tell third; SECONDS=$((SECONDS + 3)); tell fourth")
        self.assertEqual(done.stdout, "first\nfourth\n")

    def test_a_step_keeps_its_output_and_its_status(self):
        with tempfile.TemporaryDirectory() as folder:
            done = in_bash(f"{self.BUILD} with_progress {folder}/log building build || echo status $?",
                           env={"QOLIVE_TELL_PAUSE": "3600"})
            self.assertEqual(done.stdout, "building: 1 of 3\nstatus 7\n", done.stderr)
            self.assertEqual(pathlib.Path(folder, "log").read_text(),
                             "[1/3] Building\n[2/3] Building\n[3/3] Building\nwarning\n")

    def test_a_step_that_says_nothing_tells_its_time(self):
        with tempfile.TemporaryDirectory() as folder:
            done = in_bash(f"with_progress {folder}/log linking sleep 2.5", env={"QOLIVE_TELL_PAUSE": "1"})
            self.assertRegex(done.stdout, r"\Alinking: [12] s\n")

    def test_failed_tests_are_counted(self):
        lines = r" 1/3 Test #1: a ... Passed\n 2/3 Test #2: b ...***Failed\n 3/3 Test #3: c ...***Skipped\n"
        written = on_a_terminal(f"with_progress /dev/null native printf '{lines}'", 80)
        self.assertIn("native: 3 of 3, 1 failed", written)

    def test_a_terminal_gets_one_line_that_is_written_over(self):
        written = on_a_terminal(f"{self.BUILD} with_progress /dev/null building build; echo end", 80)
        self.assertEqual(written, "\r\x1b[Kbuilding: 1 of 3\r\x1b[Kbuilding: 2 of 3\r\x1b[Kbuilding: 3 of 3\r\x1b[Kend\r\n")

    def test_a_line_never_goes_beyond_the_width_of_the_terminal(self):
        written = on_a_terminal("tell 'a rather long line about what is being done'; tell_no_more; say one two three four five six", 24)
        self.assertIn("\r\x1b[Ka rather long line abou\r", written)
        self.assertIn("one two three four five\r\nsix\r\n", written)


if __name__ == "__main__":
    unittest.main()
