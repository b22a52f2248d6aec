#!/usr/bin/env python3
"""The demo's verdict: a show that went as it should passes, and each thing that can go wrong is missed."""

import contextlib
import copy
import datetime
import io
import os
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import demo_verdict  # noqa: E402

BEGIN = datetime.datetime(2024, 1, 1, 12, tzinfo=datetime.timezone.utc)
BEGIN_MS = int(BEGIN.timestamp() * 1000)
SECONDS = 130
CONNECTIONS = ("aaaaaaaa", "bbbbbbbb")
PER_SECOND = {"videoFrames": 25, "videoBytes": 100_000}


def line(seconds, kind, **members):
    time = (BEGIN + datetime.timedelta(seconds=seconds)).isoformat(timespec="milliseconds")
    return {"time": time.replace("+00:00", "Z"), "kind": kind, "client": "demo", **members}


def beat(connection, seconds, live, linked, mixed):
    body = {"ts": BEGIN_MS + round(seconds * 1000), "liveStatus": 1 if live else 2, "micStatus": 1 if linked else 2,
            "liveInfo": {"width": 640, "height": 360}, "micInfo": {"mixStreamName": "demo-mix" if mixed else ""}}
    return line(seconds, "full", connection=connection, topic="heartbeat", body=body)


def beats(connection):
    """Full ones where the state changes and keep-alives between them, one every 3 s."""
    known = None
    for seconds in range(1, SECONDS, 3):
        state = (3 <= seconds < SECONDS - 4, 7 <= seconds < 15, 11 <= seconds)
        full = beat(connection, seconds, *state)
        yield full if state != known else {**full, "kind": "keep-alive", "body": {"ts": full["body"]["ts"]}}
        known = state


def quality(order):
    """Made a minute after the one before, of samples that agree with the encoder."""
    first = 10 + 60 * (order - 1)
    times = [first + 5 * number for number in range(12)]
    samples = [{"collectTime": BEGIN_MS // 1000 + time, "veFps": 25, "veBitrate": 800} for time in times]
    body = {"sid": "s-1", "order": order, "t": BEGIN_MS + times[-1] * 1000 + 500, "streams": samples, "devices": [{}] * 12}
    return line(times[-1] + 1, "quality", body=body)


def show():
    lines = [line(0, "remark", client=None)]
    lines += [line(1, "online", connection=connection, topic="presence") for connection in CONNECTIONS]
    lines += [heartbeat for connection in CONNECTIONS for heartbeat in beats(connection)]
    lines += [line(4 + at, "command", body={"bizType": number}) for at, number in enumerate(demo_verdict.COMMANDS)]
    stream = {"streamId": "anchor", "sid": "s-1", "requestTime": 17, "width": 640, "height": 360}
    lines += [line(2, "stream", body=stream), line(2, "answered", code=0), line(4, "first-frame", body={"startTime": 17})]
    lines += [quality(1), quality(2)]
    lines += [line(SECONDS, "offline", connection=connection, topic="presence") for connection in CONNECTIONS]
    return lines


def figures():
    return [{"t": BEGIN_MS + 1000 * second, "stream": "anchor", **{key: rate * second for key, rate in PER_SECOND.items()}}
            for second in range(SECONDS)]


def missing(lines, figure_lines=None):
    """The points that a show has missed, without what is told of them in parentheses."""
    told = io.StringIO()
    os.environ["COLUMNS"] = "500"  # each point on one line
    verdict = demo_verdict.Verdict()
    with contextlib.redirect_stdout(told):
        demo_verdict.judge(verdict, lines, figure_lines or figures(), "demo", SECONDS)
    points = re.findall(r"MISSING  ([^(\n]+)", told.getvalue())
    assert verdict.missing == len(points), told.getvalue()
    return {point.strip() for point in points}


class Verdict(unittest.TestCase):
    def changed(self, kind, change):
        """What is missing once `change` has been made to the bodies of those lines."""
        lines = copy.deepcopy(show())
        found = [each for each in lines if each["kind"] == kind]
        self.assertTrue(found)
        for each in found:
            change(each["body"])
        return missing(lines)

    def without(self, unwanted):
        return missing([each for each in show() if not unwanted(each)])

    def test_a_show_as_it_should_be_passes(self):
        self.assertEqual(missing(show()), set())

    def test_a_connection_that_never_came(self):
        self.assertIn("a main and a backup connection", self.without(lambda each: each.get("connection") == CONNECTIONS[1]))

    def test_heartbeats_that_are_late_few_or_keep_saying_the_same(self):
        late = lambda each: each["kind"] in ("full", "keep-alive") and each["time"] < "2024-01-01T12:00:07"
        self.assertIn("the first heartbeat is full and comes at once", self.without(late))
        self.assertEqual(self.without(lambda each: each["time"][17:19] == "31" and each["kind"] == "keep-alive"), {"one every 3 s"})
        self.assertIn("going live brings one full heartbeat", self.changed("full", lambda body: body.update(liveStatus=2)))
        self.assertIn("the co-host joining brings one full heartbeat", self.changed("full", lambda body: body.update(micStatus=2)))
        self.assertEqual(self.changed("full", lambda body: body["micInfo"].update(mixStreamName="")), {"the mix is reported"})

    def test_an_end_without_a_goodbye_or_while_live(self):
        self.assertEqual(self.without(lambda each: each["kind"] == "offline"), {"it ends with a last heartbeat and a goodbye"})
        self.assertIn("the live session has ended by then", self.changed("full", lambda body: body.update(liveStatus=1)))

    def test_records_that_are_missing(self):
        for kind, point in (("stream", "one stream record"), ("first-frame", "one first-frame record"),
                            ("answered", "every stream was accepted"), ("quality", "a quality record every 60 s")):
            self.assertIn(point, self.without(lambda each: each["kind"] == kind))
        self.assertIn("a quality record every 60 s", self.without(lambda each: each.get("body", {}).get("order") == 1))
        self.assertIn("twelve samples in record 1", self.changed("quality", lambda body: body["devices"].pop()))

    def test_samples_that_disagree_with_the_encoder(self):
        def frames(body):
            for sample in body["streams"]:
                sample["veFps"] += 2
        def bitrate(body):
            for sample in body["streams"]:
                sample["veBitrate"] *= 1.03
        self.assertEqual(self.changed("quality", frames), {"they agree with the encoder within 1 frame per second"})
        self.assertEqual(self.changed("quality", bitrate), {"they agree with the encoder within 2 % of the bitrate"})
        self.assertEqual(missing(show(), figures()[:30]), {"the samples can be compared with the encoder"})

    def test_what_is_told_wrongly(self):
        self.assertEqual(self.changed("stream", lambda body: body.update(width=320)), {"the heartbeat tells the size that is encoded"})
        self.assertEqual(self.changed("command", lambda body: body.update(bizType=1)), {"the commands, in order"})
        self.assertEqual(missing(show() + [line(50, "lost")]), {"nothing dark, lost or repeated"})


if __name__ == "__main__":
    unittest.main()
