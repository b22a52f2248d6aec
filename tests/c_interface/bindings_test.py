"""Calls every function of the real library through the bindings: bindings_test.py python|csharp LIBRARY HEADER BINDINGS WORK

A function that HEADER declares and a binding lacks, or that is never called through it, is an error. BINDINGS is their folder,
WORK a folder of the test's own. Exits with 77 when the language is not installed.
"""
import os
import re
import shutil
import subprocess
import sys
import threading
import time
import unittest

LANGUAGE, LIBRARY, HEADER, BINDINGS, WORK = sys.argv[1:]
HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, BINDINGS)
sys.dont_write_bytecode = True
import qolive_report as q  # noqa: E402

# Nothing listens on port 1 of this machine: the centers start and never connect.
SERVERS = {"gatewayDns": {"main": ["127.0.0.1:1"], "backup": ["127.0.0.1:1"]}}


def declared():
    with open(HEADER, encoding="utf-8") as header:
        return set(re.findall(r"QOLIVE_API [^;(]*?\b(qolive_\w+)\(", re.sub(r"//.*", "", header.read())))


def uncalled(called):
    """What is wrong with the names of the functions that were called."""
    missing, unknown = sorted(declared() - called), sorted(called - declared())
    return [f"never called through the binding: {missing}"] * bool(missing) + [f"not in the header: {unknown}"] * bool(unknown)


ENUMERATIONS = {"CENTER": "CenterState", "STREAM": "StreamType", "DATA": "DataType", "STRING": "StringType", "EVENT": "EventType"}


def constants(prefix):
    """The values of an enumeration in the header by their names without the prefix."""
    with open(HEADER, encoding="utf-8") as header:
        return {name: int(value) for name, value in re.findall(rf"\bQOLIVE_{prefix}_(\w+) = (\d+)", header.read())}


class CountingLibrary(q._Library):
    called = set()

    def raw(self, name, *arguments):
        self.called.add("qolive_" + name)
        return super().raw(name, *arguments)


q._Library = CountingLibrary
report = q.QoLiveReport(LIBRARY)
lines = []


def setUpModule():
    report.set_log_sink(lambda level, line: lines.append((level, line)))


def tearDownModule():
    report.set_log_sink(None)
    assert q._PARAMETERS.keys() == {name[len("qolive_"):] for name in declared()}, "the table of the binding is not the header"
    assert not uncalled(CountingLibrary.called), uncalled(CountingLibrary.called)


class Session(unittest.TestCase):
    def test_enumerations(self):
        for prefix, name in ENUMERATIONS.items():
            self.assertEqual({value.name: value.value for value in getattr(q, name)}, constants(prefix), name)

    def test_version(self):
        parts = [int(part) for part in report.version_text.split(".")]
        self.assertEqual(report.version, parts[0] * 1000000 + parts[1] * 1000 + parts[2])

    def test_user(self):
        report.user.login_token = "tökén\0"
        self.assertEqual(report.user.login_token, "tökén\0")
        report.user.brelo_id = "é" * 1000
        self.assertEqual(report.user.brelo_id, "é" * 1000)
        report.user.brelo_id = b"not UTF-8: \xff"
        self.assertEqual(report.user.brelo_id, "not UTF-8: \ufffd")
        report.user.tag_room_type = -5
        self.assertEqual(report.user.tag_room_type, -5)
        with self.assertRaisesRegex(OverflowError, "2147483648"):
            report.user.tag_room_type = 1 << 31

    def test_live_info(self):
        info = report.live_info
        info.set_talk_living(True, 7)
        self.assertTrue(info.is_talk_living)
        self.assertEqual(info.sdk_id, 7)
        self.assertLess(abs(info.enter_talk_time - time.time()), 60)
        self.assertEqual(info.leave_talk_time, 0)
        info.mic_type, info.mix_mode, info.layout_type, info.super_sharp = 3, 2, "grid", True
        self.assertEqual((info.mic_type, info.mix_mode, info.layout_type, info.super_sharp), (3, 2, "grid", True))
        self.assertTrue(info.is_client_mix)


