#!/usr/bin/env python3
"""A long show whose broker is restarted again and again; says what the server never got. See scripts/soak --help."""

import argparse
import json
import os
import shutil
import signal
import sys
import tempfile
import time

import check_wire
from demo_verdict import SECONDS_UNTIL_ACCEPTED, Verdict, heartbeats, when
from processes import Stage, eventually, free_port, parsed

CLIENT = "show"
SECONDS_BETWEEN_COMMANDS = 10
# How long before a restart a message may have left without the broker passing it on, and how long afterwards broadcaster
# and collector may still be away: the longest pause between two attempts to connect is 30 s.
SLACK_BEFORE = 1
SLACK_AFTER = 35


class Outage:
    def __init__(self, start):
        self.start, self.end = start, None

    def covers(self, start, end):
        return self.start - SLACK_BEFORE <= start and end <= self.end + SLACK_AFTER

    def __str__(self):
        return f"{time.strftime('%H:%M:%S', time.localtime(self.start))}, {self.end - self.start:.1f} s"


class Losses:
    """What is missing of one kind of message, each with the stretch of time in which it should have come."""

    def __init__(self, outages):
        self.outages = outages
        self.inside = [0] * len(outages)
        self.outside = []

    def add(self, count, start, end):
        for index, outage in enumerate(self.outages):
            if outage.covers(start, end):
                self.inside[index] += count
                return
        self.outside.append((count, start, end))

    def describe(self):
        return f"{sum(self.inside)} in outages" + "".join(
            f", {count} between {time.ctime(start)} and {time.ctime(end)}" for count, start, end in self.outside)


