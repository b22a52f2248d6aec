#!/usr/bin/env python3
"""Runs the host, a broker and the collector, and looks at the wire with mosquitto_sub."""

import copy
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from scripted_broker import GRANTED, NOT_AUTHORIZED, ScriptedBroker
from staged import StageTest

import check_wire
from processes import Process, eventually, host_program, parsed

SHOW = """\
0   user u-1 1
0   session s-1
0   heartbeat on
3.5 business 1 2
3.5 stream show 7 1280 720 1
3.5 live on
3.6 command 1 {"say":"one"}
3.6 command 2 two
3.6 command 3 three
4   report-start show 0
4   report-data show 15 1700000000000
4   report-data show 17 1700000000400
4   report-data show 21 25
4   report-text show 1 127.0.0.1
4   report-text show 2 7
4   report-text show 6 show
4   report-event show 1 {"note":"of the host"}
7.2 co-host 1 2 guest 8 640 360 1 2 channel 1
7.2 co-host-push 1
7.2 mix both 1280 720 9 1
7.2 co-host-link on
9   report-event show 4
9   report-event show 3 {"any":["thing"]}
"""
OFFLINE = '{"online":false}'
# What is reported before the connection is up waits for the next report, and a first frame before the stream is accepted is
# dropped: on a machine that is slow both come again. What is fed in the middle of the minute is in the first record.
QUALITY = """\
0 heartbeat on
1 report-start show 0
1 report-text show 2 7
30 report-data show 2 125
30 report-data show 9 1562500
""" + "".join(f"{second} report-event show 1\n{second + 4} report-event show 4\n" for second in (1, 6, 12, 20, 40, 80, 160))


def heartbeats(lines):
    """The bodies of the heartbeats that mosquitto_sub saw, by connection."""
    by_connection = {}
    for line in lines:
        levels = line["topic"].split("/")
        if levels[3:] == ["up", "2"]:
            by_connection.setdefault(levels[2], []).append(json.loads(line["payload"]))
    return by_connection


