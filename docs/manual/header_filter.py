#!/usr/bin/env python3
"""Shows Doxygen the comments of a public header, which are plain ones.

A comment belongs to the declaration that follows it and to those after that one without a blank line;
a comment with a blank line behind it is a section's. The first one is the file's.
"""
import re
import sys

out = []
held = []  # the comment for declarations here
outer = []  # what was held where a brace opened
new_comment = False
ends = True  # the line before ended a declaration
parentheses = 0
trailing_column = None  # of a comment at the end of the line before

with open(sys.argv[1], encoding="utf-8") as header:
    lines = header.read().split("\n")

for number, line in enumerate(lines):
    text = line.strip()
    if text.startswith("//"):
        if line.find("//") == trailing_column:
            out.append(line.replace("//", "///<", 1))
            continue
        held = held if new_comment else []
        held.append("///" + text[2:])
        new_comment = True
        out.append("" if number else "/// @file")
        continue
    if not text:
        if new_comment and len(out) == len(held):  # the file's
            out = ["/// @file"] + held
        held = []
        new_comment = False
    elif ends and held and not re.match(r"#(if|else|endif|pragma|include)|}|TERVALON_(BEGIN|END)", text):
        out += held
    trailing_column = None
    code = line
    if "//" in line and '"' not in line.split("//")[0]:
        trailing_column = line.index("//")
        code = line[:trailing_column]
        line = code + "///<" + line[trailing_column + 2 :]
    out.append(line)
    code = code.strip()
    if not code:
        continue
    new_comment = False
    parentheses += code.count("(") - code.count(")")
    if code.endswith("{"):
        outer.append(held)
        held = []
    elif code.startswith("}") and outer:
        held = outer.pop()
    ends = parentheses == 0 and (code[0] == "#" or code[-1] in ";,{}S") and code[-1] != "\\"

print("\n".join(out))