class Centers(unittest.TestCase):
    def test_start_and_stop(self):
        self.assertEqual(report.centers.start({}), q.Outcome.FAILED)
        self.assertEqual(report.centers.start(SERVERS, q.HeartBaseConfig(text_value1="no.dots")), q.Outcome.FAILED)
        with self.assertRaisesRegex(q.QoLiveError, "qolive_centers_start: not started"), report.centers.started("{}"):
            self.fail("it has not started")
        base = q.HeartBaseConfig(15, 2, 30000, 9, "python", b"")
        with report.centers.started(SERVERS, base):
            self.assertEqual(report.centers.start(SERVERS), q.Outcome.ALREADY)
            self.assertTrue(report.centers.is_main_start_ok)
            self.assertTrue(report.centers.has_backup)
            self.assertNotEqual(report.centers.get(True), report.centers.get(False))
        self.assertFalse(report.centers.is_main_start_ok)
        self.assertTrue(any("CMsgCenterFactory::Start" in line for _, line in lines))

    def test_status_and_counters(self):
        changes = []
        report.centers.set_status_sink(lambda *change: changes.append(change))
        self.assertFalse(report.centers.renew_access_token("early"))
        with report.centers.started(SERVERS):
            self.assertTrue(report.centers.renew_access_token("later", int(time.time()) + 3600))
            deadline = time.monotonic() + 30
            while report.centers.get_status(True).state != q.CenterState.WAITING and time.monotonic() < deadline:
                time.sleep(0.01)
            status = report.centers.get_status(True)
            self.assertIn("cannot connect to 127.0.0.1:1", status.reason)
            self.assertLess(abs(status.since_ms - time.time() * 1000), 60000)
            self.assertEqual(set(report.centers.get_counters(False)), {0})
        report.centers.set_status_sink(None)
        for main in (False, True):
            self.assertIn((main, q.CenterState.CONNECTING, "starting"), changes)
            self.assertIn((main, q.CenterState.STOPPED, "stopped"), changes)
        self.assertEqual(q.CenterState(77), q.CenterState.UNKNOWN)

    def test_the_sink_is_kept_alive_and_let_go(self):
        class Sink:
            def __call__(self, level, line):
                seen.append(line)

            def __del__(self):
                gone.set()

        seen, gone = [], threading.Event()
        report.set_log_sink(Sink())
        self.assertFalse(gone.is_set())
        report.centers.start("no JSON")
        self.assertTrue(seen)
        report.set_log_sink(lambda level, line: lines.append((level, line)))
        self.assertTrue(gone.wait(10))


class Heartbeat(unittest.TestCase):
    def test_state(self):
        heartbeat = report.heartbeat
        heartbeat.update_live_status(True)
        heartbeat.update_mic_status(True)
        heartbeat.update_live_id("séance" + 100 * "x")
        heartbeat.update_live_business_info(101, 102)
        heartbeat.update_live_stream_info("stream", 103, 104, 105, 106)
        heartbeat.update_push_status(107)
        heartbeat.update_mic_info(108, 109, "mic", 110, 111, 112, 113, 114, "channel", 115)
        heartbeat.update_mic_push_status(116)
        heartbeat.update_mix_stream_info("mix", 117, 118, 119, 120)
        heartbeat.update_mix_stream_status(121)
        heartbeat.update_mix_mode(122)
        heartbeat.update_data_state(True)
        self.assertEqual(heartbeat.session_id, "séance" + 100 * "x")
        self.assertEqual(heartbeat.get_data(), (
            "séance" + 100 * "x", "stream", "mic", "channel", "mix", 1, 1, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111,
            112, 113, 116, 114, 122, 117, 118, 121, 119, 120))

    def test_run(self):
        heartbeat = report.heartbeat
        self.assertFalse(heartbeat.send_command(1, "early"))
        with report.centers.started(SERVERS):
            self.assertEqual(heartbeat.manager_start({"heartbeatMode": 1}), (q.Outcome.DONE, 1))
            self.assertEqual(heartbeat.manager_start(), (q.Outcome.ALREADY, None))
            self.assertEqual(heartbeat.start(), q.Outcome.ALREADY)
            self.assertFalse(heartbeat.start_backup())
            self.assertTrue(heartbeat.send_command(1, "{}"))
            self.assertEqual(heartbeat.get_command_counters(), q.CommandCounters(1, 0, 0, 1))
            self.assertFalse(heartbeat.is_connecting)
            self.assertEqual(heartbeat.get_last_report_tm(), (None, None))
            self.assertFalse(heartbeat.manager_stop())
            self.assertFalse(heartbeat.stop())


