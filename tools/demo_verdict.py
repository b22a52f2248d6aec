#!/usr/bin/env python3
"""Says whether a show of scripts/demo went as it should, from what the collector recorded and the encoder counted.

usage: demo_verdict.py --client NAME --seconds N --host-status N --figures FIGURES --log LOG RECORD

What was expected is told point by point; where something is missing, so is the end of the host's log. The last line is the
verdict.
"""

import argparse
import datetime
import json
import pathlib
import shutil
import sys
import textwrap

import check_wire

COMMANDS = [1, 2, 3, 1]
LIVE, NOT_LIVE = 1, 2
# A stream is accepted within some seconds, then a quality record comes every 60 s.
SECONDS_UNTIL_ACCEPTED = 8


class Verdict:
    def __init__(self):
        self.points = 0
        self.missing = 0

    @property
    def ok(self):
        return self.missing == 0

    def expect(self, what, holds, detail=""):
        self.points += 1
        self.missing += not holds
        say(f"  {'ok     ' if holds else 'MISSING'}  {what}" + (f" ({detail})" if detail else ""), " " * 11)

    def line(self):
        if self.ok:
            return f"PASSED: all {self.points} points that were expected"
        return f"FAILED: {self.missing} of {self.points} points that were expected are missing"


def say(text, indent=""):
    """As many lines as it takes in the width that there is."""
    print("\n".join(textwrap.wrap(text, shutil.get_terminal_size().columns, subsequent_indent=indent,
                                  break_on_hyphens=False)))


def when(line):
    return datetime.datetime.fromisoformat(line["time"].replace("Z", "+00:00")).timestamp()


def heartbeats(lines, connection):
    return [line for line in lines if line.get("connection") == connection and line["kind"] in ("full", "keep-alive")]


def state_reports(beats, key, value):
    """Full reports that begin a stretch in which `key` has `value`."""
    full = [beat["body"] for beat in beats if beat["kind"] == "full"]
    return [b for a, b in zip([{}] + full, full) if b.get(key) == value and a.get(key) != value]


def judge_connection(verdict, lines, connection, started, seconds):
    beats = heartbeats(lines, connection)
    first_after = when(beats[0]) - started if beats else None
    verdict.expect("the first heartbeat is full and comes at once", beats and beats[0]["kind"] == "full" and first_after < 5,
                   f"after {first_after:.1f} s" if beats else "none")
    regular = [beat["body"]["ts"] for beat in beats[:-1]]
    steps = [b - a for a, b in zip(regular, regular[1:])]
    verdict.expect("one every 3 s", len(beats) >= (seconds - 4) // 3 and steps and min(steps) >= 3000 and max(steps) <= 4000,
                   f"{len(beats)} heartbeats, {min(steps) / 1000:.0f} to {max(steps) / 1000:.0f} s apart" if steps else "")
    for what, key, value in (("going live", "liveStatus", 1), ("the co-host joining", "micStatus", 1)):
        verdict.expect(f"{what} brings one full heartbeat", len(state_reports(beats, key, value)) == 1)
    mixes = {beat["body"]["micInfo"]["mixStreamName"] for beat in beats if "micInfo" in beat["body"]}
    verdict.expect("the mix is reported", mixes == {"", "demo-mix"})
    last = [line["kind"] for line in lines if line.get("connection") == connection and "topic" in line][-2:]
    verdict.expect("it ends with a last heartbeat and a goodbye", last in (["keep-alive", "offline"], ["full", "offline"]))
    states = [beat["body"]["liveStatus"] for beat in beats if beat["kind"] == "full"]
    verdict.expect("the live session has ended by then", LIVE in states and states[-1] == NOT_LIVE)


class Figures:
    """What the encoder of one stream had counted at any time."""

    def __init__(self, lines):
        self.lines = lines

    def at(self, ms, key):
        for a, b in zip(self.lines, self.lines[1:]):
            if a["t"] <= ms <= b["t"]:
                return a[key] + (b[key] - a[key]) * (ms - a["t"]) / max(1, b["t"] - a["t"])
        return None

    def count(self, start_ms, end_ms, key):
        start, end = self.at(start_ms, key), self.at(end_ms, key)
        return None if start is None or end is None else end - start


def collection_times(record):
    """When each sample was taken, in ms, as well as it can be known: the samples give the second, the record the time of
    the last one."""
    seconds = [sample["collectTime"] for sample in record["streams"]]
    step = (record["t"] - seconds[0] * 1000 - 500) / max(1, len(seconds) - 1)
    guesses = [record["t"] - step * (len(seconds) - 1 - i) for i in range(len(seconds))]
    return [min(max(guess, second * 1000), second * 1000 + 999) for guess, second in zip(guesses, seconds)]


