#!/usr/bin/env python3
"""Puts single faults into the sources, one at a time, and tells which of them no test finds.

Each fault changes one line. It is put into a copy of the tree, the tests of that part of the sources are built and run,
the quick ones first, up to the first that fails. Faults that survive are shown; --only ID tries one again. What cannot be
observed at all is listed in equivalent.json with the reason, and is not tried. Exit status 0: at least 95 % of the faults
that compile were found.
"""

import argparse
import collections
import fnmatch
import json
import queue
import re
import subprocess
import sys
import threading
import time
from pathlib import Path

import running
from faults import faults_of, select
from workplace import NEVER, BuildFailed, Workplace, files_of

HERE = Path(__file__).resolve().parent
RESULTS = ["found", "survived", "equivalent", "not compiled"]
CHUNK = 6  # faults of one file that a job tries in a row: what else was built stays built


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=300, help="how many faults to try (default 300)")
    parser.add_argument("--seed", default="1", help="chooses the faults; the same seed gives the same ones (default 1)")
    parser.add_argument("--files", action="append", metavar="GLOB", help="only files that match; may be repeated")
    parser.add_argument("--since", metavar="COMMIT", help="only lines that have changed since then")
    parser.add_argument("--only", action="append", metavar="ID", help="only this fault, even if listed; may be repeated")
    parser.add_argument("--list", action="store_true", help="show the faults and try none")
    parser.add_argument("--resume", action="store_true", help="keep the results of earlier runs, and try what has none")
    parser.add_argument("--again", action="store_true", help="with --resume: try those that survived again")
    parser.add_argument("--jobs", type=int, default=2, help="copies of the tree that work at the same time (default 2)")
    parser.add_argument("--tests-at-once", type=int, default=8, help="tests that each job runs at once (default 8)")
    parser.add_argument("--least", type=float, default=95, help="percent to be found for exit status 0 (default 95)")
    parser.add_argument("--root", type=Path, default=HERE.parent.parent, help="the project")
    parser.add_argument("--settings", type=Path, default=HERE / "settings.json", help="what to build and to ask")
    parser.add_argument("--work", type=Path, help="where the copies and the results are kept (default build/mutate)")
    return parser.parse_args()


class Project:
    def __init__(self, root, settings_file):
        self.root = root.resolve()
        self.settings = json.loads(settings_file.read_text())
        listed = settings_file.parent / self.settings["equivalent"]
        self.equivalent = {entry["id"]: entry["reason"] for entry in json.loads(listed.read_text())}

    def faults(self):
        """Every fault of the sources; those of the equivalent ones that are not among them are out of date."""
        names = sorted(name for name in files_of(self.root) if self._matches(name, self.settings["sources"])
                       and not self._matches(name, self.settings["skip"]))
        undefined = self.settings["undefined"]
        return [fault for name in names for fault in faults_of(name, (self.root / name).read_text(), undefined)]

    @staticmethod
    def _matches(name, patterns):
        return any(fnmatch.fnmatch(name, pattern) for pattern in patterns)

    def stages(self, name):
        """The targets whose tests are asked about a fault in that file, those of each stage before the next."""
        for entry in self.settings["affected"]:
            if self._matches(name, entry["files"]):
                return entry["stages"]
        raise SystemExit(f"{name}: the settings name no tests")

    def targets(self, names):
        return sorted({target for name in names for stage in self.stages(name) for target in stage})

    def changed_since(self, commit):
        """The lines that have changed, as a set of (file, line)."""
        diff = subprocess.run(["git", "diff", "--unified=0", "--no-prefix", "--relative", commit], cwd=self.root, check=True,
                              capture_output=True, text=True).stdout
        changed, name = set(), None
        for line in diff.splitlines():
            if line.startswith("+++ "):
                name = line[4:]
            elif match := re.match(r"@@ .* \+(\d+)(?:,(\d+))? @@", line):
                start, length = int(match.group(1)), int(match.group(2) or 1)
                changed.update((name, start + index) for index in range(length))
        return changed


def chosen(project, options):
    faults = project.faults()
    out_of_date = set(project.equivalent) - {fault.id for fault in faults}
    for identity in sorted(out_of_date):
        print(f"listed as equivalent, but no fault any more: {identity}")
    if options.only:
        return [fault for fault in faults if fault.id in options.only]
    if options.files:
        faults = [fault for fault in faults if any(fnmatch.fnmatch(fault.file, glob) for glob in options.files)]
    if options.since:
        changed = project.changed_since(options.since)
        faults = [fault for fault in faults if (fault.file, fault.line) in changed]
    return select(faults, options.count, options.seed)


class Results:
    """What came of each fault, kept in a file at each step."""

    def __init__(self, path, keep, forget_survivors):
        self._path, self._mutex = path, threading.Lock()
        self.of = json.loads(path.read_text()) if keep and path.exists() else {}
        if forget_survivors:
            self.of = {key: entry for key, entry in self.of.items() if entry["result"] != "survived"}

    def note(self, fault, result, by, seconds):
        with self._mutex:
            self.of[fault.id] = {"result": result, "by": by, "seconds": round(seconds, 1), "at": f"{fault.file}:{fault.line}"}
            fresh = self._path.with_suffix(".new")
            fresh.write_text(json.dumps(self.of, indent=1))
            fresh.replace(self._path)
            print(f"{result:12} {seconds:6.1f} s  {fault.id}  {fault.file}:{fault.line}  {fault.kind}  {by}", flush=True)


