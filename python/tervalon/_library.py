"""The shared library: where it is, the lock around it, its texts and result codes."""

from __future__ import annotations

import os
import pathlib
import sys
import threading
from typing import Any, Optional, Union

from . import errors
from ._interface import ffi

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

WINDOWS = sys.platform == "win32"
NULL = ffi.NULL


def _load() -> Any:
    name = "tervalon.dll" if WINDOWS else "libtervalon.so.1"
    bundled = pathlib.Path(__file__).with_name(name)
    library = ffi.dlopen(str(bundled) if bundled.exists() else name)
    number = ffi.new("int32_t*")
    library.TvVersion(number)
    major, minor = number[0] // 10000, number[0] // 100 % 100
    wanted = (library.TERVALON_VERSION_MAJOR, library.TERVALON_VERSION_MINOR)
    if major != wanted[0] or minor < wanted[1]:
        raise ImportError(f"{name} is version {major}.{minor}; this package needs {wanted[0]}.{wanted[1]}")
    return library


lib = _load()

# One thread at a time is in the library. A finaliser may run while its own thread holds the lock.
lock = threading.RLock()
if hasattr(os, "register_at_fork"):  # so that no other thread is in the library when it is copied
    os.register_at_fork(
        before=lock.acquire, after_in_parent=lock.release, after_in_child=lock.release
    )

_ABSENT = {lib.RAW_SCAN_ABSENT, lib.RAW_SLOT_OUT_OF_RANGE, lib.DB3_RECORD_NUMBER}
_NOT_FOUND = {lib.RAW_DIRECTORY_ABSENT, lib.RAW_DIRECTORY_VANISHED, lib.RAW_MEMBER_NOT_OPENED,
              lib.DB3_FILE_MISSING}
_NO_MEMORY = {lib.RAW_NO_MEMORY_FOR_MEMBER, lib.RAW_NO_MEMORY_FOR_SCAN_BUFFER,
              lib.DB3_MEMORY_ALLOCATION, lib.PRC_NO_MEMORY}


def error(code: int, path: Optional[str] = None) -> errors.Error:
    """Returns the exception for a result code."""
    kind = errors.Error
    for codes, special in ((_ABSENT, errors.AbsentError), (_NOT_FOUND, errors.NotFoundError),
                           (_NO_MEMORY, errors.LibraryMemoryError)):
        if code in codes:
            kind = special
    said = ffi.string(lib.TvErrorText(code)).decode("latin-1")
    return kind(said or f"result code {code}", path, code)


def check(code: int, path: Optional[str] = None) -> None:
    """Raises the exception for a result code that is not 0."""
    if code != 0:
        raise error(code, path)


def full_path(path: Path) -> str:
    """Returns an absolute path as text: the working directory may change later."""
    text = os.path.abspath(os.fsdecode(os.fspath(path)))
    if "\0" in text:
        raise ValueError("a path with a zero byte")
    return text


def path_bytes(path: str) -> bytes:
    """Returns a path as the library wants it."""
    encoded = path.encode("mbcs") if WINDOWS else os.fsencode(path)
    if len(encoded) >= lib.TV_PATH_SIZE:
        raise errors.Error(f"a path of more than {lib.TV_PATH_SIZE - 1} bytes", path)
    return encoded


def text(array: Any) -> str:
    """Returns a character array's text; files of the data system are Latin-1."""
    return bytes(ffi.buffer(array)).split(b"\0", 1)[0].decode("latin-1")


def latin1(value: str, size: int, what: str) -> bytes:
    """Returns a text for an array of `size` bytes with its zero. Raises ValueError if it does not fit."""
    encoded = str(value).encode("latin-1")  # UnicodeEncodeError is a ValueError
    if len(encoded) >= size or b"\0" in encoded:
        raise ValueError(f"{what}: at most {size - 1} characters without zeros")
    return encoded


def floats(array: Any) -> Any:
    """Returns the address of a contiguous float32 array, which has to stay alive."""
    return ffi.from_buffer("float[]", array, require_writable=False)


def int16(value: Any, what: str) -> int:
    """Returns a number as the library counts functions and the like. IndexError beyond 16 bits."""
    number = value.__index__()
    if not -0x8000 <= number <= 0x7FFF:
        raise errors.AbsentError(f"{what} {number} is out of range")
    return number
