"""check_dll.py OBJDUMP DLL VERSION

Holds a Windows DLL against what its users rely on: protections switched on, nothing needed but the system's own DLLs, and a
version resource that says VERSION.
"""
import re
import subprocess
import sys

PROTECTIONS = ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT")
# All of them are part of every Windows 10, with the same functions since Windows 7 at the latest.
SYSTEM_DLLS = {"advapi32.dll", "crypt32.dll", "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll", "user32.dll", "ws2_32.dll"}


def utf16(text):
    return text.encode("utf-16-le")


def version_problems(library, version):
    with open(library, "rb") as file:
        content = file.read()
    numbers = [int(number) for number in version.split(".")]
    fixed = bytes.fromhex("bd04effe00000100") + b"".join(
        number.to_bytes(2, "little") for number in (numbers[1], numbers[0], 0, numbers[2]))
    if fixed not in content:
        yield f"no version resource with file version {version}"
    for name in ("FileVersion", "ProductVersion"):
        if not re.search(re.escape(utf16(name)) + rb"\0{2,6}" + re.escape(utf16(version)) + rb"\0\0", content):
            yield f"{name} in the version resource is not {version}"


def main():
    objdump, library, version = sys.argv[1:]
    headers = subprocess.run([objdump, "-p", library], stdout=subprocess.PIPE, check=True, encoding="utf-8").stdout
    problems = [f"not set: {name}" for name in PROTECTIONS if not re.search(rf"^\s*{name}$", headers, re.MULTILINE)]
    imported = {name.lower() for name in re.findall(r"DLL Name: (\S+)", headers)}
    problems += [f"needs {name}, which is not the system's" for name in sorted(imported - SYSTEM_DLLS)]
    problems += version_problems(library, version)
    if problems or not imported:
        sys.exit("\n".join(problems) or "no import table")
    print("needs " + ", ".join(sorted(imported)))


main()
