#!/usr/bin/env python3
"""How the programs begin and end: what they say of themselves, and their exit status when something does not work."""

import fcntl
import json
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import tempfile
import termios
import time
import unittest

from staged import ROOT, StageTest

from processes import Process, eventually, free_port, host_program, parsed

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
        project = (ROOT / "CMakeLists.txt").read_text()
        version = re.search(r"project\(QoLiveReport VERSION (\S+)", project).group(1)
        for name, command in self.PROGRAMS.items():
            shown = run([*command, "--version"])
            self.assertEqual((shown.returncode, shown.stdout), (0, f"{name} (QoLiveReport) {version}\n"))

    def test_a_wrong_option_is_named(self):
        for name, command in self.PROGRAMS.items():
            shown = run([*command, "--bogus"])
            self.assertEqual((shown.returncode, shown.stdout), (2, ""))
            self.assertIn("--bogus", shown.stderr)


class AddressTest(StageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.wrong = cls.stage.folder / "wrong"
        cls.wrong.write_text("wrong\n")
        cls.address = f"127.0.0.1:{cls.stage.port}"


class Collector(AddressTest):
    def collect(self, *arguments, **options):
        return run([*COLLECTOR, "--broker", self.address, "--user", "collector", "--token-file", self.stage.folder / "token",
                    *arguments], **options)

    def test_it_says_how_it_is_connected(self):
        shown = self.collect("--seconds", "1")
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertIn(f"listening at {self.address} over plain TCP\n", shown.stdout)

    def test_text_keeps_to_the_width_of_the_terminal(self):
        for columns in (80, 132):
            inside, terminal = pty.openpty()
            fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            environment = {name: value for name, value in os.environ.items() if name != "COLUMNS"}
            collector = subprocess.Popen([*COLLECTOR, "--broker", self.address, "--user", "collector", "--token-file",
                                          self.stage.folder / "token"], stdout=terminal, env={**environment, "NO_COLOR": "1"})
            os.close(terminal)
            text = os.read(inside, 1000).decode()
            self.stage.publish("qolive/show/0000000a/up/4", json.dumps({"bizType": 1, "data": "word " * 40}))
            while text.count("word") < 10:
                text += os.read(inside, 1000).decode()
            collector.terminate()
            self.assertEqual(collector.wait(60), 0)
            os.close(inside)
            widest = max(map(len, text.splitlines()))
            self.assertTrue(columns - 20 < widest <= columns, text)

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

    def test_a_reader_that_goes_ends_it(self):
        reading, writing = os.pipe()
        collector = subprocess.Popen([*COLLECTOR, "--json", "--broker", self.address, "--user", "collector", "--token-file",
                                      self.stage.folder / "token"], stdout=writing, stderr=subprocess.PIPE, text=True)
        os.close(writing)
        self.assertIn(b"listening", os.read(reading, 1000))
        os.close(reading)
        self.assertEqual(collector.communicate(timeout=60)[1],
                         "qolive-collector: cannot write to the standard output: Broken pipe\n")
        self.assertEqual(collector.returncode, 1)

    def test_a_reader_that_does_not_read_holds_up_nothing(self):
        reading, writing = os.pipe()
        record = self.stage.folder / "unread.jsonl"
        collector = subprocess.Popen([*COLLECTOR, "--json", "--record", record, "--broker", self.address, "--user", "collector",
                                      "--token-file", self.stage.folder / "token"], stdout=writing, stderr=subprocess.PIPE, text=True)
        os.close(writing)
        self.assertTrue(eventually(lambda: parsed(record), 30))
        event = '{"bizType":1,"data":"' + "x" * 60000 + '"}\n'
        for client in ("a", "b", "c", "d"):
            subprocess.run(["mosquitto_pub", "-V", "5", "-q", "1", "-p", str(self.stage.port), "-u", "watch", "-P", "watch", "-t",
                            f"qolive/{client}/0000000a/up/4", "-l"], input=event * 50, text=True, check=True)
        commands = lambda: sum(line["kind"] == "command" for line in parsed(record))
        self.assertTrue(eventually(lambda: commands() == 200, 60), commands())
        collector.send_signal(signal.SIGTERM)
        told = collector.communicate(timeout=60)[1]
        self.assertRegex(told, r"^qolive-collector: the standard output: \d+ findings were dropped: they were not read in time\n$")
        os.close(reading)

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


CONNECTED = "reportData:"  # the first heartbeat has been handed over


def run_host(folder, *arguments, until=(), token=""):
    """A host that is interrupted once its log says all of `until`; its exit status and what it wrote."""
    log = folder / f"host-{time.monotonic_ns()}.log"
    host = Process([*host_program(), "--duration", "100", *map(str, arguments)], log, env={**os.environ, "QOLIVE_TOKEN": token})
    eventually(lambda: host.popen.poll() is not None or (until and all(text in host.text() for text in until)), 60)
    return host.end(signal.SIGINT), host.text()


class Host(AddressTest):
    """The host's exit status tells whether what it was asked to do worked."""

    def host(self, *arguments, until=(), token=None):
        return run_host(self.stage.folder, "--main", self.address, "--client", "show", *arguments, until=until,
                        token=token or self.stage.token)

    def assert_fails(self, ended, status, *texts):
        self.assertEqual(ended[0], status, ended[1])
        for text in texts:
            self.assertIn(text, ended[1].splitlines()[-1], "the last line says it")

    def test_a_show_that_works_ends_well(self):
        status, text = self.host(until=[CONNECTED])
        self.assertEqual(status, 0, text)
        self.assertIn(f"connected to {self.address} over plain TCP", text)

    def test_a_refused_password(self):
        ended = self.host(until=["Not authorized"], token="wrong-token")
        self.assert_fails(ended, 1, "QoLive: no server was reached: ", "Not authorized")
        self.assertNotIn("wrong-token", ended[1])

    def test_a_fault_is_told_to_those_who_want_it_quiet(self):
        ended = self.host("--quiet", "--duration", "1", "--main", f"127.0.0.1:{free_port()}")
        self.assert_fails(ended, 1, "QoLive: no server was reached: ")
        self.assertEqual(len(ended[1].splitlines()), 1, ended[1])

    def test_a_server_that_is_away(self):
        self.assert_fails(self.host("--main", f"127.0.0.1:{free_port()}", until=["Connection refused"]), 1,
                          "no server was reached: ", "Connection refused")

    def test_an_input_file_that_is_missing_or_no_media(self):
        publish = ["--publish", f"udp://127.0.0.1:{free_port()}"]
        self.assert_fails(self.host(*publish, "--input", "/nonexistent/a.mp4"), 2, "/nonexistent/a.mp4")
        (self.stage.folder / "garbage").write_bytes(b"\xa5" * 100000)
        ended = self.host(*publish, "--input", self.stage.folder / "garbage", until=[CONNECTED, "QoLive: anchor: "])
        self.assert_fails(ended, 1, "anchor: ", "garbage")

    def test_an_address_for_the_video_that_cannot_be_or_does_not_answer(self):
        self.assert_fails(self.host("--publish", "http://127.0.0.1/live"), 2, "http://127.0.0.1/live")
        refused = self.host("--publish", f"rtmp://127.0.0.1:{free_port()}/live/key", until=[CONNECTED, "trying again in 1 s"])
        self.assert_fails(refused, 1, "anchor: ", "Connection refused")

    def test_files_that_cannot_be_written(self):
        publish = ["--publish", f"udp://127.0.0.1:{free_port()}"]
        self.assert_fails(self.host(*publish, "--figures", "/nonexistent/figures"), 2, "/nonexistent/figures")
        status, text = self.host(*publish, "--figures", "/dev/full", "--duration", "3")
        self.assertEqual(status, 1)
        self.assertIn("figures could not be written to /dev/full", text)
        self.assert_fails(self.host("--log", "/nonexistent/log"), 2, "/nonexistent/log")
        self.assert_fails(self.host("--log", "/dev/full", "--duration", "1"), 1, "log could not be written to /dev/full")

    def test_a_show_that_is_interrupted_ends_what_is_live(self):
        collector = self.stage.collector()
        host = self.stage.host("0 heartbeat on\n0 live on\n0 co-host-link on\n", "--duration", "60")
        seen = lambda: [line["body"]["liveStatus"] for line in parsed(collector.record) if line["kind"] == "full"]
        self.assertTrue(eventually(lambda: seen().count(1) == 2, 60))
        host.end(signal.SIGINT)
        eventually(lambda: sum(line["kind"] == "offline" for line in parsed(collector.record)) == 2)
        collector.end(signal.SIGINT)
        last = {line["connection"]: line["body"] for line in parsed(collector.record) if line["kind"] == "full"}
        self.assertEqual([(body["liveStatus"], body["micStatus"]) for body in last.values()], [(2, 2), (2, 2)])


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
        status, text = run_host(self.folder, "--main", self.address, "--ca", self.ca, until=[CONNECTED])
        self.assertEqual(status, 0, text)
        self.assertIn(f"connected to {self.address} over TLS", text)
        collector = run([*COLLECTOR, "--broker", self.address, "--ca", self.ca, "--seconds", "1"])
        self.assertEqual(collector.returncode, 0, collector.stderr)
        self.assertIn(f"listening at {self.address} over TLS", collector.stdout)

    def test_without_an_authority_it_is_plain_and_says_so(self):
        status, text = run_host(self.folder, "--main", self.address, until=["cannot connect"])
        self.assertEqual(status, 1, text)
        self.assertIn(f"cannot connect to {self.address} over plain TCP: ", text)


if __name__ == "__main__":
    unittest.main()
