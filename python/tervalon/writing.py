"""Writing raw data directories."""

from __future__ import annotations

import os
import struct
import time as clock
import weakref
from typing import Any, Mapping, Optional, Sequence, Union

import numpy as np

from . import errors
from ._library import NULL, Path, check, ffi, floats, full_path, latin1, lib, lock, path_bytes, text
from .codes import DataType, FunctionType

_CHANNEL_TYPES = {FunctionType.SIR, FunctionType.MRM, FunctionType.VOLTAGE_SIR,
                  FunctionType.MAGNETIC_SIR}


def create(path: Path, *, overwrite: bool = False, header: Optional[Mapping[str, Any]] = None,
           calibration: Any = None) -> "Writer":
    """Creates a raw data directory, to be used in a ``with``.

    It is written beside its place and takes it when all is written: what fails inside the ``with`` leaves
    nothing, and what was there before as it was.

    Args:
        path: The directory, say ``NEW.RAW``.
        overwrite: Whether to replace one that is there.
        header: Values for the header by the names that ``run.header`` has.
        calibration: A run whose calibration the header gets.

    Raises:
        FileExistsError: There is something at that path, and `overwrite` is not set.
        Error: The directory cannot be written.

    >>> import tervalon
    >>> with tervalon.create("NEW.RAW", header={"sample_id": "S-7"}) as writer:
    ...     survey = writer.add_function("TOF_MS", "STANDARD_CENTROID", (100, 900), "ES+")
    ...     survey.add(0.1, [200.5, 300.25], [10, 20])
    >>> tervalon.open("NEW.RAW")[1][0].mz.tolist()
    [200.5, 300.25]
    """
    return Writer(path, overwrite, dict(header or {}), calibration)


def _abandon(handle: int, folder: str, process: int) -> None:
    if os.getpid() == process:  # a copy of the process has a copy of the object
        with lock:
            lib.RawCreateClose(handle)
        _remove(folder)


def _remove(folder: str) -> None:
    import shutil  # only for those who write

    shutil.rmtree(folder, ignore_errors=True)


