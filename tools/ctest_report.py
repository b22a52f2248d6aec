#!/usr/bin/env python3
"""Says how a test run went, from what `ctest --output-junit` wrote.

usage: ctest_report.py FILE

Tests that were skipped, with their reasons, and tests that failed, with the end of their output, go to standard error; to
standard output goes one line with how many passed, failed and were skipped.
"""

import sys
import xml.etree.ElementTree as tree

# What the test programs themselves say around the reason for a skip.
NOISE = ("[", "Running", "Note:")
LONGEST_REASON = 300
LAST_LINES = 80


def skipped(name, output):
    reason = " ".join(line.strip() for line in output if line.strip() and not line.startswith(NOISE))
    return f"skipped  {name}: {reason[:LONGEST_REASON] or '(no reason given)'}"


def failed(case, output):
    failure = case.find("failure")
    reason = "" if failure is None else failure.get("message")
    head = f"{case.get('name')} ({reason or 'no reason given'}, after {float(case.get('time')):.1f} s)"
    return "\n".join(["FAILED  ", head, *output[-LAST_LINES:]])


def read(root):
    """The numbers of passed, failed and skipped tests, and what is to be told of the latter two."""
    counts, told = {"run": 0, "fail": 0, "notrun": 0}, []
    for case in root.iter("testcase"):
        output = (case.findtext("system-out") or "").splitlines()
        counts[case.get("status")] += 1
        if case.get("status") == "notrun":
            told.append(skipped(case.get("name"), output))
        elif case.get("status") == "fail":
            told.append(failed(case, output))
    return tuple(counts.values()), told


def main(paths):
    if len(paths) != 1 or paths[0] in ("-h", "--help"):
        print(__doc__.strip())
        return 0 if paths in (["-h"], ["--help"]) else 2
    counts, told = read(tree.parse(paths[0]).getroot())
    for text in told:
        print(text, file=sys.stderr)
    print(*counts)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
