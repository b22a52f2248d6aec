#!/usr/bin/env python3
"""Draws who includes whom among the folders of src/, and holds the rules of the house.

Without options it prints the picture. With --check FILE it compares the picture with the one in FILE, between the lines
"<!-- house -->" and "<!-- /house -->"; with --write FILE it puts it there. A broken rule, or a picture that differs, is told
in a line each; exit status 1 then.
"""

import argparse
import os
import re
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
MARKS = ("<!-- house -->", "<!-- /house -->")

SUBSYSTEMS = ["c_interface", "session", "heartbeat", "data_report", "message_center"]
IMPLEMENTATIONS = ["mqtt", "readings", "network", "kernel"]
FOUNDATION = ["platform", "base"]

# What each folder may include, beside itself.
MAY_INCLUDE = {
    "c_interface": {"session", "heartbeat", "data_report", "message_center", "platform", "base"},
    "session": {"platform", "base"},
    "heartbeat": {"message_center", "platform", "base"},
    "data_report": {"message_center", "platform", "base"},
    "message_center": {"platform", "base"},
    "mqtt": {"network", "platform", "base"},
    "readings": {"network", "platform", "base"},
    "network": {"platform", "base"},
    "kernel": {"platform", "base"},
    "platform": {"base"},
    "base": set(),
}


def sources(root):
    return sorted(path for path in (root / "src").rglob("*") if path.suffix in (".h", ".cpp"))


def included_folder(root, path, name):
    """The folder of src/ that `name`, included by `path`, lies in; None for a header that is not of src/."""
    public = name.removeprefix("qolive_report/")
    for base in (path.parent, root / "src"):
        target = Path(os.path.normpath(base / public))
        if target.is_file():
            return target.relative_to(root / "src").parts[0]
    return None


def read_includes(root):
    """{folder: {included folder: [where]}}"""
    includes = {path.relative_to(root / "src").parts[0]: defaultdict(list) for path in sources(root)}
    for path in sources(root):
        folder = path.relative_to(root / "src").parts[0]
        for name in INCLUDE.findall(path.read_text()):
            other = included_folder(root, path, name)
            if other and other != folder:
                includes[folder][other].append(f"{path.relative_to(root)} includes {name}")
    return includes


def broken_rules(includes):
    for folder, others in includes.items():
        if folder not in MAY_INCLUDE:
            yield f"src/{folder} is a new folder: say in tools/house.py what it may include"
            continue
        for other in sorted(set(others) - MAY_INCLUDE[folder]):
            yield from (f"{where}, but {folder}/ may not include {other}/" for where in others[other])


def storey(folder, includes):
    return 1 + max((storey(other, includes) for other in includes[folder]), default=-1)


def draw(includes):
    """Call it only when no rule is broken: the rules rule circles out."""
    storeys = {folder: storey(folder, includes) for folder in includes}
    left, right = SUBSYSTEMS, IMPLEMENTATIONS
    lines = []
    for level in range(max(storeys.values()), -1, -1):
        of_level = [[f"{folder}/" for folder in side if storeys.get(folder) == level] for side in (left, right)]
        ground = [f"{folder}/" for folder in FOUNDATION if storeys.get(folder) == level]
        lines.append(f"  {'   '.join(of_level[0]):32}{'   '.join(of_level[1] or ground)}".rstrip())
    lines += ["", "  includes"]
    for folder in SUBSYSTEMS + IMPLEMENTATIONS + FOUNDATION:
        others = [other for other in SUBSYSTEMS + IMPLEMENTATIONS + FOUNDATION if other in includes.get(folder, {})]
        lines.append(f"  {folder + '/':17}{'  '.join(others) or '-'}")
    return "\n".join(lines) + "\n"


def framed(picture):
    return f"{MARKS[0]}\n```\n{picture}```\n{MARKS[1]}"


def frame_in(text, file):
    begin, end = (text.find(mark) for mark in MARKS)
    if begin < 0 or end < begin:
        sys.exit(f"{file}: the lines '{MARKS[0]}' and '{MARKS[1]}' are missing")
    return begin, end + len(MARKS[1])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=Path, default=ROOT, help="the project")
    choice = parser.add_mutually_exclusive_group()
    choice.add_argument("--check", type=Path, metavar="FILE", help="compare with the picture in FILE")
    choice.add_argument("--write", type=Path, metavar="FILE", help="put the picture into FILE")
    options = parser.parse_args()

    includes = read_includes(options.root)
    broken = list(broken_rules(includes))
    if broken:
        sys.exit("\n".join(broken))
    picture = draw(includes)
    file = options.check or options.write
    if not file:
        print(picture, end="")
        return
    text = file.read_text()
    begin, end = frame_in(text, file)
    if options.write:
        file.write_text(text[:begin] + framed(picture) + text[end:])
    elif text[begin:end] != framed(picture):
        sys.exit(f"{file}: the picture is not what the includes draw; tools/house.py --write {file} puts it there")


if __name__ == "__main__":
    main()
