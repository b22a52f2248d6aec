"""check_exports.py [--update] [--objdump PROGRAM] LIBRARY LIST

Holds what a shared library exports against the committed list: one demangled name a line, sorted. With --objdump the library
is a Windows DLL and PROGRAM prints its export table.
"""
import argparse
import re
import subprocess
import sys


def output_of(*command, text=None):
    return subprocess.run(command, input=text, stdout=subprocess.PIPE, check=True, encoding="utf-8").stdout


def exported_by_elf(library):
    return [line.split()[0] for line in output_of("nm", "-D", "--defined-only", "-P", library).splitlines()]


def exported_by_dll(library, objdump):
    table = output_of(objdump, "-p", library).partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    return re.findall(r"^\s*\[ *\d+\] (?:\+base\[ *\d+\] +[0-9a-f]+ )?(\S+)$", table, re.MULTILINE)


def readable(names):
    demangled = output_of("c++filt", text="\n".join(names)).splitlines()
    short = (re.sub(r"std::(__cxx11::)?basic_string<char, std::char_traits<char>, std::allocator<char> >", "std::string", name)
             for name in demangled)
    return sorted({name.replace("[abi:cxx11]", "") for name in short})


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--update", action="store_true", help="write the list instead")
    parser.add_argument("--objdump")
    parser.add_argument("library")
    parser.add_argument("list")
    arguments = parser.parse_args()
    if arguments.objdump:
        names = exported_by_dll(arguments.library, arguments.objdump)
    else:
        names = exported_by_elf(arguments.library)
    exported = readable(names)
    if arguments.update:
        with open(arguments.list, "w", encoding="utf-8") as file:
            file.write("\n".join(exported) + "\n")
        return
    with open(arguments.list, encoding="utf-8") as file:
        expected = file.read().splitlines()
    problems = [f"not exported: {name}" for name in expected if name not in exported]
    problems += [f"exported, but not in the list: {name}" for name in exported if name not in expected]
    if problems:
        sys.exit("\n".join(problems))
    print(f"{len(exported)} names")


main()
