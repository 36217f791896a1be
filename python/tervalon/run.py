"""Runs: raw data directories opened for reading."""

from __future__ import annotations

import datetime
import gc
import html
import os
import re
import weakref
from types import MappingProxyType
from typing import Any, Iterator, Mapping, Optional

from . import errors, parts
from ._library import NULL, Path, check, ffi, full_path, int16, lib, lock, path_bytes, text
from .function import Function

_MONTHS = "JAN FEB MAR APR MAY JUN JUL AUG SEP OCT NOV DEC".split()


def open(path: Path, *, calibrated: bool = True) -> "Run":  # noqa: A001 - as io.open and gzip.open
    """Opens a raw data directory for reading.

    Args:
        path: The directory.
        calibrated: Whether masses are calibrated as the header says; otherwise they are as stored.

    Returns:
        The run, to be closed or used in a ``with``. At most 20 may be open at once in a process.

    Raises:
        FileNotFoundError: There is no such directory, or it has no header.
        Error: Anything else that the library refuses.
    """
    return Run(path, calibrated=calibrated)


def _release(handle: int) -> None:
    with lock:
        lib.RawReadClose(handle)


def _open_handle(path: str) -> int:
    handle = ffi.new("int32_t*", -1)
    name = path_bytes(path)
    code = lib.RawReadOpen(name, handle)
    if code == lib.RAW_NO_FREE_HANDLE:
        gc.collect()  # runs that nobody can reach any more
        code = lib.RawReadOpen(name, handle)
    check(code, path)
    return handle[0]


class Run(Mapping[int, Function]):
    """A raw data directory: a mapping from function numbers to functions, and what belongs to both.

    >>> import tervalon
    >>> with tervalon.open("FIRST.RAW") as run:
    ...     scan = run[1].at_time(4.67)
    ...     print(scan.number, len(scan), round(scan.tic))
    141 63 447034
    """

    def __init__(self, path: Path, *, calibrated: bool = True) -> None:
        self._closed = True
        self.path: str = full_path(path)
        self._calibrated = calibrated
        self._opened: set[tuple[int, int]] = set()
        self._calibration = ffi.new("RawCalibration*")
        header = ffi.new("RawHeader*")
        functions, channels = ffi.new("int16_t*"), ffi.new("int16_t*")
        with lock:
            handle = _open_handle(self.path)
            self._finalizer = weakref.finalize(self, _release, handle)
            self._finalizer.atexit = False
            self._number = handle
            code = lib.RawReadHeader(handle, header, self._calibration, functions, channels)
        if code != lib.RAW_OK:
            self._finalizer()
            check(code, self.path)
        self._closed = False
        self._channels = channels[0]
        self.header: Mapping[str, Any] = MappingProxyType(_header_values(header))

    @property
    def name(self) -> str:
        """The directory's name."""
        return os.path.basename(self.path)

    @property
    def functions(self) -> tuple[Function, ...]:
        """The functions, function 1 first."""
        return tuple(self.values())

    def function(self, number: int) -> Function:
        """Returns function `number`, from 1. Raises IndexError when there is none."""
        wanted = int16(number, "function")
        if wanted < 1:
            raise errors.AbsentError(f"there is no function {wanted}", self.path)
        return Function(self, wanted)

    __getitem__ = function

    def __iter__(self) -> Iterator[int]:
        return iter(range(1, len(self) + 1))

    def __len__(self) -> int:
        records = ffi.new("RawFunctionRecord[]", lib.RAW_MAX_FUNCTIONS)
        flags = ffi.new("int16_t[]", [-1] * lib.RAW_MAX_FUNCTIONS)  # one is set for each record
        with lock:
            code = lib.RawReadFuncInfo(self._handle, 0, records, flags)
        check(code, self.path)
        return sum(flag == 0 for flag in flags)

    def __contains__(self, number: object) -> bool:
        return isinstance(number, int) and 1 <= number <= len(self)

    def get(self, number: int, default: Any = None) -> Any:
        """Returns a function, or `default` when there is none."""
        return self[number] if number in self else default

    @property
    def processes(self) -> "Processes":
        """The processed data sets by their numbers, 1 to 255."""
        self._handle  # raises when closed
        return Processes(self)

    def process(self, number: int, function: int = 0) -> Function:
        """Returns a processed data set.

        Args:
            number: 1 to 255.
            function: The function that it was made from; 0 for what the history says.

        Raises:
            IndexError: There is no such set.
            Error: Nothing tells the function that it was made from.
        """
        return Function(self, int16(function, "function"), int16(number, "process") or -1)

    @property
    def analog(self) -> list[parts.Channel]:
        """The analog channels, sampled beside the scans."""
        with lock:
            return parts.read_channels(self._handle, self._channels, self)

    @property
    def history(self) -> list[parts.Step]:
        """The processing history: the steps of all functions, each behind the one it is made from."""
        with lock:
            return parts.read_history(self._handle, self.path)

    @property
    def calibration(self) -> dict[int, list[parts.Polynomial]]:
        """By function number the polynomials of its segments, and last a modification if it has one."""
        return parts.polynomials(self._calibration)

    def close(self) -> None:
        """Closes the run. Arrays and scans that were read stay valid; everything else raises."""
        with lock:
            self._closed = True
            self._finalizer()

    @property
    def closed(self) -> bool:
        """Whether the run was closed."""
        return self._closed

    def __enter__(self) -> "Run":
        self._handle  # raises when closed
        return self

    def __exit__(self, *ignored: object) -> None:
        self.close()

    def __reduce__(self) -> tuple:
        return _reopen, (self.path, self._calibrated)

    # Another run of the same directory may have been opened differently.
    __eq__ = object.__eq__
    __hash__ = object.__hash__

    @property
    def _handle(self) -> int:
        if self._closed:
            raise errors.ClosedError("the run is closed", self.path)
        return self._number

    def _open_function(self, number: int, process: int, record: Any) -> int:
        """Opens a function that is not open; the caller holds the lock. Returns the handle."""
        handle = self._handle
        if (number, process) not in self._opened:
            calibration = self._calibration if self._calibrated else NULL
            check(lib.RawReadFuncInit(handle, number, process, record, calibration), self.path)
            self._opened.add((number, process))
        return handle

    def __repr__(self) -> str:
        return f"<Run {self.name}{' (closed)' if self._closed else ''}>"

    def _repr_html_(self) -> str:
        if self._closed:
            return f"<p>{html.escape(repr(self))}</p>"
        rows = "".join(
            f"<tr><td>{f.number}</td><td>{html.escape(f.title)}</td><td>{len(f)}</td>"
            f"<td>{f.time_range[0]:.3f}-{f.time_range[1]:.3f}</td>"
            f"<td>{f.mass_range[0]:.1f}-{f.mass_range[1]:.1f}</td></tr>"
            for f in self.functions
        )
        picture = self[1]._repr_svg_() if 1 in self else None
        return (f"<h4>{html.escape(self.name)}</h4><p>{html.escape(self.header['sample_description'])}</p>"
                "<table><tr><th>function</th><th></th><th>scans</th><th>min</th><th>m/z</th></tr>"
                f"{rows}</table>{picture or ''}")


