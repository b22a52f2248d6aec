"""run_memory.py [--speed N] [--seconds S] [--sample N] HOST COLLECTOR

Refuses memory to the library at each place where it asks for some, one process of memory_host for each, all against the same
MQTT server and collector on a free loopback port: first once, then for a while on all threads. Every process has to get
everything done in spite of it and end with exit code 0 within S seconds. Time passes N times as fast for the hosts.

A sample of the points (--sample), or all of them with QOLIVE_TEST_FULL=1 in the environment.
Exits with 77 (skipped) where there is no mosquitto.
"""
import argparse
import concurrent.futures
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "lifetime"))
from broker_and_run import Broker, mosquitto_path  # noqa: E402
from processes import Process, eventually  # noqa: E402
from stacks import stacks_of  # noqa: E402

AT_ONCE = 6
NOT_MET = 10
RECORDINGS = 3  # threads meet differently each time


class Server:
    """The broker, and the collector that answers."""

    def __init__(self, folder, mosquitto, collector):
        self.broker = Broker(mosquitto, log="none")
        self.port = self.broker.port
        self.collector = Process([collector, "--broker", f"127.0.0.1:{self.port}"], folder / "collector.txt")
        if not eventually(lambda: "listening" in self.collector.text(), 20):
            sys.exit(f"the collector does not start: {self.collector.text()}")

    def stop(self):
        self.collector.end(signal.SIGKILL)
        self.broker.stop()


class Sweep:
    def __init__(self, arguments, port):
        self.host = arguments.host
        self.seconds = arguments.seconds
        self.port = str(port)
        self.environment = {**os.environ, "QOLIVE_CLOCK_SPEED": str(arguments.speed)}

    def run(self, *task):
        """Exit code (None: it did not end) and output."""
        process = subprocess.Popen([self.host, self.port, *task], env=self.environment, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE)
        try:
            output = process.communicate(timeout=self.seconds)[1]
        except subprocess.TimeoutExpired:
            stacks = stacks_of(process.pid)
            process.kill()
            return None, process.communicate()[1].decode(errors="replace") + stacks
        return process.returncode, output.decode(errors="replace")

    def points(self, folder):
        found = {}
        for recording in range(RECORDINGS):
            file = folder / f"points-{recording}"
            code, output = self.run("record", str(file))
            if code != 0:
                sys.exit(f"a host with all the memory it wants: exit code {code}\n{output}")
            found.update(dict.fromkeys(file.read_text().split()))
        return list(found)

    def trouble(self, task):
        """None when all went well, "" when the point was not met, else what happened."""
        extent, point = task
        code, output = self.run(extent, point)
        if code == 0:
            return None
        if code == NOT_MET:
            return ""
        outcome = f"has not ended within {self.seconds} s" if code is None else f"exit code {code}"
        return f"memory_host {extent} {point}: {outcome}\n" + "\n".join(output.splitlines()[-60:])


def chosen(points, sample):
    tasks = [(extent, point) for extent in ("once", "all") for point in points]
    if os.environ.get("QOLIVE_TEST_FULL") == "1":
        return tasks
    seed = random.randrange(1 << 32)
    print(f"seed {seed}")
    return random.Random(seed).sample(tasks, min(sample, len(tasks)))


def sweep(arguments, folder, port):
    hosts = Sweep(arguments, port)
    points = hosts.points(folder)
    tasks = chosen(points, arguments.sample)
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        outcomes = list(pool.map(hosts.trouble, tasks))
    missed = outcomes.count("")
    troubles = [outcome for outcome in outcomes if outcome]
    for trouble in troubles:
        print(trouble, end="\n\n")
    print(f"{len(points)} points; {len(tasks)} processes: {outcomes.count(None)} went on, {missed} did not meet their point, "
          f"{len(troubles)} failed")
    if not points or missed > len(tasks) / 2:
        sys.exit("too few points were met to tell")
    sys.exit(1 if troubles else 0)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--speed", type=int, default=60)
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--sample", type=int, default=40)
    parser.add_argument("host")
    parser.add_argument("collector")
    arguments = parser.parse_args()
    mosquitto = mosquitto_path()
    if not mosquitto:
        print("mosquitto is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as folder:
        server = Server(pathlib.Path(folder), mosquitto, arguments.collector)
        try:
            sweep(arguments, pathlib.Path(folder), server.port)
        finally:
            server.stop()


main()
