#!/usr/bin/env python3
"""Makes a manual page of what a program says of itself.

Runs PROGRAM with --help and --version and writes the page, compressed, to FILE. The help is to have the form of our programs:
a line "usage: ...", paragraphs, "Options:" with an entry per option, and further paragraphs. What is indented there stays as
it is.
"""

import argparse
import gzip
import os
import pathlib
import re
import subprocess

OPTION = re.compile(r"  (--\S+(?: [^ ]+)?)(?:  +(\S.*))?$")
LINE_WITH_HEADING = re.compile(r"(Exit status|Example|Script)[:,] ?(.*)", re.DOTALL)


def escaped(text):
    """For roff: no accidental commands, and hyphens that can be copied."""
    text = text.replace("\\", r"\e").replace("-", r"\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.MULTILINE)


def paragraphs(lines):
    """Blocks of lines that belong together: separated by blank lines, and indented ones apart from the others."""
    block = []
    for line in lines + [""]:
        if block and (not line.strip() or line.startswith(" ") != block[0].startswith(" ")):
            yield block
            block = []
        if line.strip():
            block.append(line)


def prose(block):
    if block[0].startswith(" "):
        return ".PP\n.nf\n" + "\n".join(escaped(line) for line in block) + "\n.fi\n"
    return ".PP\n" + escaped("\n".join(block)) + "\n"


def options(lines):
    page = ""
    for line in lines:
        option = OPTION.match(line)
        if option:
            name, _, value = option[1].partition(" ")
            page += f".TP\n\\fB{escaped(name)}\\fR" + (f" \\fI{escaped(value)}\\fR" if value else "") + "\n"
            page += escaped(option[2]) + "\n" if option[2] else ""
        elif line.strip():
            page += escaped(line.strip()) + "\n"
    return page


def after_options(lines):
    page = ""
    for block in paragraphs(lines):
        heading = LINE_WITH_HEADING.match("\n".join(block))
        if heading:
            page += f".SH {heading[1].upper()}\n"
            block = heading[2].splitlines()
            block[0] = block[0][:1].upper() + block[0][1:]
        page += prose(block)
    return page


def page_of(name, summary, help_text, version, section=1):
    lines = help_text.splitlines()
    synopsis = lines[0].removeprefix("usage: ").removeprefix(name).strip()
    begin = lines.index("Options:")
    end = next((at for at in range(begin + 1, len(lines)) if not lines[at].strip()), len(lines))
    page = f'.TH "{name}" "{section}" "" "{escaped(version)}"\n.nh\n.ad l\n'
    page += f".SH NAME\n{escaped(name)} \\- {escaped(summary)}\n"
    page += f".SH SYNOPSIS\n\\fB{escaped(name)}\\fR {escaped(synopsis)}\n"
    page += ".SH DESCRIPTION\n" + "".join(prose(block) for block in paragraphs(lines[1:begin]))
    page += ".SH OPTIONS\n" + options(lines[begin + 1:end])
    return page + after_options(lines[end:])


def output_of(program, option):
    return subprocess.run([program, option], check=True, capture_output=True, text=True).stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program", metavar="PROGRAM")
    parser.add_argument("file", metavar="FILE", type=pathlib.Path)
    parser.add_argument("--summary", required=True, help="what the program is, for the first line")
    arguments = parser.parse_args()
    version = output_of(arguments.program, "--version").partition("(")[2].replace(")", "").strip()
    page = page_of(os.path.basename(arguments.program), arguments.summary, output_of(arguments.program, "--help"), version)
    # Without a time, so that the same page is the same file.
    arguments.file.write_bytes(gzip.compress(page.encode(), 9, mtime=0))


if __name__ == "__main__":
    main()