def judge_samples(verdict, record, figures):
    """Samples count what came between two collections, divided by 5. The first begins before the record can tell."""
    times, samples = collection_times(record), record["streams"][1:]
    frames = figures.count(times[0], times[-1], "videoFrames")
    kilobits = figures.count(times[0], times[-1], "videoBytes")
    if not frames or not kilobits:
        verdict.expect("the samples can be compared with the encoder", False)
        return
    kilobits *= 8 / 1000
    sampled_frames = 5 * sum(sample["veFps"] for sample in samples)
    sampled_kilobits = 5 * sum(sample["veBitrate"] for sample in samples)
    span = 5 * len(samples)
    verdict.expect("they agree with the encoder within 1 frame per second", abs(sampled_frames - frames) / span <= 1,
                   f"{sampled_frames / span:.2f} and {frames / span:.2f}")
    verdict.expect("they agree with the encoder within 2 % of the bitrate", abs(sampled_kilobits / kilobits - 1) <= 0.02,
                   f"{sampled_kilobits / span:.0f} and {kilobits / span:.0f} kbps")


def judge_stream(verdict, lines, stream, figures, seconds):
    records = {kind: [line["body"] for line in lines if line["kind"] == kind] for kind in ("stream", "first-frame", "quality")}
    own = [body for body in records["stream"] if body["streamId"] == stream]
    verdict.expect("one stream record", len(own) == 1)
    if not own:
        return
    verdict.expect("one first-frame record", len([b for b in records["first-frame"] if b["startTime"] == own[0]["requestTime"]]) == 1)
    quality = [body for body in records["quality"] if body["sid"] == own[0]["sid"]]
    due = (seconds - SECONDS_UNTIL_ACCEPTED) // 60
    if due == 0:
        print("  -        no quality record is due before 70 s")
    else:
        verdict.expect("a quality record every 60 s", [body["order"] for body in quality] == list(range(1, len(quality) + 1)) and len(quality) >= due,
                       f"{len(quality)}, with {', '.join(str(len(body.get('streams', []))) for body in quality)} samples")
    for body in quality:
        verdict.expect(f"twelve samples in record {body['order']}", len(body.get("streams", [])) == len(body.get("devices", [])) == 12)
        judge_samples(verdict, body, figures)


def judge_size(verdict, lines):
    told = {(info["width"], info["height"]) for line in lines if line["kind"] == "full" for info in [line["body"].get("liveInfo")] if info}
    encoded = {(line["body"]["width"], line["body"]["height"]) for line in lines if line["kind"] == "stream"}
    verdict.expect("the heartbeat tells the size that is encoded", len(told) == 1 and told == encoded,
                   ", ".join(f"{width}x{height}" for width, height in sorted(told | encoded)))


def judge_streams(verdict, lines, figure_lines, seconds):
    for stream in sorted({line["stream"] for line in figure_lines}):
        print(f"  stream {stream}")
        judge_stream(verdict, lines, stream, Figures([line for line in figure_lines if line["stream"] == stream]), seconds)
    answers = [line["code"] for line in lines if line["kind"] == "answered"]
    verdict.expect("every stream was accepted", answers and set(answers) == {0})


def judge(verdict, lines, figure_lines, client, seconds):
    started = when(lines[0])
    lines = [line for line in lines if line.get("client") == client]
    connections = sorted({line["connection"] for line in lines if line["kind"] == "online"})
    verdict.expect("a main and a backup connection", len(connections) == 2, ", ".join(connections))
    for connection in connections:
        print(f"  connection {connection}")
        judge_connection(verdict, lines, connection, started, seconds)
    judge_streams(verdict, lines, figure_lines, seconds)
    print("  the broadcaster")
    judge_size(verdict, lines)
    commands = [line["body"]["bizType"] for line in lines if line["kind"] == "command"]
    verdict.expect("the commands, in order", commands == COMMANDS, ", ".join(map(str, commands)))
    trouble = [line["kind"] for line in lines if line["kind"] in ("silent", "back", "lost", "no-answer") or line.get("repeated")]
    verdict.expect("nothing dark, lost or repeated", not trouble, ", ".join(trouble))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("record", type=pathlib.Path)
    parser.add_argument("--client", required=True)
    parser.add_argument("--seconds", type=int, required=True)
    parser.add_argument("--host-status", type=int, required=True)
    parser.add_argument("--figures", type=pathlib.Path, required=True)
    parser.add_argument("--log", type=pathlib.Path, required=True)
    arguments = parser.parse_args()
    text = arguments.record.read_text()
    lines = [json.loads(line) for line in text.splitlines()]
    verdict = Verdict()
    print("What was expected")
    figure_lines = [json.loads(line) for line in arguments.figures.read_text().splitlines()]
    judge(verdict, lines, figure_lines, arguments.client, arguments.seconds)
    verdict.expect("the host ended well", arguments.host_status == 0, f"exit status {arguments.host_status}")
    own = "\n".join(line for line, value in zip(text.splitlines(), lines) if value.get("client") == arguments.client)
    counts, faults = check_wire.check(own)
    verdict.expect("every message holds against its schema", counts and not faults,
                   ", ".join(f"{kind} {count}" for kind, count in sorted(counts.items())))
    for fault in faults[:10]:
        print("    " + fault)
    if not verdict.ok:
        print("The end of the library's log of the show:")
        print(*arguments.log.read_text().splitlines()[-40:], sep="\n")
    print(verdict.line())
    return 0 if verdict.ok else 1


if __name__ == "__main__":
    sys.exit(main())
