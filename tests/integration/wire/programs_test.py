#!/usr/bin/env python3
"""How the programs begin and end: what they say of themselves, and their exit status when something does not work."""

import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

from processes import Process, Stage, eventually, free_port, host_program, parsed

COLLECTOR = [os.environ["QOLIVE_COLLECTOR"]]
SINK = [os.environ["QOLIVE_SINK"]]


def run(command, **options):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60,
                          **options)


class Usual(unittest.TestCase):
    PROGRAMS = {"QoLive": host_program(), "qolive-collector": COLLECTOR, "qolive-sink": SINK, "mutator": [os.environ["QOLIVE_MUTATOR"]]}

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


class Host(StageTest):
    """The host's exit status tells whether what it was asked to do worked."""

    def host(self, *arguments, token=None):
        return run([*host_program(), "--main", self.address, "--client", "show", "--duration", "3", *arguments],
                   env={**os.environ, "QOLIVE_TOKEN": token or self.stage.token})

    def assert_fails(self, ended, status, *texts):
        self.assertEqual(ended.returncode, status, ended.stderr)
        for text in texts:
            self.assertIn(text, ended.stderr.splitlines()[-1], "the last line says it")

    def test_a_show_that_works_ends_well(self):
        ended = self.host()
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.assertIn(f"connected to {self.address} over plain TCP", ended.stderr)

    def test_a_refused_password(self):
        for quiet in ([], ["--quiet"]):
            ended = self.host(*quiet, token="wrong-token")
            self.assert_fails(ended, 1, "QoLive: no server was reached: ", "Not authorized")
            self.assertNotIn("wrong-token", ended.stdout + ended.stderr)

    def test_a_server_that_is_away(self):
        self.assert_fails(self.host("--main", f"127.0.0.1:{free_port()}"), 1, "no server was reached: ", "Connection refused")

    def test_an_input_file_that_is_missing_or_no_media(self):
        publish = ["--publish", f"udp://127.0.0.1:{free_port()}"]
        self.assert_fails(self.host(*publish, "--input", "/nonexistent/a.mp4"), 2, "/nonexistent/a.mp4")
        (self.stage.folder / "garbage").write_bytes(b"\xa5" * 100000)
        self.assert_fails(self.host(*publish, "--input", self.stage.folder / "garbage"), 1, "anchor: ", "garbage")

    def test_an_address_for_the_video_that_cannot_be_or_does_not_answer(self):
        self.assert_fails(self.host("--publish", "http://127.0.0.1/live"), 2, "http://127.0.0.1/live")
        refused = self.host("--publish", f"rtmp://127.0.0.1:{free_port()}/live/key")
        self.assert_fails(refused, 1, "anchor: ", "Connection refused")
        self.assertIn("trying again in 1 s", refused.stderr)

    def test_files_that_cannot_be_written(self):
        publish = ["--publish", f"udp://127.0.0.1:{free_port()}"]
        self.assert_fails(self.host(*publish, "--figures", "/nonexistent/figures"), 2, "/nonexistent/figures")
        self.assertIn("figures could not be written to /dev/full", self.host(*publish, "--figures", "/dev/full").stderr)
        self.assert_fails(self.host("--log", "/nonexistent/log"), 2, "/nonexistent/log")
        self.assert_fails(self.host("--log", "/dev/full"), 1, "log could not be written to /dev/full")

    def test_a_show_that_is_interrupted_ends_what_is_live(self):
        collector = self.stage.collector()
        host = self.stage.host("0 heartbeat on\n0 live on\n0 co-host-link on\n", "--duration", "60")
        seen = lambda: [line["body"]["liveStatus"] for line in parsed(collector.record) if line["kind"] == "full"]
        self.assertTrue(eventually(lambda: 1 in seen()))
        host.end(signal.SIGINT)
        collector.end(signal.SIGINT)
        last = {line["connection"]: line for line in parsed(collector.record) if line.get("command") == 2}
        self.assertEqual(len(last), 2)
        for line in last.values():
            self.assertEqual((line["kind"], line["body"]["liveStatus"], line["body"]["micStatus"]), ("full", 2, 2))


class Tls(unittest.TestCase):
    """Who names an authority gets TLS, on this machine too."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.ca = cls.folder / "ca.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
                        "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", cls.folder / "key.pem", "-out", cls.ca],
                       check=True, capture_output=True)
        port = free_port()
        cls.address = f"127.0.0.1:{port}"
        user = subprocess.run(["id", "-un"], check=True, capture_output=True, text=True).stdout.strip()
        (cls.folder / "mosquitto.conf").write_text(f"listener {port} 127.0.0.1\nallow_anonymous true\nuser {user}\n"
                                                   f"certfile {cls.ca}\nkeyfile {cls.folder}/key.pem\n")
        cls.broker = Process(["mosquitto", "-c", cls.folder / "mosquitto.conf"], cls.folder / "broker.log")
        cls.addClassCleanup(cls.broker.end)
        eventually(lambda: " running" in cls.broker.text())

    def test_a_broker_on_this_machine_is_spoken_to_over_tls(self):
        host = run([*host_program(), "--main", self.address, "--ca", self.ca, "--duration", "3"])
        self.assertEqual(host.returncode, 0, host.stderr)
        self.assertIn(f"connected to {self.address} over TLS", host.stderr)
        collector = run([*COLLECTOR, "--broker", self.address, "--ca", self.ca, "--seconds", "1"])
        self.assertEqual(collector.returncode, 0, collector.stderr)
        self.assertIn(f"listening at {self.address} over TLS", collector.stdout)

    def test_without_an_authority_it_is_plain_and_says_so(self):
        host = run([*host_program(), "--main", self.address, "--duration", "2"])
        self.assertEqual(host.returncode, 1)
        self.assertIn(f"cannot connect to {self.address} over plain TCP: ", host.stderr)


if __name__ == "__main__":
    unittest.main()