def show_script(seconds):
    """The host's actions, and how many commands are among them."""
    numbers = range(1, (seconds - 5) // SECONDS_BETWEEN_COMMANDS)
    lines = ["0 user demo-user 1", "0 session demo-session", "0 business 1 2", "0 heartbeat on", "3 stream demo-show 7 1920 1080 1",
             "3 live on"]
    lines += [f'{SECONDS_BETWEEN_COMMANDS * number} command 1 {{"number":{number}}}' for number in numbers]
    return "\n".join(lines) + "\n", len(numbers)


def restart_until(stage, end, every, down):
    """Restarts the broker, in turn in good order and by force, and returns when it was away."""
    outages = []
    while time.time() + every + down + SLACK_AFTER < end:
        time.sleep(every)
        outage = Outage(time.time())
        stage.broker.end(signal.SIGKILL if len(outages) % 2 else signal.SIGTERM)
        time.sleep(down)
        stage.start_broker()
        outage.end = time.time()
        outages.append(outage)
        print(f"  {time.strftime('%H:%M:%S')} the broker is back after {outage.end - outage.start:.1f} s", flush=True)
    return outages


def missing_heartbeats(lines, connection, outages):
    losses = Losses(outages)
    beats = heartbeats(lines, connection)
    for a, b in zip(beats, beats[1:]):
        lost = round((b["body"]["ts"] - a["body"]["ts"]) / 3000) - 1
        if lost > 0:
            losses.add(lost, a["body"]["ts"] / 1000 + 3, b["body"]["ts"] / 1000 - 3)
    return losses


def command_numbers(lines):
    return [json.loads(line["body"]["data"])["number"] for line in lines if line["kind"] == "command"]


def missing_commands(lines, sent, started, outages):
    losses = Losses(outages)
    got = set(command_numbers(lines))
    for number in range(1, sent + 1):
        if number not in got:
            due = started + SECONDS_BETWEEN_COMMANDS * number
            losses.add(1, due, due)
    return losses


def missing_records(records, outages):
    losses = Losses(outages)
    for a, b in zip(records, records[1:]):
        lost = b["order"] - a["order"] - 1
        if lost > 0:
            losses.add(lost, a["t"] / 1000 + 60, b["t"] / 1000 - 60)
    return losses


def judge(lines, sent_commands, seconds, streams, outages):
    verdict = Verdict()
    started = when(lines[0])
    summary = lines[-1]["broadcasters"][CLIENT]
    lines = [line for line in lines if line.get("client") == CLIENT and not line.get("repeated")]
    connections = sorted({line["connection"] for line in lines if line["kind"] == "online"})
    verdict.expect("a main and a backup connection", len(connections) == 2)
    for connection in connections:
        losses = missing_heartbeats(lines, connection, outages)
        beats = heartbeats(lines, connection)
        verdict.expect(f"heartbeats of {connection}: none missing outside of outages", not losses.outside,
                       f"{len(beats)} came, missing {losses.describe()}")
    full = [when(line) for line in lines if line["kind"] == "full"]
    verdict.expect("the state is told after each outage",
                   all(any(outage.end <= time <= outage.end + SLACK_AFTER for time in full) for outage in outages))
    commands = missing_commands(lines, sent_commands, started, outages)
    verdict.expect("commands: none missing outside of outages", not commands.outside,
                   f"{sent_commands} given, missing {commands.describe()}")
    numbers = command_numbers(lines)
    verdict.expect("commands came in order", numbers == sorted(numbers))
    starts = {line["body"]["sid"]: line["body"]["streamId"] for line in lines if line["kind"] == "stream"}
    verdict.expect("every stream was announced", len(starts) == streams, ", ".join(starts.values()))
    due = (seconds - SECONDS_UNTIL_ACCEPTED) // 60
    for sid, name in starts.items():
        records = [line["body"] for line in lines if line["kind"] == "quality" and line["body"]["sid"] == sid]
        losses = missing_records(records, outages)
        verdict.expect(f"quality records of {name}: from the first to the last, none missing outside of outages",
                       records and records[0]["order"] == 1 and records[-1]["order"] >= due and not losses.outside,
                       f"{len(records)} came, due {due}, missing {losses.describe()}")
        verdict.expect("twelve samples in each", all(len(record["streams"]) == 12 for record in records))
        verdict.expect("the collector's summary says the same",
                       summary["streams"][sid]["lost"] == sum(losses.inside) + sum(loss[0] for loss in losses.outside)
                       and summary["streams"][sid]["qualityRecords"] == len(records))
    return verdict


def main():
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__)
    parser.add_argument("--minutes", type=int, default=60, help="length of the show (60)")
    parser.add_argument("--restart-every", type=float, default=5, metavar="MINUTES", help="time between two restarts (5)")
    parser.add_argument("--down", type=float, default=5, metavar="SECONDS", help="how long the broker stays away (5)")
    parser.add_argument("--streams", type=int, default=4, help="streams that are encoded at once (4)")
    arguments = parser.parse_args()
    seconds = arguments.minutes * 60
    folder = tempfile.mkdtemp()
    stage = Stage(folder)
    try:
        port = free_port()
        stage.run([os.environ["QOLIVE_SINK"], "--interval", "0",
                   *(word for stream in range(arguments.streams) for word in ("--port", str(port + 2 * stream)))], stage.folder / "sink.txt")
        collector = stage.collector()
        script, commands = show_script(seconds)
        host = stage.host(script, "--duration", str(seconds), "--publish", f"udp://127.0.0.1:{port}", "--streams",
                          str(arguments.streams), "--size", "320x180", client=CLIENT)
        print(f"The show takes {arguments.minutes} min; the broker goes away every {arguments.restart_every:g} min for "
              f"{arguments.down:g} s.", flush=True)
        outages = restart_until(stage, time.time() + seconds, arguments.restart_every * 60, arguments.down)
        host_status = host.popen.wait(seconds)
        eventually(lambda: collector.text().count("offline") >= 2)
        collector.end(signal.SIGINT)
        text = collector.text()
        print("\n" + text[text.rfind("Summary"):] + "\nWhat was expected")
        verdict = judge(parsed(collector.record), commands, seconds, arguments.streams, outages)
        verdict.expect("the host ended well", host_status == 0)
        counts, faults = check_wire.check(collector.record.read_text())
        verdict.expect("every message holds against its schema", counts and not faults, "; ".join(faults[:3]))
        print("  outages: " + "; ".join(map(str, outages)))
    finally:
        stage.close()
    if not verdict.ok:
        print(f"The files of the show stay in {folder}")
        return 1
    shutil.rmtree(folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
