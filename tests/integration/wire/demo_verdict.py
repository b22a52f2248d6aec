#!/usr/bin/env python3
"""Says whether a show of scripts/demo went as it should, from what the collector recorded.

usage: demo_verdict.py --client NAME --seconds N RECORD
"""

import argparse
import datetime
import json
import pathlib
import sys

import check_wire

COMMANDS = [1, 2, 3, 1]


class Verdict:
    def __init__(self):
        self.ok = True

    def expect(self, what, holds, detail=""):
        self.ok &= bool(holds)
        print(f"  {'ok    ' if holds else 'MISSING'}  {what}" + (f" ({detail})" if detail else ""))


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


def judge(verdict, lines, client, seconds):
    started = when(lines[0])
    lines = [line for line in lines if line.get("client") == client]
    connections = sorted({line["connection"] for line in lines if line["kind"] == "online"})
    verdict.expect("a main and a backup connection", len(connections) == 2, ", ".join(connections))
    for connection in connections:
        print(f"  connection {connection}")
        judge_connection(verdict, lines, connection, started, seconds)
    print("  both")
    commands = [line["body"]["bizType"] for line in lines if line["kind"] == "command"]
    verdict.expect("the commands, in order", commands == COMMANDS, ", ".join(map(str, commands)))
    trouble = [line["kind"] for line in lines if line["kind"] in ("silent", "back", "lost", "no-answer") or line.get("repeated")]
    verdict.expect("nothing dark, lost or repeated", not trouble, ", ".join(trouble))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("record", type=pathlib.Path)
    parser.add_argument("--client", required=True)
    parser.add_argument("--seconds", type=int, required=True)
    arguments = parser.parse_args()
    text = arguments.record.read_text()
    lines = [json.loads(line) for line in text.splitlines()]
    verdict = Verdict()
    print("What was expected")
    judge(verdict, lines, arguments.client, arguments.seconds)
    own = "\n".join(line for line, value in zip(text.splitlines(), lines) if value.get("client") == arguments.client)
    counts, faults = check_wire.check(own)
    verdict.expect("every message holds against its schema", counts and not faults,
                   ", ".join(f"{kind} {count}" for kind, count in sorted(counts.items())))
    for fault in faults[:10]:
        print("    " + fault)
    return 0 if verdict.ok else 1


if __name__ == "__main__":
    sys.exit(main())