def attempt(place, project, fault):
    """(result, what found it)"""
    place.put(fault)
    for stage in project.stages(fault.file):
        try:
            place.make(stage)
        except BuildFailed as failure:
            return ("found", "a static assertion") if failure.is_found() else ("not compiled", "")
        found = place.ask(place.tests_of(stage))
        if found:
            return "found", f"{found[0]} {found[1]}"
    return "survived", ""


def work(place, project, results, chunks):
    try:
        while True:
            for fault in chunks.get_nowait():
                start = time.monotonic()
                result, by = attempt(place, project, fault)
                if running.stopping.is_set():
                    return
                results.note(fault, result, by, time.monotonic() - start)
    except (queue.Empty, running.Stopped):
        pass
    finally:
        place.restore()


def chunks_of(faults):
    """Faults of one file together, so that little is built again; headers, which much is built for, at the end."""
    by_file = collections.defaultdict(list)
    for fault in faults:
        by_file[fault.file].append(fault)
    chunks = queue.SimpleQueue()
    for _, same in sorted(by_file.items(), key=lambda item: (item[0].endswith(".h"), item[0])):
        for start in range(0, len(same), CHUNK):
            chunks.put(same[start:start + CHUNK])
    return chunks


def prepare_first(place, project, targets, learned_file):
    """Builds, and learns what the tests do without a fault."""
    print(f"building {place.build} ...", flush=True)
    place.prepare(project.root, targets)
    learned = place.learn(targets, json.loads(learned_file.read_text()) if learned_file.exists() else {})
    learned_file.write_text(json.dumps(learned, indent=1))
    for name in sorted(name for name, seconds in learned.items() if seconds == NEVER):
        print(f"not asked, as it fails without a fault: {name}")
    print(f"{len(place.tests_of(targets))} tests can be asked", flush=True)
    return learned


def prepare_and_work(place, learned, project, targets, results, chunks):
    """For every copy but the first, which works meanwhile."""
    place.prepare(project.root, targets)
    place.recall(learned)
    work(place, project, results, chunks)


def try_all(project, faults, results, folder, options):
    if not faults:
        return
    targets = project.targets({fault.file for fault in faults})
    chunks = chunks_of(faults)
    first, *others = (Workplace(folder / f"job{number}", project.settings, options.tests_at_once)
                      for number in range(options.jobs))
    learned_file = folder / "learned.json"
    if not options.resume:
        learned_file.unlink(missing_ok=True)
    learned = prepare_first(first, project, targets, learned_file)
    threads = [threading.Thread(target=work, args=(first, project, results, chunks))]
    threads += [threading.Thread(target=prepare_and_work, args=(place, learned, project, targets, results, chunks))
                for place in others]
    for thread in threads:
        thread.start()
    try:
        for thread in threads:
            thread.join()
    except KeyboardInterrupt:
        running.stopping.set()
        for thread in threads:
            thread.join()
        sys.exit("interrupted; --resume goes on")


def report(faults, result_of):
    """Prints the table and what survived; gives the percentage that was found."""
    table = collections.defaultdict(collections.Counter)
    for fault in faults:
        for row in (str(Path(fault.file).parent), "all"):
            table[row][result_of(fault)] += 1
    if table["all"]["not tried"]:
        sys.exit(f"{table['all']['not tried']} faults could not be tried")
    survivors = [fault for fault in faults if result_of(fault) == "survived"]
    if survivors:
        print("\nNo test finds:\n")
        print("\n\n".join(fault.diff() for fault in survivors))
    print("\n" + f"{'folder':34}" + "".join(f"{result:>13}" for result in RESULTS) + f"{'score':>9}")
    for row in sorted(set(table) - {"all"}) + ["all"]:
        print(f"{row:34}" + "".join(f"{table[row][result]:13}" for result in RESULTS) + f"{_percent(table[row]):8.1f} %")
    return _percent(table["all"])


def _percent(counts):
    tried = counts["found"] + counts["survived"]
    return 100 * counts["found"] / tried if tried else 100.0


def main():
    options = arguments()
    project = Project(options.root, options.settings)
    faults = chosen(project, options)
    if options.list:
        print("\n\n".join(fault.diff() for fault in faults))
        return 0
    folder = (options.work or options.root / "build/mutate").resolve()
    folder.mkdir(parents=True, exist_ok=True)
    results = Results(folder / "results.json", options.resume, options.again)
    listed = set() if options.only else set(project.equivalent)
    to_try = [fault for fault in faults if fault.id not in listed and (options.only or fault.id not in results.of)]
    print(f"{len(faults)} faults, {len(to_try)} to try", flush=True)
    try_all(project, to_try, results, folder, options)

    def result_of(fault):
        return "equivalent" if fault.id in listed else results.of.get(fault.id, {"result": "not tried"})["result"]

    return 0 if report(faults, result_of) >= options.least else 1


if __name__ == "__main__":
    sys.exit(main())
