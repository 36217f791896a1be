"""Numbers behind thresholds and grids, and the texts of traces."""

from __future__ import annotations

import dataclasses
from typing import Any, NamedTuple, Sequence

import numpy as np

from ._library import NULL, ffi, floats, lib, lock


# DM_COMBINATION_MARKER and DM_RANGE_OFFSET, which as floats are no constants of the binding.
_COMBINATION = 64000.0
_RANGE = 32000.0


def _values(array: Any, name: str) -> np.ndarray:
    values = np.ascontiguousarray(array, np.float32)
    if values.ndim != 1:
        raise ValueError(f"{name}: one dimension, not {values.ndim}")
    if len(values) > 0x7FFFFFFF:
        raise ValueError(f"{name}: too many values")
    return values


def noise(values: Any, order: int = 1) -> float:
    """Estimates the standard deviation of the noise of a trace.

    Args:
        values: Intensities, shape (n,).
        order: Of the differences that the estimate is made from, 0 to 20: a signal that is a
            polynomial of a lower degree has no part in it.

    Raises:
        ValueError: There are not more values than the order.

    >>> round(noise([1.0, 3.0, 1.0, 3.0, 1.0, 3.0, 1.0]), 3)
    2.828
    """
    array = _values(values, "values")
    result = ffi.new("float*")
    if not -0x80000000 <= order <= 0x7FFFFFFF:
        raise ValueError("the order is 0 to 20")
    with lock:
        done = lib.ChroStatCalcNoiseLevel(floats(array), len(array), order, result)
    if not done:
        raise ValueError("an order of 0 to 20, and more values than that")
    return result[0]


class Grid(NamedTuple):
    """A signal on a regular grid."""

    first: float
    """Position of the first point."""
    step: float
    values: np.ndarray
    """float32, shape (n,)."""

    @property
    def positions(self) -> np.ndarray:
        """Positions of the points: float32, shape (n,)."""
        return (self.first + self.step * np.arange(len(self.values))).astype(np.float32)


def linearise(x: Any, y: Any, step: float, *, preserve_flux: bool = True) -> Grid:
    """Brings a signal onto a regular grid.

    Args:
        x: Positions in ascending order, shape (n,).
        y: Intensities, shape (n,).
        step: Distance of the grid points, above 0.
        preserve_flux: Whether outputs add up to the signal's sum; otherwise it is interpolated.

    Raises:
        ValueError: Arguments that make no sense, or more than 2^28 points.

    >>> linearise([0, 1, 3], [0, 2, 6], 1, preserve_flux=False).values.tolist()
    [0.0, 2.0, 4.0, 6.0]
    """
    xs, ys = _values(x, "x"), _values(y, "y")
    if len(xs) != len(ys):
        raise ValueError("x and y have different lengths")
    data = ffi.new("LinDataset*")
    export = lib.LineariseDataset if preserve_flux else lib.LineariseDatasetNoFluxPreserve
    with lock:
        if export(floats(xs), floats(ys), len(xs), float(step), data) != 0:
            raise ValueError("no data, x that is not in order, or a step that makes no grid")
        block = lib.TvMemLock(data.values)
        try:  # the block is the library's way to hand it over; it is freed here
            values = np.frombuffer(ffi.buffer(block, 4 * data.count), np.float32).copy()
        finally:
            lib.TvMemUnlock(data.values)
            lib.TvMemFree(data.values)
    return Grid(data.first, data.step, values)


def retention_index(time: float, calibration: Sequence[tuple[float, float]]) -> float:
    """Interpolates a retention index between reference compounds.

    Args:
        time: Retention time, minutes, taken to hundredths.
        calibration: Time and index of 2 to 32 references, ascending times.

    Raises:
        ValueError: A time outside of the calibration, or no calibration.

    >>> retention_index(1.5, [(1.0, 600.0), (2.0, 700.0)])
    650.0
    """
    if not 2 <= len(calibration) <= lib.RT_MAX_POINTS:
        raise ValueError(f"2 to {lib.RT_MAX_POINTS} references")
    record = ffi.new("RTCalibration*", {"calibrated": 1, "point_count": len(calibration)})
    for i, (at, index) in enumerate(calibration):
        record.times[i], record.indices[i] = at, index
    result = ffi.new("float*")
    with lock:
        done = lib.RTIndicesCalculateIndex(float(time), record, result)
    if not done:
        raise ValueError(f"{time} min is outside of the calibration")
    return result[0]


@dataclasses.dataclass(frozen=True)
class Trace:
    """A trace of masses and ranges that are added, or subtracted."""

    members: tuple[tuple[float, float, bool], ...]
    """Low and high m/z (equal: one mass), and whether it is subtracted."""

    def __str__(self) -> str:
        """The trace as text, as the data system writes it."""
        masses: list[float] = []
        for low, high, subtracted in self.members:
            sign = -1 if subtracted else 1
            masses += [sign * low] if low == high else [sign * (low + _RANGE), high]
        if len(self.members) > 1:
            masses = [_COMBINATION, *masses, _COMBINATION]
        out = ffi.new("char[]", 33 * len(masses) + 1)
        lib.DmRawMassToStr(ffi.new("float[]", [*masses, 0]), out)
        return ffi.string(out).decode("latin-1")


def trace(text: str) -> Trace:
    """Reads the text of a trace of masses, such as methods have.

    Raises:
        ValueError: It is none.

    >>> trace("184+200-150").members
    ((184.0, 184.0, False), (200.0, 200.0, False), (150.0, 150.0, True))
    >>> str(trace("100_200"))
    '100_200'
    """
    size = lib.DM_MAX_TRACE_MASSES
    masses = ffi.new("float[]", size + 1)
    encoded = text.encode("ascii", "replace")
    if b"\0" in encoded:
        raise ValueError("a trace with a zero byte")
    rest = ffi.new("const char**")
    with lock:
        count = lib.DmRawStrToMass(encoded, masses, size, rest)
    if count <= 0 or rest[0] != NULL:
        raise ValueError(f"'{text}' is not one trace of masses")
    found: list[tuple[float, float, bool]] = []
    values = iter([value for value in masses[0:count] if abs(value) != _COMBINATION])
    for value in values:
        subtracted, low = value < 0, abs(value)
        if low >= _RANGE:
            found.append((low - _RANGE, next(values, 0.0), subtracted))
        else:
            found.append((low, low, subtracted))
    return Trace(tuple(found))
