#!/usr/bin/env python3
"""Prints one table with what the library costs natively and under Wine. Every measurement is taken on both in turn, so that
what else the machine does meets both. scripts/figures runs it."""

import json
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROUNDS = 5
BENCHMARKS = [
    ("heartbeat", "FullHeartbeat", "a full heartbeat, built and handed over"),
    ("heartbeat", "KeepAliveHeartbeat", "a keep-alive heartbeat, built and handed over"),
    ("heartbeat", "SetterBesideTheHeartbeatThread", "a setter while the heartbeat thread runs"),
    ("data_report", "AddReportData/streams:1/real_time/threads:1", "`AddReportData`, 1 stream"),
    ("data_report", "AddReportData/streams:64/real_time/threads:1", "`AddReportData`, 64 streams"),
    ("data_report", "MutexMapAdd/streams:64/real_time/threads:1", "a mutex, a map look-up and an addition, 64 streams"),
    ("data_report", "GetMid/real_time/threads:1", "a message id"),
    ("data_report", "SendStreamReport", "`SendStreamReport`, a quality record of twelve samples"),
    ("data_report", "WriteQualityRecord", "jsoncpp alone, the same record"),
]
LOADING = [
    ("load_ms", "time to load, ms", "{:.1f}"),
    ("load_kib", "resident memory after load, MiB", "{:.1f}"),
    ("load_threads", "threads after load", "{:.0f}"),
    ("rest_kib", "resident memory at rest: heartbeat on, streams initialised, no server, MiB", "{:.1f}"),
    ("rest_threads", "threads at rest", "{:.0f}"),
]


class System:
    def __init__(self, preset, runner, ending, library, strip):
        self.runner, self.ending, self.strip = runner, ending, strip
        self.programs = ROOT / "build" / preset / "bin"
        self.library = ROOT / "build" / preset / library

    def run(self, program, *arguments):
        command = [*self.runner, str(self.programs / f"qolive_{program}{self.ending}"), *arguments]
        return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout

    def stripped_mebibytes(self):
        with tempfile.TemporaryDirectory() as folder:
            copy = shutil.copy(self.library, folder)
            subprocess.run([self.strip, copy], check=True)
            return pathlib.Path(copy).stat().st_size / 2**20

    def loading(self):
        values = dict(line.split() for line in self.run("load_cost", str(self.library)).splitlines())
        return {name: float(value) / (1024 if name.endswith("_kib") else 1) for name, value in values.items()}

    def nanoseconds(self, program):
        names = "|".join(f"^{name}$" for used, name, _ in BENCHMARKS if used == program)
        report = json.loads(self.run(f"{program}_bench", f"--benchmark_filter={names}", "--benchmark_format=json",
                                     "--benchmark_min_time=0.2"))
        unit = {"ns": 1, "us": 1e3, "ms": 1e6}
        return {run["name"]: run["real_time"] * unit[run["time_unit"]] for run in report["benchmarks"]}


def medians(systems, measure):
    """By system, the median of each named value over the rounds."""
    rounds = [[measure(system) for system in systems] for _ in range(ROUNDS)]
    return [{name: statistics.median(values[index][name] for values in rounds) for name in rounds[0][index]}
            for index in range(len(systems))]


def row(name, native, windows, form):
    print(f"| {name} | {form.format(native)} | {form.format(windows)} |")


def main():
    systems = [System("native", [], "", "lib/libQoLiveReport.so.0", "strip"),
               System("windows", [str(ROOT / "scripts/wine-run")], ".exe", "bin/QoLiveReport.dll", "x86_64-w64-mingw32-strip")]
    print("| | Linux | Windows, under Wine |\n|---|---|---|")
    row("size of the library, stripped, MiB", *(system.stripped_mebibytes() for system in systems), "{:.2f}")
    loading = medians(systems, System.loading)
    for key, name, form in LOADING:
        row(name, *(values[key] for values in loading), form)
    for program in ("heartbeat", "data_report"):
        times = medians(systems, lambda system, program=program: system.nanoseconds(program))
        for used, key, name in BENCHMARKS:
            if used == program:
                row(f"{name}, ns", *(values[key] for values in times), "{:.0f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
