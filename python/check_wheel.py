#!/usr/bin/env python3
"""Checks a wheel: check_wheel.py WHEEL

What its record says is what it holds, and the library inside needs no newer C or C++ library than those of
Debian 12, and no others: Cairo it loads when it draws. Of a wheel for Windows, which DLLs it needs is checked where the
library is built (tests/abi).
"""

import base64
import csv
import hashlib
import io
import pathlib
import re
import subprocess
import sys
import tempfile
import zipfile

DEBIAN_12 = {"GLIBC": (2, 36), "GLIBCXX": (3, 4, 30), "CXXABI": (1, 3, 13), "GCC": (12, 0)}
NEEDED = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6",
          "ld-linux-x86-64.so.2"}


def check_library(library: pathlib.Path) -> list:
    said = subprocess.run(["objdump", "-p", str(library)], capture_output=True, text=True,
                          check=True).stdout
    wrong = [f"needs {name}" for name in re.findall(r"NEEDED +(\S+)", said) if name not in NEEDED]
    references = said.partition("Version References:")[2]
    for family, number in set(re.findall(r"\b(GLIBC|GLIBCXX|CXXABI|GCC)_([0-9.]+)\b", references)):
        if tuple(map(int, number.split("."))) > DEBIAN_12[family]:
            wrong.append(f"needs {family} {number}, newer than Debian 12's")
    if re.search(r"R(UN)?PATH", said):
        wrong.append("has a path to libraries of the machine it was built on")
    return wrong


def check(path: str) -> list:
    wrong = []
    with zipfile.ZipFile(path) as wheel, tempfile.TemporaryDirectory() as folder:
        names = wheel.namelist()
        record = next(name for name in names if name.endswith(".dist-info/RECORD"))
        rows = {row[0]: row[1] for row in csv.reader(io.StringIO(wheel.read(record).decode()))}
        if set(rows) != set(names):
            wrong.append(f"the record differs from the content: {set(rows) ^ set(names)}")
        for name in names:
            digest = base64.urlsafe_b64encode(hashlib.sha256(wheel.read(name)).digest())
            if name != record and rows.get(name) != f"sha256={digest.decode().rstrip('=')}":
                wrong.append(f"{name}: not as recorded")
        libraries = [name for name in names if re.search(r"\.so|\.dll", name)]
        if len(libraries) != 1:
            wrong.append(f"libraries: {libraries}")
        for name in libraries:
            if not name.endswith(".dll"):
                wrong += check_library(pathlib.Path(wheel.extract(name, folder)))
    return wrong


if __name__ == "__main__":
    problems = check(sys.argv[1])
    print(*(f"{sys.argv[1]}: {problem}" for problem in problems) if problems else
          [f"{sys.argv[1]}: as it should be"], sep="\n")
    sys.exit(bool(problems))
