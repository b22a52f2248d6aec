"""check_binary.py [--hardened] [--fortified] [--installed] [--version VERSION] [--objdump OBJDUMP] BINARY

Holds a shared library or a program, for Linux or for Windows, against what its users rely on. For Windows: nothing needed but the
system's own DLLs. --hardened: the protections are switched on, --fortified: those that only optimised code has as well.
--installed: libraries are looked for where the system has them. --version: a Windows version resource that says VERSION.
"""
import argparse
import re
import subprocess
import sys

PE_PROTECTIONS = ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT")
# All of them are part of every Windows 10, with the same functions since Windows 7 at the latest.
SYSTEM_DLLS = {"advapi32.dll", "crypt32.dll", "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll", "user32.dll", "ws2_32.dll"}
FORTIFIED = re.compile(r"\b__\w+_chk\b(?<!__stack_chk)")


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, encoding="utf-8").stdout


def utf16(text):
    return text.encode("utf-16-le")


def version_problems(binary, version):
    with open(binary, "rb") as file:
        content = file.read()
    numbers = [int(number) for number in version.split(".")]
    fixed = bytes.fromhex("bd04effe00000100") + b"".join(
        number.to_bytes(2, "little") for number in (numbers[1], numbers[0], 0, numbers[2]))
    if fixed not in content:
        yield f"no version resource with file version {version}"
    for name in ("FileVersion", "ProductVersion"):
        if not re.search(re.escape(utf16(name)) + rb"\0{2,6}" + re.escape(utf16(version)) + rb"\0\0", content):
            yield f"{name} in the version resource is not {version}"


def call_problems(symbols, fortified):
    if "__stack_chk_fail" not in symbols:
        yield "stack frames are not checked"
    if fortified and not FORTIFIED.search(symbols):
        yield "no call of the C library is checked"


class WindowsBinary:
    def __init__(self, path, objdump):
        self.path = path
        self.objdump = objdump
        self.headers = output_of(objdump, "-p", path)

    def problems(self):
        imported = {name.lower() for name in re.findall(r"DLL Name: (\S+)", self.headers)}
        if not imported:
            yield "no import table"
        for name in sorted(imported - SYSTEM_DLLS - {"qolivereport.dll"}):
            yield f"needs {name}, which is not the system's"

    def hardening_problems(self, fortified):
        for name in PE_PROTECTIONS:
            if not re.search(rf"^\s*{name}$", self.headers, re.MULTILINE):
                yield f"not set: {name}"
        if not re.search(r"^Entry 5 [0-9a-f]*[1-9a-f][0-9a-f]* .*Base Relocation", self.headers, re.MULTILINE):
            yield "cannot be moved: it has no relocations"
        yield from call_problems(output_of(self.objdump, "-t", self.path), fortified)

    def installed_problems(self):
        return ()


class LinuxBinary:
    def __init__(self, path):
        self.path = path
        self.header = output_of("readelf", "--wide", "--file-header", path)
        self.segments = output_of("readelf", "--wide", "--segments", path)
        self.dynamic = output_of("readelf", "--wide", "--dynamic", path)

    def problems(self):
        if "(NEEDED)" not in self.dynamic:
            yield "no dynamic section"

    def hardening_problems(self, fortified):
        if not re.search(r"Type:\s+DYN", self.header):
            yield "not position-independent"
        if "GNU_RELRO" not in self.segments or not re.search(r"\((FLAGS\).*BIND_NOW|FLAGS_1\).*\bNOW\b)", self.dynamic):
            yield "not all that is resolved at loading is read-only afterwards"
        if not re.search(r"GNU_STACK.* RW ", self.segments) or re.search(r"LOAD.* RWE ", self.segments):
            yield "memory that is both writable and executable"
        if "(TEXTREL)" in self.dynamic:
            yield "its code is written to at loading"
        yield from call_problems(output_of("nm", "--dynamic", "--undefined-only", self.path), fortified)
        yield from self.jump_problems()

    def jump_problems(self):
        """What can be called through a pointer begins with the mark of a jump target. The note that switches the check on for
        the whole file is not asked for: start-up objects and libraries of the system lack the marks."""
        if "X86-64" not in self.header:
            return
        code = output_of("objdump", "--disassemble", "--no-show-raw-insn", self.path)
        exported = set(re.findall(r"^(\S+) T", output_of("nm", "--dynamic", "--defined-only", "-P", self.path), re.MULTILINE))
        entries = dict(re.findall(r"^[0-9a-f]+ <([^>]+)>:\n\s*[0-9a-f]+:\s+(\w+)", code, re.MULTILINE))
        for name in ["main"] if "main" in entries else sorted(exported & entries.keys()):
            if entries[name] != "endbr64":
                yield f"no jump target: {name}"

    def installed_problems(self):
        if re.search(r"\((RPATH|RUNPATH)\)", self.dynamic):
            yield "names folders in which libraries are looked for"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--hardened", action="store_true")
    parser.add_argument("--fortified", action="store_true")
    parser.add_argument("--installed", action="store_true")
    parser.add_argument("--version")
    parser.add_argument("--objdump")
    parser.add_argument("binary")
    arguments = parser.parse_args()
    if arguments.objdump:
        binary = WindowsBinary(arguments.binary, arguments.objdump)
    else:
        binary = LinuxBinary(arguments.binary)
    problems = list(binary.problems())
    if arguments.version:
        problems += version_problems(arguments.binary, arguments.version)
    if arguments.hardened:
        problems += binary.hardening_problems(arguments.fortified)
    if arguments.installed:
        problems += binary.installed_problems()
    if problems:
        sys.exit("\n".join(problems))
    print("as it has to be")


main()