class Writer:
    """A raw data directory that is being written."""

    def __init__(self, path: Path, overwrite: bool, header: dict[str, Any], source: Any) -> None:
        self.path: str = full_path(path)
        self._overwrite = overwrite
        if os.path.lexists(self.path) and not overwrite:
            raise FileExistsError(17, "there is one already", self.path)
        self._header = _header_record(header)
        self._calibration = source._calibration if source is not None else ffi.new("RawCalibration*")
        self._functions: list[tuple[int, Any, list[float]]] = []  # numbers, records, times
        self._process = os.getpid()
        place = os.path.dirname(self.path)
        import tempfile

        self._folder = tempfile.mkdtemp(prefix=f".{os.path.basename(self.path)}.", dir=place)
        self._new = os.path.join(self._folder, os.path.basename(self.path))
        handle = ffi.new("int32_t*", -1)
        try:
            name = path_bytes(self._new)
            with lock:
                code = lib.RawCreateOpen(name, handle)
                self._handle = handle[0]
                self._finalizer = weakref.finalize(
                    self, _abandon, self._handle, self._folder, self._process)
                check(code, self.path)
                check(lib.RawCreateHeader(self._handle, self._header, self._calibration), self.path)
                check(lib.RawCreateFunctions(self._handle, 0, ffi.new("RawFunctionRecord[1]")), self.path)
        except BaseException:
            _remove(self._folder)
            raise

    def _use(self) -> int:
        if not self._finalizer.alive:
            raise errors.ClosedError("the directory is complete, or was given up", self.path)
        if os.getpid() != self._process:
            raise errors.Error("another process writes it", self.path)
        return self._handle

    def add_function(
        self,
        type: Union[int, str] = "SCAN",  # noqa: A002 - as functions have it
        data_type: Union[int, str] = "STANDARD_CENTROID",
        mass_range: tuple[float, float] = (0.0, 2000.0),
        ion_mode: str = "",
        channels: Sequence[Union[float, tuple[float, float]]] = (),
        like: Any = None,
    ) -> "FunctionWriter":
        """Adds a function, at most 32, and returns it for its scans.

        Args:
            type: A FunctionType, its name or its number.
            data_type: How points are packed: a DataType, its name or its number.
            mass_range: Lowest and highest m/z; profiles have their points evenly over it.
            ion_mode: As functions have it: ``"ES+"``.
            channels: Masses, or pairs of a mass and its daughter, of a function that has channels.
            like: A function of a run, whose record is taken in place of all of these.

        Raises:
            ValueError: A type or mode that there is not, or too many channels.
        """
        if like is not None:
            record = bytearray(bytes(like._record.bytes))
        else:
            record = _function_record(_member(FunctionType, type), _member(DataType, data_type),
                                      mass_range, ion_mode, channels)
        native = ffi.new("RawFunctionRecord*")
        ffi.buffer(native)[:] = bytes(record)
        number = ffi.new("int16_t*")
        with lock:
            handle = self._use()
            check(lib.RawAppendFunction(handle, native, number), self.path)
            if number[0] == 0:
                raise errors.Error("the function table cannot be written", self.path)
            check(lib.RawCreateScanFile(handle, number[0], 0, 0), self.path)
        times: list[float] = []
        self._functions.append((number[0], native, times))
        return FunctionWriter(self, number[0], lib.RawGetFuncDataType(native), times)

    def analog(self, channels: Sequence[tuple[str, str]], times: Any, values: Any) -> None:
        """Writes all analog channels, in place of those written before.

        Args:
            channels: Name and unit of each channel.
            times: Minutes, shape (n,).
            values: At least 0, shape (n, channels); stored with 13 bits and an exponent.
        """
        at = np.ascontiguousarray(times, np.float32)
        rows = np.ascontiguousarray(values, np.float32)
        if at.ndim != 1 or rows.shape != (len(at), len(channels)):
            raise ValueError("values have a row for each time and a column for each channel")
        if len(channels) > lib.RAW_MAX_ANALOG_CHANNELS:
            raise ValueError(f"at most {lib.RAW_MAX_ANALOG_CHANNELS} channels")
        size = lib.RAW_ANALOG_DESCRIPTOR_SIZE
        descriptors = ffi.new("RawAnalogDescriptor[]", max(len(channels), 1))
        for i, (name, unit) in enumerate(channels):
            said = latin1(name, size - 1, "name") + b"\0"
            said += latin1(unit, size - len(said), "unit")
            ffi.buffer(descriptors[i].bytes)[: len(said)] = said
        with lock:
            handle = self._use()
            check(lib.RawCreateAnalogInf(handle, len(channels), descriptors), self.path)
            check(lib.RawCreateAnalogFile(handle), self.path)
            base = floats(rows)
            try:
                for i, minutes in enumerate(at.tolist()):
                    check(lib.RawCreateAnalogScan(handle, minutes, len(channels),
                                                  base + i * len(channels)), self.path)
            finally:
                code = lib.RawCreateAnalogEnd(handle)
        check(code, self.path)

    def add_history(self, function: int, name: str, type: int = 6, parent: int = 0,  # noqa: A002
                    created: Optional[float] = None, parameters: bytes = b"") -> int:
        """Adds a step to the processing history.

        Args:
            function: The function that it belongs to, 1 to 32.
            name: ``_PROCnnn`` for what made processed data set nnn; at most 32 characters.
            type: A StepType.
            parent: The step that it was made from, as this method returned it; 0 for none.
            created: Seconds since 1970; now.
            parameters: At most 64 bytes, as the step's type has them.

        Returns:
            The step's index.
        """
        if not 1 <= function <= lib.RAW_HISTORY_TREES or not 0 <= parent <= 0xFFFF:
            raise ValueError("functions are 1 to 32")
        if len(parameters) > lib.RAW_STEP_PARAMETERS_SIZE:
            raise ValueError(f"at most {lib.RAW_STEP_PARAMETERS_SIZE} bytes of parameters")
        header = ffi.new("RawHistoryHeader*")
        entries = ffi.new("RawHistoryEntry[]", lib.RAW_HISTORY_ENTRIES + 1)
        entry = ffi.new("RawHistoryEntry*")
        entry.process.type = type
        entry.process.name = latin1(name, 33, "name")
        entry.process.created = int(clock.time() if created is None else created)
        ffi.buffer(entry.process.parameters)[: len(parameters)] = parameters
        with lock:
            handle = self._use()
            code = lib.RawReadProcInfo(handle, header, entries)
            if code != lib.RAW_MEMBER_NOT_OPEN:  # there is none yet
                check(code, self.path)
            check(lib.RawHistAddProcess(header, entries, function, parent, entry), self.path)
            check(lib.RawHistUpdateInfo(handle, header, entries), self.path)
        return entry.index

    def close(self) -> None:
        """Completes the directory and puts it in its place."""
        with lock:
            handle = self._use()
            try:
                records = ffi.new("RawFunctionRecord[]", max(len(self._functions), 1))
                for i, (number, record, times) in enumerate(self._functions):
                    check(lib.RawCreateScansEnd(handle, number, 0), self.path)
                    if times:
                        packed = struct.pack("<ffI", min(times), max(times), len(times))
                        ffi.buffer(record)[10:22] = packed
                    records[i] = record[0]
                check(lib.RawCreateFunctions(handle, len(self._functions), records), self.path)
                self._finalizer.detach()
                check(lib.RawCreateClose(handle), self.path)
                self._take_place()
            except BaseException:
                self.abandon()
                raise
            finally:
                _remove(self._folder)

    def _take_place(self) -> None:
        if os.path.lexists(self.path):
            if not self._overwrite:
                raise FileExistsError(17, "there is one already", self.path)
            aside = os.path.join(self._folder, "replaced")
            os.rename(self.path, aside)
            try:
                os.rename(self._new, self.path)
            except OSError:
                os.rename(aside, self.path)
                raise
        else:
            os.rename(self._new, self.path)

    def abandon(self) -> None:
        """Gives up: nothing is left of what was written. Does nothing when it is complete."""
        self._finalizer()

    def __enter__(self) -> "Writer":
        self._use()
        return self

    def __exit__(self, kind: Any, *ignored: object) -> None:
        if kind is None and self._finalizer.alive:
            self.close()
        else:
            self.abandon()


