"""What the library refuses, as exceptions."""

from __future__ import annotations

from typing import Optional


class Error(Exception):
    """A failure that the library reports.

    Attributes:
        code: The library's result code (``docs/result_codes.md``).
        path: The file or directory that it is about, or None.
        text: What the code says, in English.
    """

    def __init__(self, text: str, path: Optional[str] = None, code: int = 0) -> None:
        super().__init__(f"{path}: {text}" if path else text)
        self.text = text
        self.path = path
        self.code = code

    def __reduce__(self) -> tuple:
        return type(self), (self.text, self.path, self.code)


class NotFoundError(Error, FileNotFoundError):
    """A directory, file or member file is not there."""

    __str__ = Exception.__str__


class AbsentError(Error, IndexError):
    """A scan, function, process or record number that there is not."""


class ClosedError(Error, ValueError):
    """What is used was closed before."""


class LibraryMemoryError(Error, MemoryError):
    """The library had no memory."""
