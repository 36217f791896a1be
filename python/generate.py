#!/usr/bin/env python3
"""Makes the binding of the package from the public headers.

    generate.py OUTPUT.py LIBRARY    makes the module, checked against a library that is built
    generate.py --record             records what the package uses of the headers

The declarations of every export, structure and constant come from the headers as they are. Those that
the package uses also have to be the recorded ones (``used_interface.txt``): whoever changes a header is
shown the places to look at, instead of a call whose arguments mean something else.
"""

from __future__ import annotations

import difflib
import pathlib
import re
import sys
from typing import Iterator, NamedTuple

import cffi

HERE = pathlib.Path(__file__).resolve().parent
INCLUDE = HERE.parent / "include" / "tervalon"
RECORD = HERE / "used_interface.txt"
MODULE = "tervalon._interface"


class Declaration(NamedTuple):
    text: str
    packed: bool


class Headers:
    """What the headers declare on a platform. They are plain enough to need no preprocessor."""

    def __init__(self, windows: bool, include: pathlib.Path = INCLUDE) -> None:
        self.macros = {"TERVALON_PLAIN_TYPES"} | ({"_WIN32"} if windows else set())
        self.constants: dict[str, int] = {}
        self.sizes: dict[str, int] = {}  # of structures, as the headers state them for 64 bits
        self.declarations: list[Declaration] = []
        self._seen: set[str] = set()
        for header in sorted(include.glob("*.h")):
            self._include(header)

    def _include(self, header: pathlib.Path) -> None:
        if header.name in self._seen or not header.exists():
            return
        self._seen.add(header.name)
        text = re.sub(r"//[^\n]*", "", header.read_text(encoding="utf-8")).replace("\\\n", " ")
        packed, statement, depth = False, "", 0
        for line in self._live_lines(text):
            if line.startswith("#"):
                packed = self._directive(header, line, packed)
                continue
            statement += f" {line}"
            depth += line.count("{") - line.count("}")
            if depth == 0 and line.endswith(";"):
                self._declare(" ".join(statement.split()), packed)
                statement = ""

    def _live_lines(self, text: str) -> Iterator[str]:
        live = [True]
        for line in map(str.strip, text.splitlines()):
            directive = re.match(r"# *(if|ifdef|ifndef|else|elif|endif)\b *(.*)", line)
            if not directive:
                if all(live) and line:
                    yield re.sub(r"^# *", "#", line)
                continue
            kind, condition = directive.groups()
            if kind == "endif":
                live.pop()
            elif kind == "else":
                live[-1] = not live[-1]
            elif kind == "elif":
                live[-1] = not live[-1] and self._holds(condition)
            elif kind == "if":
                live.append(self._holds(condition))
            else:
                live.append((condition in self.macros) == (kind == "ifdef"))

    def _holds(self, condition: str) -> bool:
        python = re.sub(r"defined\((\w+)\)", lambda m: str(m[1] in self.macros), condition)
        python = python.replace("&&", " and ").replace("||", " or ").replace("!", " not ")
        if not re.fullmatch(r"( |\(|\)|True|False|and|or|not)+", python):
            raise ValueError(f"a condition that is not understood: {condition}")
        return eval(python)  # noqa: S307 - nothing but the words above

    def _directive(self, header: pathlib.Path, line: str, packed: bool) -> bool:
        if line.startswith("#pragma pack"):
            return "push" in line
        include = re.match(r'#include "tervalon/(.*)"', line)
        if include:
            self._include(header.parent / include[1])
        constant = re.match(r"#define (\w+) (-?(?:0x[0-9A-Fa-f]+|\d+))u?$", line)
        if constant:
            self.constants[constant[1]] = int(constant[2], 0)
        return packed

    def _declare(self, text: str, packed: bool) -> None:
        text = re.sub(r"\bTERVALON_(API|CALL|VARARGS_CALL|BEGIN_DECLS|END_DECLS)\b", "", text)
        size = re.fullmatch(r" *TERVALON_STRUCT_SIZE\((\w+), \d+, (\d+)\);", text)
        if size:
            self.sizes[size[1]] = int(size[2])
            return
        named = "|".join(self.constants) or "-"
        text = re.sub(
            rf"\[({named})\]", lambda m: f"[{self.constants[m[1]]}]", " ".join(text.split())
        )
        self.declarations.append(Declaration(text, packed))

    def functions(self) -> Iterator[str]:
        for declaration in self.declarations:
            found = re.match(r"(?!typedef|struct \w+;|enum)[^(]*?(\w+) ?\(", declaration.text)
            if found:
                yield found[1]

    def cdef(self) -> cffi.FFI:
        """Returns the declarations as cffi has them; structures are as large as the headers say."""
        ffi = cffi.FFI()
        for declaration in self.declarations:
            ffi.cdef(declaration.text, packed=declaration.packed)
        ffi.cdef("\n".join(f"#define {name} {value}" for name, value in self.constants.items()))
        for name, size in self.sizes.items():
            if ffi.sizeof(name) != size:
                raise ValueError(f"{name} has {ffi.sizeof(name)} bytes here, {size} in the headers")
        return ffi

    def used(self, package: pathlib.Path) -> list[str]:
        """The declarations and constants that the package's sources name, and those that these name."""
        sources = [path.read_text("utf-8") for path in package.glob("*.py")
                   if path.name != "_interface.py"]
        words = set(re.findall(r"\w+", "\n".join(sources)))
        families = tuple(word for word in words if re.fullmatch(r"[A-Z0-9]{2,}(_[A-Z]+)*_", word))
        declared = set().union(*(names(d.text) for d in self.declarations))
        words |= {name for name in declared if families and name.startswith(families)}
        types = {name for d in self.declarations if d.text.startswith("typedef") for name in names(d.text)}
        chosen: set[str] = set()
        while more := {d.text for d in self.declarations if words & names(d.text)} - chosen:
            chosen |= more
            words |= types & set(re.findall(r"\w+", " ".join(more)))
        return [d.text for d in self.declarations if d.text in chosen] + sorted(
            f"{name} {value}" for name, value in self.constants.items() if name in words)


