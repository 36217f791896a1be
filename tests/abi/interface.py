#!/usr/bin/env python3
"""Prints the binary interface: interface.py LIBRARY INCLUDE_FOLDER C_COMPILER OBJDUMP.

What a compiled caller depends on, one line each: versions of exported symbols, declarations, the sizes
of structures, and constants.
"""
import pathlib
import re
import subprocess
import sys

library, include, compiler, objdump = sys.argv[1:]
headers = sorted(pathlib.Path(include, "tervalon").glob("*.h"))
source = "".join(f'#include "tervalon/{header.name}"\n' for header in headers)


def run(*command, text=""):
    return subprocess.run(command, input=text, capture_output=True, text=True, check=True).stdout


def compile_as(*options, text):
    flags = ("-std=c11", "-DTERVALON_PLAIN_TYPES", "-x", "c", "-I", include)
    return run(compiler, *flags, *options, "-", text=text)


def symbols():
    """A DLL's have no versions, and are the declared ones (check_exports.sh)."""
    if library.endswith(".dll"):
        return []
    lines = [line.split() for line in run(objdump, "-T", library).splitlines()]
    return [f"{line[-1]} {line[-2]}" for line in lines if ".text" in line]


def declarations():
    """The headers' own lines after preprocessing, a declaration each."""
    own = []
    inside = False
    for line in compile_as("-E", text=source).splitlines():
        marker = re.match(r'# \d+ "(.*?)"', line)
        if marker:
            inside = marker[1].startswith(str(pathlib.Path(include, "tervalon")))
        elif inside:
            own.append(f"{line};" if line.startswith("#") else line)
    text = re.sub(r'__attribute__ *\(\((visibility\("default"\)|(__)?dllimport(__)?)\)\)', "", " ".join(own))
    depth = 0
    start = 0
    for position, character in enumerate(text):
        depth += (character == "{") - (character == "}")
        if character == ";" and depth == 0:
            yield " ".join(text[start:position].split())
            start = position + 1


def sizes(structures):
    text = source + "".join(f"const unsigned size_{name} = sizeof({name});\n" for name in structures)
    assembly = compile_as("-S", "-o", "-", text=text)
    return re.findall(r"^_?size_(\w+):\n\s*\.long\s+(\d+)", assembly, re.M)


def constants():
    own = set()
    for header in headers:
        own.update(re.findall(r"^ *# *define (\w+) ", header.read_text(encoding="utf-8"), re.M))
    own -= {"TERVALON_API", "TERVALON_VERSION"}
    for line in compile_as("-E", "-dM", text=source).splitlines():
        _, name, *value = line.split(" ", 2)
        if name in own and not name.startswith("TERVALON_VERSION_") and value:
            yield f"{name} {value[0]}"


declared = list(declarations())
structures = sorted(
    name for line in declared for name in re.findall(r"^typedef struct \w+ \{.*\} (\w+)$", line)
)
for title, lines in (
    ("Symbols", sorted(symbols())),
    ("Declarations", declared),
    ("Sizes", [f"{name} {size}" for name, size in sizes(structures)]),
    ("Constants", sorted(constants())),
):
    print(f"# {title}", *lines, sep="\n")