class Show(StageTest):
    """One whole show, with a collector that comes late."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        host = cls.stage.host(SHOW, "--duration", "11")
        eventually(lambda: len(heartbeats(cls.stage.watched())) == 2)
        cls.collector = cls.stage.collector()
        cls.host_status = host.popen.wait(60)
        eventually(lambda: sum("offline" in line for line in cls.collector.text().splitlines()) == 2)
        cls.collector_status = cls.collector.end(signal.SIGINT)
        eventually(lambda: sum(line["payload"] == OFFLINE for line in cls.stage.watched()) == 2)
        cls.seen = cls.stage.watched()
        cls.reports = heartbeats(cls.seen)
        cls.record = parsed(cls.collector.record)

    def test_both_programs_end_well(self):
        self.assertEqual((self.host_status, self.collector_status), (0, 0))

    def test_every_message_holds_against_its_schema(self):
        for path in (self.stage.watch_file, self.collector.record):
            counts, faults = check_wire.check(path.read_text())
            self.assertEqual(faults, [])
        counts, _ = check_wire.check(self.stage.watch_file.read_text())
        for kind in ("presence", "full heartbeat", "keep-alive heartbeat", "command", "heartbeat-request", "stream-record",
                     "stream-first-frame", "stream-event", "stream-answer"):
            self.assertGreater(counts[kind], 0, kind)

    def test_the_first_report_of_each_connection_is_full(self):
        self.assertEqual([reports[0]["type"] for reports in self.reports.values()], [1, 1])

    def test_periodic_reports_keep_their_period(self):
        for reports in self.reports.values():
            times = [report["ts"] for report in reports[:-1]]  # the last one is the farewell
            self.assertGreaterEqual(min(b - a for a, b in zip(times, times[1:])), 3000)

    def test_a_change_brings_one_full_report_on_each_connection(self):
        for reports in self.reports.values():
            full = [r for r in reports if r["type"] == 1]
            states = [(r["liveStatus"], r["micStatus"]) for r in full]
            self.assertEqual(states.count((1, 1)), 1)
            linked = states.index((1, 1))
            # The host's end takes both back, one after the other.
            self.assertEqual((states[:linked].count((1, 2)), states[-1]), (1, (2, 2)))
            self.assertEqual(full[states.index((1, 2))]["liveInfo"]["streamName"], "show")
            self.assertEqual(full[linked]["micInfo"]["mixStreamName"], "both")

    def test_commands_leave_in_order_on_the_main_connection(self):
        sent = [(line["topic"].split("/")[2], json.loads(line["payload"])) for line in self.seen if line["topic"].endswith("/up/4")]
        self.assertEqual([body["bizType"] for _, body in sent], [1, 2, 3])
        self.assertEqual(len({connection for connection, _ in sent}), 1)

    def test_a_stop_sends_final_reports_and_a_goodbye(self):
        for connection in self.reports:
            levels = [(line["topic"].split("/", 3)[3], line["payload"]) for line in self.seen if f"/{connection}/" in line["topic"]]
            self.assertEqual(levels[-2][0], "up/2")
            self.assertEqual(levels[-1], ("presence", OFFLINE))

    def test_a_late_collector_asks_for_the_state_and_gets_it(self):
        asked = [line["connection"] for line in self.record if line["kind"] == "asked"]
        self.assertEqual(len(asked), 1)
        answers = [line["kind"] for line in self.record if line.get("connection") == asked[0] and line.get("command") == 2]
        self.assertEqual(answers[:2], ["keep-alive", "full"])

    def test_answers_need_no_acknowledgement(self):
        self.assertEqual({line["qos"] for line in self.seen if "/down/" in line["topic"]}, {0})

    def test_the_stream_is_accepted_and_its_events_follow(self):
        kinds = [line["kind"] for line in self.record if line.get("command") == 5 or line["kind"] == "answered"]
        self.assertEqual(kinds, ["stream", "answered", "first-frame", "event"])
        stream = next(line for line in self.record if line["kind"] == "stream")
        self.assertEqual((stream["body"]["fps"], stream["body"]["note"]), (25, "of the host"))
        first_frame = next(line for line in self.record if line["kind"] == "first-frame")
        self.assertEqual(first_frame["body"]["duration"], 400)

    def test_the_summary_counts_what_came(self):
        summary = self.record[-1]["broadcasters"]["show"]["connections"]
        self.assertEqual(sorted(c["role"] for c in summary.values()), ["backup", "main"])
        for connection, counters in summary.items():
            seen = [line for line in self.record if line.get("connection") == connection and line.get("command") == 2]
            self.assertEqual(counters["full"] + counters["keepAlive"], len(seen))
            self.assertLess(counters["longestGapMs"], 4500)

    def test_no_token_is_shown(self):
        for name in ("show.log", "collector.txt", "collector.jsonl", "broker.log"):
            self.assertNotIn(self.stage.token, (self.stage.folder / name).read_text(), name)


class Trouble(StageTest):
    def kinds(self, collector, client):
        return [line["kind"] for line in parsed(collector.record) if line.get("client") == client]

    def test_a_killed_host_brings_the_last_will(self):
        collector = self.stage.collector(name="will")
        host = self.stage.host("0 heartbeat on\n", "--duration", "60")
        self.assertTrue(eventually(lambda: self.kinds(collector, "show").count("full") == 2))
        host.end(signal.SIGKILL)
        self.assertTrue(eventually(lambda: self.kinds(collector, "show")[-1:] == ["dark"]))
        self.assertEqual(self.kinds(collector, "show").count("offline"), 2)
        collector.end(signal.SIGINT)

    def test_a_frozen_host_goes_dark_within_a_keep_alive(self):
        collector = self.stage.collector("--keep-alive", "4", name="frozen")
        host = self.stage.host("0 heartbeat on\n", "--duration", "60", client="other")
        self.assertTrue(eventually(lambda: self.kinds(collector, "other").count("full") == 2))
        host.send(signal.SIGSTOP)
        self.assertTrue(eventually(lambda: "dark" in self.kinds(collector, "other")))
        self.assertEqual(self.kinds(collector, "other").count("silent"), 2)
        host.send(signal.SIGCONT)
        self.assertTrue(eventually(lambda: "back" in self.kinds(collector, "other"), 8))
        self.assertEqual(host.end(signal.SIGINT), 0, "it ends in good order")
        collector.end(signal.SIGINT)

    def test_a_collector_that_was_stopped_reads_before_it_judges(self):
        collector = self.stage.collector("--keep-alive", "8", name="stopped")
        hosts = [self.stage.host("0 heartbeat on\n", "--duration", "60", client=client) for client in ("show", "other")]
        self.assertTrue(eventually(lambda: all(self.kinds(collector, c).count("full") == 2 for c in ("show", "other")), 30))
        collector.send(signal.SIGSTOP)
        time.sleep(12)
        collector.send(signal.SIGCONT)
        beats = lambda client: self.kinds(collector, client).count("keep-alive")
        before = beats("show"), beats("other")
        self.assertTrue(eventually(lambda: beats("show") >= before[0] + 6 and beats("other") >= before[1] + 6, 30))
        for client in ("show", "other"):
            self.assertNotIn("silent", self.kinds(collector, client))
        for host in hosts:
            host.end(signal.SIGINT)
        collector.end(signal.SIGINT)

    def test_a_stop_of_the_collector_is_no_silence_of_the_others(self):
        collector = self.stage.collector("--keep-alive", "8", name="starved")
        host = self.stage.host("0 heartbeat on\n", "--duration", "60")
        self.assertTrue(eventually(lambda: self.kinds(collector, "show").count("full") == 2, 30))
        for process in (host, collector):
            process.send(signal.SIGSTOP)
        time.sleep(12)
        collector.send(signal.SIGCONT)
        time.sleep(1)  # in which it hears nothing
        host.send(signal.SIGCONT)
        remarks = lambda: [line["text"] for line in parsed(collector.record) if line["kind"] == "remark"]
        self.assertTrue(eventually(lambda: any("did not listen for" in text for text in remarks()), 30))
        before = self.kinds(collector, "show").count("keep-alive")
        self.assertTrue(eventually(lambda: self.kinds(collector, "show").count("keep-alive") >= before + 4, 30))
        self.assertNotIn("silent", self.kinds(collector, "show"))
        host.end(signal.SIGINT)
        collector.end(signal.SIGINT)

    def test_a_refused_stream_sends_nothing_more(self):
        collector = self.stage.collector("--refuse", "7", name="refusing")
        # Long enough after the start that the answer is there, whatever the machine has to do.
        script = "1 report-start s 0\n1 report-event s 1\n9 report-event s 4\n9 report-event s 3\n"
        self.assertEqual(self.stage.host(script, "--duration", "10", client="other").popen.wait(60), 0)
        collector.end(signal.SIGINT)
        lines = parsed(collector.record)
        self.assertEqual([line["code"] for line in lines if line["kind"] == "answered"], [7])
        self.assertEqual([line["kind"] for line in lines if line.get("command") == 5], ["stream"])

    def test_malformed_messages_are_shown_and_change_nothing_else(self):
        collector = self.stage.collector(name="flooded")
        host = self.stage.host("0 heartbeat on\n", "--duration", "60")
        self.assertTrue(eventually(lambda: self.kinds(collector, "show").count("full") == 2))
        connection = next(line["connection"] for line in parsed(collector.record) if line["kind"] == "full")
        bad = ["", "nonsense", "[" * 100000, "{}", '{"type":1}', "\x1b[2J", "x" * (10 << 20)]
        for payload in bad:
            for level in ("up/2", "up/4", "up/5", "presence"):
                self.stage.publish(f"qolive/show/{connection}/{level}", payload)
            self.stage.publish(f"qolive/{connection}/x/up/2", payload)
        self.assertTrue(eventually(lambda: "keep-alive" in self.kinds(collector, "show")))
        eventually(lambda: sum(line["kind"] == "malformed" for line in parsed(collector.record)) == 5 * len(bad))
        host.end(signal.SIGINT)
        self.assertEqual(collector.end(signal.SIGINT), 0)
        self.assertNotIn("\x1b", collector.text())
        self.assertLess(len(collector.text()), 100000)
        summary = parsed(collector.record)[-1]
        self.assertEqual(summary["malformed"], 5 * len(bad))
        self.assertEqual(list(summary["broadcasters"]), ["show"])
        self.assertEqual(summary["broadcasters"]["show"]["connections"][connection]["full"], 1)

    def test_what_a_broker_has_retained_is_nobodys_word(self):
        ghost = "qolive/ghost/0000000a/presence"
        subprocess.run(["mosquitto_pub", "-V", "5", "-p", str(self.stage.port), "-u", "watch", "-P", "watch", "-r", "-t", ghost,
                        "-m", '{"online":true}'], check=True)
        collector = self.stage.collector(name="retained")
        self.assertTrue(eventually(lambda: self.kinds(collector, "ghost"), 30))
        self.stage.publish(ghost.replace("ghost", "living"), '{"online":true}')
        self.assertTrue(eventually(lambda: self.kinds(collector, "living"), 30))
        collector.end(signal.SIGINT)
        self.assertEqual(self.kinds(collector, "ghost"), ["online"])
        self.assertEqual(self.kinds(collector, "living"), ["joined", "online"])

    def test_who_sends_too_much_is_not_read_any_more_and_that_is_told(self):
        collector = self.stage.collector(name="excess")
        command = '{"bizType":1,"data":"' + "x" * 60000 + '"}\n'
        subprocess.run(["mosquitto_pub", "-V", "5", "-q", "1", "-p", str(self.stage.port), "-u", "watch", "-P", "watch", "-t",
                        "qolive/loud/0000000a/up/4", "-l"], input=command * 120, text=True, check=True)
        self.assertTrue(eventually(lambda: "too-much" in self.kinds(collector, "loud"), 60))
        self.stage.publish("qolive/quiet/0000000b/up/4", command)
        self.assertTrue(eventually(lambda: "command" in self.kinds(collector, "quiet"), 60))
        collector.end(signal.SIGINT)
        self.assertLess(self.kinds(collector, "loud").count("command"), 120)
        self.assertEqual(self.kinds(collector, "loud").count("too-much"), 1)

    def test_a_wrong_token_is_refused_and_not_shown(self):
        host = self.stage.run([*host_program(), "--main", f"127.0.0.1:{self.stage.port}",
                               "--client", "stranger", "--duration", "2"], self.stage.folder / "stranger.log",
                              env={**os.environ, "QOLIVE_TOKEN": "wrong-token"})
        self.assertEqual(host.popen.wait(30), 1)
        self.assertIn("refused", host.text().lower())
        self.assertNotIn("wrong-token", host.text())


class Watching(StageTest):
    """A collector that has no say."""

    def test_a_user_that_may_not_publish_stays_connected(self):
        host = self.stage.host("0 heartbeat on\n", "--duration", "600", client="other")
        heard = lambda: heartbeats([line for line in self.stage.watched() if line["topic"].startswith("qolive/other/")])
        self.assertTrue(eventually(lambda: len(heard()) == 2, 30))
        collector = self.stage.collector("--user", "reader", name="reader")
        # It asks in vain for the state of a host whose first heartbeats it has missed.
        kinds = lambda: [line["kind"] for line in parsed(collector.record)]
        self.assertTrue(eventually(lambda: kinds().count("asked") >= 3, 60))
        host.end(signal.SIGINT)
        collector.end(signal.SIGINT)
        self.assertEqual(kinds().count("remark"), 1, "it said only that it listens")

    def test_one_that_only_watches_publishes_nothing(self):
        collector = self.stage.collector("--watch", name="watching")
        host = self.stage.host("0 heartbeat on\n1 report-start s 0\n2 report-event s 1\n", "--duration", "600")
        kinds = lambda: {line["kind"] for line in parsed(collector.record)}
        self.assertTrue(eventually(lambda: {"keep-alive", "stream"} <= kinds(), 60))
        host.end(signal.SIGINT)
        self.assertEqual(collector.end(signal.SIGINT), 0)
        self.assertEqual(kinds() & {"asked", "answered"}, set())
        self.assertEqual([line["topic"] for line in self.stage.watched() if "/down/" in line["topic"]], [])


class Link(unittest.TestCase):
    """A collector and a broker that makes trouble."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.broker = ScriptedBroker()
        self.addCleanup(self.broker.close)

    def collect(self):
        collector = Process([os.environ["QOLIVE_COLLECTOR"], "--broker", f"127.0.0.1:{self.broker.port}", "--json"],
                            self.folder / "lines.jsonl")
        self.addCleanup(collector.end, signal.SIGKILL)
        return collector

    def remarks(self):
        return [re.sub(r"broker at \S+ over plain TCP", "broker", line["text"]) for line in parsed(self.folder / "lines.jsonl")]

    def test_a_subscription_refused_after_a_reconnection_is_told_and_tried_again_ever_later(self):
        collector = self.collect()
        self.broker.accept()
        self.broker.take_subscription(GRANTED)
        self.broker.hang_up()
        began = time.monotonic()
        for _ in range(3):
            self.broker.accept()
            self.broker.take_subscription(NOT_AUTHORIZED)
        self.assertGreaterEqual(time.monotonic() - began, 0.5 + 1 + 2)
        refused = "no connection to the broker: the broker does not let this user read qolive/+/+/up/+ and qolive/+/+/presence"
        self.assertTrue(eventually(lambda: len(self.remarks()) == 5, 30), self.remarks())
        self.assertEqual(self.remarks()[2:], [f"{refused}; trying again in {pause} s" for pause in ("1.0", "2.0", "4.0")])
        self.broker.accept()
        self.broker.take_subscription(GRANTED)
        self.assertTrue(eventually(lambda: self.remarks()[-1] == "the broker is back at " + self.address(), 30), self.remarks())
        self.assertEqual(collector.end(), 0)

    def address(self):
        return f"127.0.0.1:{self.broker.port} over plain TCP"

    def assert_ends_at_once(self, collector):
        began = time.monotonic()
        collector.end(signal.SIGTERM)
        self.assertLess(time.monotonic() - began, 5)

    def test_it_ends_while_nothing_answers(self):
        self.broker.go_deaf()
        collector = self.collect()
        time.sleep(1)  # in which it connects in vain
        self.assertIsNone(collector.popen.poll())
        self.assert_ends_at_once(collector)
        self.assertEqual(collector.popen.returncode, 1)
        self.assertEqual(collector.text(),
                         f"qolive-collector: no connection to a broker at {self.address()}: ended before it answered\n")

    def test_it_ends_while_nothing_answers_any_more(self):
        collector = self.collect()
        self.broker.accept()
        self.broker.take_subscription(GRANTED)
        self.broker.go_deaf()
        self.broker.hang_up()
        self.assertTrue(eventually(lambda: len(self.remarks()) == 2, 30))
        time.sleep(2)  # longer than its first pause
        self.assert_ends_at_once(collector)
        self.assertEqual(collector.popen.returncode, 0)

    def test_it_ends_while_a_broker_says_nothing(self):
        collector = self.collect()
        self.broker.accept(answer=b"")
        self.assert_ends_at_once(collector)
        self.assertEqual(collector.popen.returncode, 1)

    def test_why_the_broker_ends_a_connection_is_told(self):
        collector = self.collect()
        session_taken_over = b"\xe0\x02\x8e\x00"
        for _ in range(2):
            self.broker.accept()
            self.broker.take_subscription(GRANTED)
            self.broker.hang_up(session_taken_over)
        lost = lambda: [text for text in self.remarks() if text.startswith("lost")]
        self.assertTrue(eventually(lambda: len(lost()) == 2, 30), self.remarks())
        self.assertEqual(lost(), [f"lost the broker: Session taken over; trying again in {pause} s" for pause in ("0.5", "1.0")])
        collector.end()