def names(text: str) -> set[str]:
    """What a declaration declares."""
    if text.startswith("enum"):
        return set(re.findall(r"\b(\w+) = ", text))
    if text.startswith("typedef"):
        return set(re.findall(r"^typedef [^{]*\(\* ?(\w+)\)\(|[ *](\w+);$", text)[0])
    return set(re.findall(r"(\w+) ?\(", text)[:1])


def recorded(windows: bool = False, include: pathlib.Path = INCLUDE) -> str:
    return "\n".join(Headers(windows, include).used(HERE / "tervalon")) + "\n"


def check_record(include: pathlib.Path = INCLUDE) -> None:
    """Raises ValueError when the headers say something else than what the package was written for."""
    before, now = RECORD.read_text("utf-8"), recorded(include=include)
    if before != now:
        changes = "\n".join(difflib.unified_diff(before.splitlines(), now.splitlines(),
                                                 "recorded", "headers", lineterm="", n=0))
        raise ValueError("The headers changed under the Python package. Look at its uses of what is "
                         f"below, then run python/generate.py --record.\n{changes}")


def generate(output: pathlib.Path, library: pathlib.Path, windows: bool) -> None:
    headers = Headers(windows)
    check_record()
    ffi = headers.cdef()
    if not windows:
        loaded = ffi.dlopen(str(library))
        absent = [name for name in headers.functions() if not hasattr(loaded, name)]
        if absent:
            raise ValueError(f"{library} does not export {', '.join(absent)}")
    ffi.set_source(MODULE, None)
    ffi.emit_python_code(str(output))


if __name__ == "__main__":
    if sys.argv[1:] == ["--record"]:
        RECORD.write_text(recorded(), "utf-8")
    else:
        target, shared = map(pathlib.Path, sys.argv[1:])
        generate(target, shared, windows=shared.suffix == ".dll")
