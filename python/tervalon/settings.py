"""The settings file that the data system's programs share: ``TERVALON.INI`` in the working directory.

``settings["SpectrumStats"]["NoiseLevel"]`` reads, an assignment writes; what is written is in the file at
once, and no other program's change is lost. The file is looked for where the process was when it was first
used.
"""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any, Iterator, Optional

from . import errors
from ._library import NULL, ffi, lib, lock

_SIZE = 0x7FFF
_ABSENT = b"\x01\x7f\x01"  # cannot stand in the file


def _encoded(text: str) -> bytes:
    encoded = text.encode("latin-1")
    if b"\0" in encoded:
        raise ValueError("a text with a zero byte")
    return encoded


def _read(section: Optional[str], key: Optional[str]) -> bytes:
    out = ffi.new("char[]", _SIZE)
    with lock:
        length = lib.GetIniString(NULL if section is None else _encoded(section),
                                  NULL if key is None else _encoded(key), _ABSENT, out, _SIZE)
    return bytes(ffi.buffer(out, length))


def _names(listed: bytes) -> list[str]:
    if listed == _ABSENT:
        return []
    return [name.decode("latin-1") for name in listed.split(b"\0") if name]


class Section(Mapping):
    """A section: a mapping from keys to texts."""

    def __init__(self, name: str) -> None:
        self.name = name

    def __getitem__(self, key: str) -> str:
        value = _read(self.name, key)
        if value == _ABSENT or not key:
            raise KeyError(key)
        return value.decode("latin-1")

    def __setitem__(self, key: str, value: Any) -> None:
        said = _encoded(str(value))
        if len(said) >= 512 or b"\n" in said or b"\r" in said:
            raise ValueError("a value is one line of at most 511 characters")
        buffer = ffi.new("char[]", said)
        with lock:
            done = lib.SetIniString(_encoded(self.name), _encoded(key), buffer, 0)
        if not done:
            raise errors.Error("the settings file cannot be written, or has no such name", key)

    def __iter__(self) -> Iterator[str]:
        return iter(_names(_read(self.name, None)))

    def __len__(self) -> int:
        return len(list(iter(self)))

    def __repr__(self) -> str:
        return f"<Section {self.name}: {dict(self)}>"


class Settings(Mapping):
    """All sections by their names. One that is not there yet comes with its first key."""

    def __getitem__(self, section: str) -> Section:
        if not section:
            raise KeyError(section)
        return Section(section)

    def __contains__(self, section: object) -> bool:
        return section in list(self)

    def __iter__(self) -> Iterator[str]:
        return iter(_names(_read(None, None)))

    def __len__(self) -> int:
        return len(list(iter(self)))


settings = Settings()