class Schemas(StageTest):
    """What the schemas must refuse: every message that was really sent, with one thing wrong."""

    # Members that may be absent, and schemas that let further members through.
    OPTIONAL = {("heartbeat", "liveInfo"), ("heartbeat", "type"), ("stream-record", "note")}
    OPEN = {"heartbeat-request", "stream-answer", "stream-record", "stream-first-frame"}

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        collector = cls.stage.collector()
        # Both end when everything has come, however long the machine takes for it.
        hosts = [cls.stage.host(SHOW, "--duration", "600"), cls.stage.host(QUALITY, "--duration", "600", client="other")]
        eventually(lambda: cls.expected_kinds() <= cls.seen_kinds(), 300)
        for host in hosts:
            host.end(signal.SIGINT)
        collector.end(signal.SIGINT)
        eventually(lambda: sum(line["payload"] == OFFLINE for line in cls.stage.watched()) == 4)
        cls.schemas = check_wire.Schemas()
        cls.values = {}
        for _, message, _ in check_wire.read(cls.stage.watch_file.read_text()):
            body_schema, head_schema = check_wire.schema_names(message)
            cls.values.setdefault(body_schema, []).append(message.body)
            cls.values.setdefault(head_schema, []).append(message.head)
        cls.values.pop(None)
        cls.values["heartbeat-request"] = [{"type": 3}]

    @staticmethod
    def expected_kinds():
        return {path.stem for path in check_wire.SCHEMAS.glob("*.json")} - {"heartbeat-request"}  # nobody has to ask

    @classmethod
    def seen_kinds(cls):
        messages = check_wire.read(cls.stage.watch_file.read_text().rpartition("\n")[0])
        return {name for _, message, _ in messages for name in check_wire.schema_names(message)}

    def assert_refused(self, name, value, what):
        self.assertTrue(self.schemas.faults(name, value), f"{name} takes {what}: {json.dumps(value)[:300]}")

    @staticmethod
    def objects(value, path=()):
        """Every object inside `value` with the path to it."""
        if isinstance(value, dict):
            yield path, value
        for key, member in value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ():
            yield from Schemas.objects(member, path + (key,))

    def spoilt(self, name, change):
        """Each value of a schema with `change` made to each member of each of its objects."""
        for value in self.values[name]:
            for path, found in self.objects(value):
                for key in found:
                    spoilt = copy.deepcopy(value)
                    owner = spoilt
                    for step in path:
                        owner = owner[step]
                    change(owner, key)
                    yield key, spoilt

    def test_every_schema_was_used(self):
        files = {path.stem for path in check_wire.SCHEMAS.glob("*.json")}
        self.assertEqual(files, set(self.values))
        quality = self.values["stream-quality"][0]
        self.assertEqual((quality["order"], len(quality["streams"]), len(quality["devices"])), (1, 12, 12))
        self.assertEqual(max(sample["vsFps"] for sample in quality["streams"]), 25)
        self.assertEqual(max(sample["vsBitrate"] for sample in quality["streams"]), 2500)

    def test_a_missing_member_is_refused(self):
        for name in self.values:
            for key, value in self.spoilt(name, lambda owner, k: owner.pop(k)):
                if (name, key) not in self.OPTIONAL:
                    self.assert_refused(name, value, f"a message without {key!r}")

    def test_a_member_of_another_type_is_refused(self):
        def change(owner, key):
            owner[key] = 5 if isinstance(owner[key], str) else "5"
        for name in self.values:
            for key, value in self.spoilt(name, change):
                if (name, key) not in self.OPTIONAL:
                    self.assert_refused(name, value, f"another type of {key!r}")

    def test_an_unknown_member_is_refused(self):
        for name in set(self.values) - self.OPEN:
            for _, value in self.spoilt(name, lambda owner, k: owner.update(surprise=1)):
                self.assert_refused(name, value, "an unknown member")

    def test_a_number_out_of_range_is_refused(self):
        def change(owner, key):
            owner[key] = 2**64 if isinstance(owner[key], int) else None
        for name in self.values:
            for key, value in self.spoilt(name, change):
                if (name, key) not in self.OPTIONAL:
                    self.assert_refused(name, value, f"{key!r} out of range")

    def test_no_schema_takes_anything_but_an_object(self):
        for name in self.values:
            for value in (None, [], "text", 5, True):
                self.assert_refused(name, value, "no object")


class Documentation(unittest.TestCase):
    def test_every_member_of_every_schema_is_documented(self):
        page = (check_wire.SCHEMAS.parent / "wire.md").read_text()
        for path in check_wire.SCHEMAS.glob("*.json"):
            self.assertIn(f"(schema/{path.name})", page)
            for _, owner in Schemas.objects(json.loads(path.read_text())):
                for member in owner.get("properties", {}):
                    self.assertIn(f"\n| `{member}` |", page, path.name)


if __name__ == "__main__":
    if not os.path.exists(os.environ.get("QOLIVE_COLLECTOR", "")):
        print("the collector is not built: cmake --build --preset native")
        sys.exit(77)
    unittest.main()