class FunctionWriter:
    """A function that is being written."""

    def __init__(self, writer: Writer, number: int, data_type: int, times: list[float]) -> None:
        self._writer = writer
        self.number: int = number
        self._data_type = data_type
        self._times = times

    def add(self, time: float, mz: Any, intensity: Any, flags: Any = None, segment: int = 0,
            calibrated: bool = False) -> None:
        """Adds a scan.

        Args:
            time: Retention time, minutes.
            mz: float32, shape (n,); None for types that store none.
            intensity: float32, shape (n,). A value that the type cannot hold is the nearest it can.
            flags: uint8, shape (n,), of which types with flags store four bits.
            segment: 0 to 15: which of the function's calibrations applies.
            calibrated: Whether the masses are final: no calibration is applied to them on reading.

        Raises:
            ValueError: Arrays of different lengths, or masses that the type needs.
        """
        values = np.ascontiguousarray(intensity, np.float32)
        masses = None if mz is None else np.ascontiguousarray(mz, np.float32)
        marks = None if flags is None else np.ascontiguousarray(np.asarray(flags).astype(np.uint8))
        if values.ndim != 1 or any(a is not None and a.shape != values.shape for a in (masses, marks)):
            raise ValueError("arrays of a scan have one dimension and the same length")
        if len(values) > lib.RAW_MAX_POINTS:
            raise ValueError(f"a scan has at most {lib.RAW_MAX_POINTS} points")
        description = ffi.new("RawScanDescription*", {
            "retention_time": float(time), "segment": int(segment) & 15, "flag_b": int(calibrated)})
        with lock:
            code = lib.RawCreateScansEx(
                self._writer._use(), self.number, 0, self._data_type, description,
                NULL if masses is None else floats(masses), floats(values),
                NULL if marks is None else ffi.from_buffer("uint8_t[]", marks), len(values))
        if code == lib.RAW_BAD_ARGUMENT:
            raise ValueError(f"data type {self._data_type} is not stored, or needs masses")
        check(code, self._writer.path)
        self._times.append(float(time))


def _member(kind: Any, value: Union[int, str]) -> int:
    try:
        return int(kind[value] if isinstance(value, str) else kind(value))
    except (KeyError, ValueError):
        names = ", ".join(kind.__members__)
        raise ValueError(f"{value!r} is none of {names}") from None


def _function_record(kind: int, data_type: int, mass_range: tuple[float, float], ion_mode: str,
                     channels: Sequence[Any]) -> bytearray:
    """The bytes that raw_functions.h describes."""
    if len(channels) > lib.RAW_MAX_SEGMENTS:
        raise ValueError(f"at most {lib.RAW_MAX_SEGMENTS} channels")
    if bool(channels) != (kind in _CHANNEL_TYPES):
        raise ValueError("channels belong to SIR and MRM functions, which have at least one")
    modes: dict[str, int] = {}
    name = ffi.new("char[8]")
    while lib.RawGetIonModeDesc(len(modes), name):
        modes[text(name)] = len(modes)
    if ion_mode and ion_mode not in modes:
        raise ValueError(f"'{ion_mode}' is none of {', '.join(modes)}")
    record = bytearray(lib.RAW_FUNCTION_RECORD_SIZE)
    word = kind | (modes[ion_mode] if ion_mode else 31) << 5 | data_type << 10
    struct.pack_into("<H", record, 0, word)
    struct.pack_into("<H", record, 22, len(channels) << 8)
    struct.pack_into("<ff", record, 28, *map(float, mass_range))
    if kind == FunctionType.MALDI_TOF:
        struct.pack_into("<ff", record, 70, float(mass_range[1]), float(mass_range[0]))
    for i, channel in enumerate(channels):
        mass, daughter = channel if isinstance(channel, (tuple, list)) else (channel, 0.0)
        struct.pack_into("<f", record, 160 + 4 * i, float(mass))
        struct.pack_into("<f", record, 288 + 4 * i, float(daughter))
    return record


def _header_record(values: dict[str, Any]) -> Any:
    record = ffi.new("RawHeader*", {"version_major": 1})
    months = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split()
    now = clock.localtime()
    record.acquired_date = f"{now.tm_mday:02}-{months[now.tm_mon - 1]}-{now.tm_year}".encode()
    record.acquired_time = clock.strftime("%H:%M:%S", now).encode()
    fields = dict(ffi.typeof("RawHeader").fields)
    for name, value in values.items():
        if name in ("acquired", "reserved", "encrypted"):
            continue  # made of others, or of the file
        if name not in fields:
            raise ValueError(f"a header has no '{name}'")
        kind = fields[name].type
        if kind.kind == "array" and kind.item.cname == "char":
            value = latin1(value, kind.length, name)
        setattr(record, name, value)
    return record
