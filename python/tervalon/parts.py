"""What a run has beside its functions: analog channels, processing history, calibration."""

from __future__ import annotations

import dataclasses
import datetime
from typing import TYPE_CHECKING, Any, Optional

import numpy as np

from ._library import check, ffi, floats, lib, lock, text
from .chromatogram import Chromatogram
from .codes import StepType, known

if TYPE_CHECKING:
    from .run import Run


@dataclasses.dataclass(frozen=True)
class Channel:
    """An analog channel: a signal of a detector or chromatograph."""

    number: int
    """From 1."""
    name: str
    unit: str
    _run: "Run" = dataclasses.field(repr=False, compare=False)

    def read(self) -> Chromatogram:
        """Returns all samples. Raises FileNotFoundError when the run has none."""
        run = self._run
        count = ffi.new("int32_t*")
        with lock:
            check(lib.RawReadAnalogSize(run._handle, run._channels, count), run.path)
            values, times = np.zeros(count[0], np.float32), np.zeros(count[0], np.float32)
            code = lib.RawReadAnalogChrom(run._handle, self.number - 1, run._channels, 1, count[0],
                                          floats(values), floats(times))
        check(code, run.path)
        name = f"{self.name}, {self.unit}" if self.unit else self.name
        return Chromatogram(times, values, name, run.name)


def read_channels(handle: int, count: int, run: "Run") -> list[Channel]:
    described = ffi.new("int16_t*", lib.RAW_MAX_ANALOG_CHANNELS)
    descriptors = ffi.new("RawAnalogDescriptor[]", lib.RAW_MAX_ANALOG_CHANNELS)
    check(lib.RawReadAnalogInf(handle, described, descriptors), run.path)
    channels = []
    for i in range(count):
        words = bytes(descriptors[i].bytes).split(b"\0") if i < described[0] else []
        name, unit = (words + [b"", b""])[:2]
        channels.append(Channel(i + 1, name.decode("latin-1"), unit.decode("latin-1"), run))
    return channels


@dataclasses.dataclass(frozen=True)
class Step:
    """A step of the processing history."""

    function: int
    """The function that it belongs to."""
    name: str
    """``_PROCnnn`` for one that made processed data set nnn."""
    type: Any
    """A StepType, or the number of one that is not known."""
    created: Optional[datetime.datetime]
    """When, universal time; None where it is not known."""
    description: str
    """In one line, with parameters and local time."""
    depth: int
    """How many steps it is made from."""


def read_history(handle: int, path: str) -> list[Step]:
    header = ffi.new("RawHistoryHeader*")
    entries = ffi.new("RawHistoryEntry[]", lib.RAW_HISTORY_ENTRIES)
    code = lib.RawReadProcInfo(handle, header, entries)
    if code not in (lib.RAW_HISTORY_CUT_OFF, lib.RAW_MEMBER_NOT_OPEN):
        check(code, path)
    steps: list[Step] = []
    if code == lib.RAW_MEMBER_NOT_OPEN:
        return steps
    seen: set[int] = set()

    def walk(tree: int, entry: int, mode: int) -> int:
        return lib.RawHistGetProcess(header, entries, tree, entry, 0, mode) >> 16 & 0xFFFF

    for tree in range(1, lib.RAW_HISTORY_TREES + 1):
        waiting = [(walk(tree, 0, lib.RAW_HISTORY_FIRST_CHILD), 0)]
        while waiting:
            entry, depth = waiting.pop()
            if entry == 0 or entry in seen:  # links of a damaged file may lead in circles
                continue
            seen.add(entry)
            steps.append(_step(tree, depth, entries[entry].process))
            waiting.append((walk(tree, entry, lib.RAW_HISTORY_NEXT_SIBLING), depth))
            waiting.append((walk(tree, entry, lib.RAW_HISTORY_FIRST_CHILD), depth + 1))
    return steps


def _step(tree: int, depth: int, process: Any) -> Step:
    line = ffi.new("char[256]")
    lib.RawHistDescription(ffi.addressof(process), lib.RAW_DESCRIBE_FULL, line, 256)
    created = None
    if process.created:
        created = datetime.datetime.fromtimestamp(process.created, datetime.timezone.utc)
    return Step(tree, text(process.name), known(StepType, process.type), created, text(line), depth)


@dataclasses.dataclass(frozen=True)
class Polynomial:
    """A calibration polynomial: true mass from the stored one."""

    coefficients: tuple[float, ...]
    """c0, c1, ...; empty: masses stay as they are."""
    root_mass: bool
    """Whether it works on square roots of masses."""
    standard_deviation: float

    def __call__(self, mz: Any) -> Any:
        """Applies it to a mass or an array of masses, in double precision."""
        x = np.asarray(mz, np.float64)
        if not self.coefficients:
            return x
        x = np.sqrt(x) if self.root_mass else x
        y = np.polynomial.polynomial.polyval(x, self.coefficients)
        return y * y if self.root_mass else y


def polynomials(calibration: Any) -> dict[int, list[Polynomial]]:
    def polynomial(coefficients: Any) -> Polynomial:
        count = min(max(coefficients.order + 1, 0), 6)
        return Polynomial(tuple(coefficients.coefficients[0:count]), coefficients.type == 1,
                          coefficients.standard_deviation)

    found = {}
    for number in range(1, min(calibration.function_count, lib.RAW_MAX_CALIBRATED_FUNCTIONS) + 1):
        function = calibration.functions[number - 1]
        count = min(function.segment_count, lib.RAW_MAX_CALIBRATION_SEGMENTS)
        found[number] = [polynomial(function.segments[i]) for i in range(count)]
        if function.has_modification:
            found[number].append(polynomial(function.modification))
    return found