class Streams(unittest.TestCase):
    def test_streams(self):
        streams = report.streams
        self.assertLess(abs(streams.get_tick_count_ms() - time.time() * 1000), 60000)
        self.assertIsNone(streams.send_stream_report({}))
        with report.centers.started(SERVERS):
            self.assertTrue(streams.init())
            self.assertFalse(streams.is_connected)
            streams.report_start("s", q.StreamType.EVENTS_ONLY)
            streams.add_report_data("s", q.DataType.VIDEO_BYTES_SENT, 1 << 40)
            streams.add_report_string_data("s", q.StringType.URL, "rtmp")
            with self.assertRaisesRegex(q.QoLiveError, "qolive_streams_report_event_data: .* does not parse") as refusal:
                streams.report_event_data("s", q.EventType.STREAM_START, "{")
            self.assertEqual(refusal.exception.code, -2)
            streams.report_event_data("s", q.EventType.STREAM_START)
            self.assertRegex(streams.send_stream_report([1], {"type": 9}), r'^\{"mid":"\d+","type":9\}$')
            streams.set_record_bound(1, 1 << 40)
            counters = streams.get_record_counters()
            self.assertEqual(counters[:5], (2, 0, 0, 1, 1))
            self.assertGreater(counters.waiting_bytes, len('[1]{"mid":"","type":9}'))
            self.assertLess(counters.oldest_waiting_ms, 60000)
            streams.set_record_bound()
            streams.report_stop("s")


def wrong_enumerations():
    with open(os.path.join(BINDINGS, "QoLiveReport.cs"), encoding="utf-8") as file:
        source = file.read()
    for prefix, enumeration in ENUMERATIONS.items():
        body = re.sub(r"//.*", "", re.search(rf"enum {enumeration} \{{([^}}]*)\}}", source).group(1))
        found = {name: int(value) for name, value in re.findall(r"(\w+) = (\d+)", body)}
        expected = {"".join(word.capitalize() for word in name.split("_")): value for name, value in constants(prefix).items()}
        if found != expected:
            yield f"{enumeration} is not as in the header: {sorted(set(found.items()) ^ set(expected.items()))}"


def csharp():
    """Builds and runs BindingTest.cs; mono tells of each function that it looks up for its first call."""
    compiler, mono = shutil.which("mcs", path="/usr/bin"), shutil.which("mono", path="/usr/bin")
    if not (compiler and mono):
        print("mono-mcs or mono-runtime is not installed")
        sys.exit(77)
    os.makedirs(WORK, exist_ok=True)
    program = os.path.join(WORK, "BindingTest.exe")
    subprocess.run([compiler, "-warnaserror", "-warn:4", "-out:" + program, os.path.join(BINDINGS, "QoLiveReport.cs"),
                    os.path.join(HERE, "BindingTest.cs")], check=True)
    environment = {**os.environ, "LD_LIBRARY_PATH": os.path.dirname(LIBRARY), "MONO_LOG_LEVEL": "debug", "MONO_LOG_MASK": "dll"}
    done = subprocess.run([mono, program], env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                          encoding="utf-8", errors="replace")
    problems = uncalled(set(re.findall(r"Found as '(qolive_\w+)'", done.stdout)))
    problems += wrong_enumerations()
    if done.returncode:
        problems.append(f"exit code {done.returncode}")
    if problems:
        sys.exit("\n".join(re.sub(r"(?m)^Mono: .*\n", "", done.stdout).splitlines() + problems))
    print("every function was called")


if __name__ == "__main__":
    if LANGUAGE == "csharp":
        csharp()
    else:
        unittest.main(argv=sys.argv[:1], verbosity=2)