class Processes(Mapping[int, Function]):
    """The processed data sets of a run by their numbers. Each is found when it is asked for."""

    def __init__(self, run: Run) -> None:
        self._run = run

    def __getitem__(self, number: int) -> Function:
        return self._run.process(number)

    def __iter__(self) -> Iterator[int]:
        found = (re.fullmatch(r"_PROC(\d{3})\.DAT", name, re.IGNORECASE)
                 for name in os.listdir(self._run.path))
        return iter(sorted({int(match[1]) for match in found if match} & set(range(1, 256))))

    def __len__(self) -> int:
        return len(list(iter(self)))

    def __contains__(self, number: object) -> bool:
        return number in list(self)

    def __repr__(self) -> str:
        return f"<Processes {list(self)} of {self._run!r}>"


def _reopen(path: str, calibrated: bool) -> Run:
    return Run(path, calibrated=calibrated)


def _header_values(header: Any) -> dict[str, Any]:
    values: dict[str, Any] = {}
    for name, field in ffi.typeof("RawHeader").fields:
        member = getattr(header, name)
        if name == "reserved":
            continue
        if field.type.kind == "primitive":
            values[name] = bool(member) if name in ("resolved", "encrypted") else member
        elif field.type.item.cname == "char":
            values[name] = text(member)
        else:
            values[name] = tuple(member)
    values["acquired"] = _time_of(values["acquired_date"], values["acquired_time"])
    return values


def _time_of(day: str, time: str) -> Optional[datetime.datetime]:
    """Local time of the laboratory; None where the header's texts are none."""
    match = re.fullmatch(r"\s*(\d+)-([A-Za-z]{3})-(\d{4}) (\d+):(\d+):(\d+)\s*", f"{day} {time}")
    try:
        month = _MONTHS.index(match[2].upper()) + 1  # type: ignore[index]
        return datetime.datetime(int(match[3]), month, *map(int, (match[1], *match.groups()[3:])))  # type: ignore
    except (TypeError, ValueError):
        return None
