"""run_lifetime.py [--emulator COMMAND] [--seconds S] [--runs N] [--goodbye] HOST LIBRARY SCENARIO

Runs one scenario of lifetime_host in a loop, each run against the same MQTT server on a free loopback port: once its work is
done, every run has to end by itself within S seconds (default 5) with exit code 0. 5 runs, or 200 with QOLIVE_TEST_FULL=1 in
the environment, or --runs. With --goodbye the server has to have been told the end of every connection: none may just have
been lost. When one takes too long, what its threads are doing is told, and whether it ends within a
minute after all. Exits with 77 (skipped) where there is no mosquitto.
"""
import argparse
import os
import sys

from broker_and_run import Broker, mosquitto_path, run_once

SHORT, FULL = 5, 200


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--emulator")
    parser.add_argument("--seconds", type=float, default=5)
    parser.add_argument("--runs", type=int, default=FULL if os.environ.get("QOLIVE_TEST_FULL") == "1" else SHORT)
    parser.add_argument("--goodbye", action="store_true")
    parser.add_argument("host")
    parser.add_argument("library")
    parser.add_argument("scenario")
    arguments = parser.parse_args()
    program = mosquitto_path()
    if not program:
        print("mosquitto is not installed")
        sys.exit(77)
    runs = arguments.runs
    broker = Broker(program)
    command = [arguments.emulator] if arguments.emulator else []
    command += [arguments.host, arguments.library, arguments.scenario, str(broker.port)]
    try:
        for run in range(runs):
            trouble = run_once(command, arguments.seconds)
            if not trouble and arguments.goodbye:
                trouble = broker.lost_connections()
            if trouble:
                sys.exit(f"run {run + 1} of {runs}: {trouble}")
    finally:
        broker.stop()
    print(f"{runs} runs")


main()
