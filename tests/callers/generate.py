#!/usr/bin/env python3
"""Prints a line for each export: EXPORT(name, "argument", ...), of what interface.py prints on
standard input (its declarations)."""
import re
import sys

for line in sys.stdin.read().split("# Declarations\n")[1].split("# Sizes\n")[0].splitlines():
    declaration = re.sub(r"__attribute__ *\(\(\w+\)\)", "", line)
    match = re.fullmatch(r"(?!typedef|enum|struct|_Static_assert|#)[\w *]*?\b(\w+) *\((.*)\)", declaration)
    if match:
        arguments = [re.search(r"(\w+|\.\.\.)$", part.strip())[1] for part in match[2].split(",")]
        if arguments == ["void"]:
            arguments = []
        kind = "EXPORT_VARIADIC" if arguments[-1:] == ["..."] else "EXPORT"
        names = "".join(f', "{name}"' for name in arguments if name != "...")
        print(f"{kind}({match[1]}{names})")
