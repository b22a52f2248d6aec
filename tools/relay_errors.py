#!/usr/bin/env python3
"""Passes standard input, a file that a process writes, on to standard error until that process has ended.

usage: relay_errors.py PID

A reader of a pipe would wait for everybody else who inherited it, too.
"""

import os
import select
import shutil
import sys

PAUSE_MS = 50


def pass_on():
    shutil.copyfileobj(sys.stdin.buffer, sys.stderr.buffer)
    sys.stderr.flush()


def await_end(pid):
    try:
        process = os.pidfd_open(pid)
    except ProcessLookupError:
        return
    ended = select.poll()
    ended.register(process, select.POLLIN)
    while not ended.poll(PAUSE_MS):
        pass_on()


def main(arguments):
    if len(arguments) != 1 or not arguments[0].isdigit():
        print(__doc__.strip())
        return 0 if arguments in (["-h"], ["--help"]) else 2
    await_end(int(arguments[0]))
    pass_on()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
