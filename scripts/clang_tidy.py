#!/usr/bin/env python3
"""Runs clang-tidy over the library and the program, for both platforms.

Most of its time goes into the standard library's headers, so it is shown several files of a folder
at a time. What it says of such a batch, be it that two of the files use a name differently, is
asked again of each file alone; only that counts.

usage: scripts/clang_tidy.py        after `cmake --preset lint`, in the project's folder
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

FOLDERS = ("appsvc datamgr db3 numerics platform plot processing raw settings tools"
           " viewer").split()
# Each of these files has types of the same names.
ALONE = re.compile(r"^(db3|tools/commands)/")
BATCH = 6
ROOT = pathlib.Path.cwd()
BUILD = ROOT / "build/lint"


def linux_flags():
    """The flags of each source file of this platform's library and program."""
    flags = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        path = os.path.relpath(entry["file"], ROOT)
        if path.split("/")[0] in FOLDERS:
            words = shlex.split(entry["command"])
            compiler = next(i for i, word in enumerate(words) if word.endswith("++"))
            flags.setdefault(path, words[compiler + 1 : words.index("-o")])
    return flags


def windows_flags():
    """The same of the other platform's folders, with the headers of its compiler."""
    search = subprocess.run(["i686-w64-mingw32-g++-posix", "-E", "-x", "c++", "-v", os.devnull],
                            capture_output=True, text=True, check=True).stderr
    headers = search.split("#include <...>", 1)[1].split("\n", 1)[1].split("End of", 1)[0].split()
    flags = ["-std=c++20", "--target=i686-w64-windows-gnu", "-nostdinc++", "-Iinclude", "-I."]
    flags += [word for header in headers for word in ("-isystem", header)]
    flags += ["-DTERVALON_BUILD", "-DTERVALON_PLAIN_TYPES", "-DWIN32_LEAN_AND_MEAN", "-DNOMINMAX",
              "-D_WIN32_WINNT=0x0501"]
    return {str(path): flags for folder in ("platform/win32", "tools/win32", "viewer/win32")
            for path in pathlib.Path(folder).glob("*.cc")}


def batches(flags):
    """Lists of files of a folder that have the same flags."""
    groups = {}
    for path in sorted(flags):
        group = path if ALONE.match(path) else (os.path.dirname(path), tuple(flags[path]))
        groups.setdefault(group, []).append(path)
    return [paths[i : i + BATCH] for paths in groups.values() for i in range(0, len(paths), BATCH)]


def tidy(path, flags, *options):
    return subprocess.run(["clang-tidy", "--quiet", *options, path, "--", *flags],
                          capture_output=True, text=True)


def check(paths, flags):
    """What clang-tidy finds in some files."""
    if len(paths) > 1:
        batch = BUILD / "batches" / (paths[0].replace("/", "-"))
        batch.write_text("".join(f'#include "{ROOT / path}"\n' for path in paths))
        if tidy(str(batch), flags, "--checks=-bugprone-suspicious-include").returncode == 0:
            return ""
    ran = [tidy(path, flags) for path in paths]
    return "".join(each.stdout + each.stderr for each in ran if each.returncode != 0)


def main():
    (BUILD / "batches").mkdir(exist_ok=True)
    jobs = [(paths, flags[paths[0]]) for flags in (linux_flags(), windows_flags())
            for paths in batches(flags)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        findings = list(pool.map(lambda job: check(*job), jobs))
    print("".join(findings), end="")
    return int(any(findings))


if __name__ == "__main__":
    sys.exit(main())
