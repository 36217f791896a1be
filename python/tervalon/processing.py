"""Smoothing, centroids, combined scans and chromatographic peaks (``docs/processing.md``)."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterable, Optional, Sequence, Tuple, Union

import numpy as np

from . import _optional, errors, pictures
from ._library import NULL, error, ffi, floats, lib, lock
from .numbers import _values
from .windows import _TOLERANCE, _UNITS, Window, bounds

if TYPE_CHECKING:
    from .function import Function

#: "5x" the noise, "2%" of the highest, or an intensity.
Threshold = Union[str, float]
#: One, or the first and the last of a range.
Range = Union[float, Tuple[float, float]]

#: What is known of a chromatographic peak: the layout of the library's PrcPeak. Points count from 0.
PEAK_TYPE = np.dtype([
    ("area", "f8"), ("start", "i4"), ("apex", "i4"), ("end", "i4"), ("group", "i4"),
    ("baseline", "i4"), ("start_time", "f4"), ("time", "f4"), ("end_time", "f4"),
    ("start_intensity", "f4"), ("end_intensity", "f4"), ("height", "f4"), ("width", "f4"),
    ("asymmetry", "f4"), ("signal_to_noise", "f4"), ("retention_index", "f4"), ("reserved", "f4"),
])  # fmt: skip

_METHODS = {"mean": lib.PRC_SMOOTH_MEAN, "savitzky-golay": lib.PRC_SMOOTH_SAVITZKY_GOLAY}
_BASELINES = {"dropped": lib.PRC_BASELINE_DROPPED, "valleys": lib.PRC_BASELINE_VALLEYS,
              "tangent": lib.PRC_BASELINE_TANGENT}
_COMBINATIONS = {"mean": lib.PRC_COMBINE_MEAN, "sum": lib.PRC_COMBINE_SUM}
_POINTS = {None: lib.PRC_POINTS_BY_TYPE, "profile": lib.PRC_POINTS_CONTINUUM,
           "centroids": lib.PRC_POINTS_CENTROIDS}
_TRACES = {"TIC": lib.PRC_TRACE_TOTAL_ION, "BPI": lib.PRC_TRACE_BASE_PEAK}
_ARGUMENTS = {lib.PRC_BAD_ARGUMENT, lib.PRC_TOO_FEW_POINTS, lib.PRC_BAD_WINDOW, lib.PRC_NOT_FINITE,
              lib.PRC_NOT_ASCENDING, lib.PRC_UNEVEN}


def _check(code: int, path: Optional[str] = None) -> None:
    if code in _ARGUMENTS:
        raise ValueError(ffi.string(lib.TvErrorText(code)).decode("latin-1"))
    if code == lib.PRC_NO_SCANS:
        raise errors.AbsentError("there are no scans in the range", path, code)
    if code != lib.PRC_OK:
        raise error(code, path)


def _choice(choices: dict[Any, int], value: Any, what: str) -> int:
    if value not in choices:
        raise ValueError(f"{what}: {value!r} is none of {', '.join(map(str, choices))}")
    return choices[value]


def _threshold(value: Threshold) -> tuple[int, float]:
    unit, text = lib.PRC_THRESHOLD_INTENSITY, str(value)
    if text.endswith(("x", "%")):
        unit = lib.PRC_THRESHOLD_NOISE if text.endswith("x") else lib.PRC_THRESHOLD_PERCENT
        text = text[:-1]
    return unit, float(text)


def smoothing(method: str, window: int, degree: int, passes: int) -> dict[str, int]:
    """Returns the members of a PrcSmoothing."""
    if window % 2 == 0 or not 0 < window < 0x7FFFFFFF:
        raise ValueError(f"a window has an odd number of points, not {window}")
    if not (0 <= passes <= lib.PRC_MAX_PASSES and 0 <= degree <= lib.PRC_MAX_DEGREE):
        raise ValueError("passes are 0 to 100, degrees 0 to 20")
    return {"method": _choice(_METHODS, method, "method"), "half_width": window // 2,
            "passes": passes, "degree": degree}


def centroiding(threshold: Threshold, rise: float, top: float, resolution: float,
                area: bool) -> dict[str, Any]:
    """Returns the members of a PrcCentroiding."""
    unit, least = _threshold(threshold)
    return {"threshold_unit": unit, "threshold": least, "rise": rise, "top": top,
            "resolution": resolution,
            "intensity": lib.PRC_INTENSITY_AREA if area else lib.PRC_INTENSITY_HEIGHT}


def smooth(values: Any, positions: Any = None, *, method: str = "savitzky-golay", window: int = 7,
           degree: int = 2, passes: int = 1) -> np.ndarray:
    """Smooths values at even distances.

    Args:
        values: Shape (n,).
        positions: Where they are, shape (n,), to be looked at; ``linearise`` makes uneven ones even.
        method: ``"savitzky-golay"``, or ``"mean"`` for the moving mean.
        window: Points around and with each, odd.
        degree: Of the polynomial of Savitzky and Golay, 1 to 20.
        passes: 1 to 100.

    Returns:
        float32, shape (n,).

    Raises:
        ValueError: Arguments that make no sense, fewer points than the window has, values that are
            not finite, positions that are not even.

    >>> smooth([0, 0, 3, 0, 0], method="mean", window=3).tolist()
    [0.0, 1.0, 1.0, 1.0, 0.0]
    """
    given = _values(values, "values")
    at = None if positions is None else _values(positions, "positions")
    if at is not None and len(at) != len(given):
        raise ValueError("positions and values have different lengths")
    record = ffi.new("PrcSmoothing*", smoothing(method, window, degree, passes))
    smoothed = np.empty(len(given), np.float32)
    with lock:
        code = lib.PrcSmooth(record, NULL if at is None else floats(at), floats(given), len(given),
                             ffi.from_buffer("float[]", smoothed))
    _check(code)
    return smoothed


def centroid(mz: Any, intensity: Any, *, threshold: Threshold = "3x", rise: float = 0.1,
             top: float = 0.8, resolution: float = 0, area: bool = False) -> tuple[np.ndarray, np.ndarray]:
    """Makes peaks of the points of a profile.

    Args:
        mz: Masses that do not descend, shape (n,).
        intensity: Shape (n,).
        threshold: The least height of a peak: ``"3x"`` the noise, ``"2%"`` of the highest, or an
            intensity.
        rise: The share of its height that a peak stands above the valleys beside it.
        top: The share of a peak, from its top down, that the mass is the centre of; 1: all of it.
        resolution: Peaks narrower at half height than mass by this are left out; 0: none is.
        area: Whether intensities are sums over the peaks instead of their heights.

    Returns:
        Masses and intensities: float32, shape (peaks,).

    Raises:
        ValueError: Arguments that make no sense, no points, or values that are not finite.

    >>> [array.tolist() for array in centroid([1, 2, 3, 4, 5], [0, 2, 4, 2, 0], threshold=1)]
    [[3.0], [4.0]]
    """
    masses, heights = _values(mz, "mz").copy(), _values(intensity, "intensity").copy()
    if len(masses) != len(heights):
        raise ValueError("mz and intensity have different lengths")
    record = ffi.new("PrcCentroiding*", centroiding(threshold, rise, top, resolution, area))
    count = ffi.new("int32_t*")
    at, high = ffi.from_buffer("float[]", masses), ffi.from_buffer("float[]", heights)
    with lock:
        code = lib.PrcCentroid(record, at, high, len(masses), at, high, count)
    _check(code)
    return masses[: count[0]].copy(), heights[: count[0]].copy()


def _taken(block: Any, dtype: Any, count: int) -> np.ndarray:
    """Copies a block of the library, and frees it; the caller holds the lock."""
    kind = np.dtype(dtype)
    address = lib.TvMemLock(block)
    try:
        return np.frombuffer(ffi.buffer(address, kind.itemsize * count), kind).copy()
    finally:
        lib.TvMemUnlock(block)
        lib.TvMemFree(block)


def peaks(time: Any, intensity: Any, *, smooth: Optional[str] = "savitzky-golay", window: int = 7,
          degree: int = 2, passes: int = 1, threshold: Threshold = "5x", baseline: str = "dropped",
          rider: float = 0.3, calibration: Sequence[tuple[float, float]] = ()) -> np.ndarray:
    """Finds and integrates the peaks of a chromatogram.

    Args:
        time: Minutes, ascending, shape (n,).
        intensity: Shape (n,).
        smooth: How the trace is smoothed that peaks are looked for in: ``"savitzky-golay"``,
            ``"mean"`` or None; with `window`, `degree` and `passes` as of ``smooth``.
        threshold: How far a peak stands above the valleys beside it: ``"5x"`` the noise, ``"2%"`` of
            the highest, or an intensity.
        baseline: Below peaks that overlap: ``"dropped"``, ``"valleys"`` or ``"tangent"``.
        rider: With tangents, the share of the large peak's height that small ones are lower than.
        calibration: Time and retention index of 2 to 32 references, ascending times.

    Returns:
        PEAK_TYPE, a row for each peak: areas are intensity times minutes, ``start``, ``apex`` and
        ``end`` positions in the arrays; 0 says that a width, asymmetry, signal to noise or index is not
        known.

    Raises:
        ValueError: Arguments that make no sense, too few points, times that do not ascend.

    >>> found = peaks(range(9), [0, 0, 0, 2, 6, 2, 0, 0, 0], smooth=None, threshold=1)
    >>> found["apex"].tolist(), found["area"].tolist()
    ([4], [10.0])
    """
    times, values = _values(time, "time"), _values(intensity, "intensity")
    if len(times) != len(values):
        raise ValueError("time and intensity have different lengths")
    if len(calibration) not in range(2, lib.RT_MAX_POINTS + 1) and calibration:
        raise ValueError(f"2 to {lib.RT_MAX_POINTS} references")
    unit, least = _threshold(threshold)
    how = smoothing(smooth or "mean", window, degree, passes if smooth else 0)
    search = ffi.new("PrcPeakSearch*", {"smoothing": how, "threshold_unit": unit, "threshold": least,
                                        "baseline": _choice(_BASELINES, baseline, "baseline"),
                                        "rider": rider})
    indices = ffi.new("RTCalibration*", {"calibrated": 1, "point_count": len(calibration)})
    for i, (at, index) in enumerate(calibration):
        indices.times[i], indices.indices[i] = at, index
    result = ffi.new("PrcPeaks*")
    with lock:
        code = lib.PrcFindPeaks(search, floats(times), floats(values), len(times),
                                indices if calibration else NULL, result)
        found = _taken(result.peaks, PEAK_TYPE, result.count) if code == lib.PRC_OK else None
    _check(code)
    assert found is not None
    for name in ("start", "apex", "end"):
        found[name] -= 1
    return found


class Spectrum:
    """A spectrum that processing has made.

    Attributes:
        mz: float32, shape (points,).
        intensity: float32, shape (points,).
        time: Retention time, minutes: the mean of the scans that it was made of.
        is_profile: Whether points sample a profile; otherwise each is a peak of its own.
        title: What it is.
    """

    def __init__(self, mz: np.ndarray, intensity: np.ndarray, time: float, is_profile: bool,
                 title: str) -> None:
        self.mz, self.intensity, self.time = mz, intensity, time
        self.is_profile, self.title = is_profile, title

    def __len__(self) -> int:
        return len(self.mz)

    def smooth(self, **options: Any) -> "Spectrum":
        """Returns it smoothed; options are those of ``tervalon.smooth``."""
        return Spectrum(self.mz, smooth(self.intensity, self.mz, **options), self.time, self.is_profile,
                        f"{self.title}, smoothed")

    def centroid(self, **options: Any) -> "Spectrum":
        """Returns its peaks; options are those of ``tervalon.centroid``."""
        mz, intensity = centroid(self.mz, self.intensity, **options)
        return Spectrum(mz, intensity, self.time, False, f"{self.title}, centroids")

    def to_numpy(self) -> np.ndarray:
        """Returns m/z and intensities as one new array: float32, shape (points, 2)."""
        return np.column_stack((self.mz, self.intensity))

    def to_pandas(self) -> Any:
        """Returns a DataFrame with the columns mz and intensity. Raises ImportError without pandas."""
        return _optional.pandas().DataFrame({"mz": self.mz, "intensity": self.intensity})

    def plot(self, axes: Any = None, **options: Any) -> Any:
        """Draws it with matplotlib, into `axes` or new ones, and returns them."""
        return pictures.plot(self._series(), axes, **options)

    def _series(self) -> list[pictures.Series]:
        return [pictures.Series(self.mz, self.intensity, self.title, "m/z", sticks=not self.is_profile)]

    def _repr_svg_(self) -> Optional[str]:
        return pictures.svg(self._series(), self.title)

    def __repr__(self) -> str:
        return f"<Spectrum {self.title}, {len(self)} points>"


def _runs(function: "Function", handle: int, scans: Iterable[Range], times: Iterable[Range],
          room: int) -> list[dict[str, int]]:
    """The runs of scans that ranges are; the caller holds the lock."""
    runs = []
    for one in scans:
        first, last = one if isinstance(one, tuple) else (one, one)
        if int(first) < 1 or int(first) != first or int(last) != last:
            raise ValueError(f"{one!r} are no scan numbers, from 1")
        runs.append({"first": int(first), "last": int(last)})
    found = ffi.new("PrcScans*")
    for one in times:
        low, high = one if isinstance(one, tuple) else (one, one)
        if low == high:
            scan = function.at_time(low).number
            runs.append({"first": scan, "last": scan})
            continue
        _check(lib.PrcFindScans(handle, function.number, function.process, low, high, found),
               function.run.path)
        runs.append({"first": found.first, "last": found.last})
    if len(runs) > room:
        raise ValueError(f"at most {room} ranges")
    return runs


def combining(function: "Function", handle: int, scans: Iterable[Range], times: Iterable[Range],
              background: Iterable[Range], background_times: Iterable[Range], factor: float, method: str,
              tolerance: Union[str, float], points: Optional[str]) -> dict[str, Any]:
    """Returns the members of a PrcCombining; the caller holds the lock."""
    match = _TOLERANCE.fullmatch(str(tolerance))
    if isinstance(tolerance, str) and not match:
        raise ValueError(f"'{tolerance}' is no tolerance such as '5ppm' or '0.01Da'")
    unit = _UNITS[match[2].lower()] if match else 1.0
    wide = float(match[1]) * (unit or 1.0) if match else float(tolerance)
    return {"method": _choice(_COMBINATIONS, method, "method"),
            "points": _choice(_POINTS, points, "points"),
            "scans": _runs(function, handle, scans, times, lib.PRC_MAX_RUNS),
            "background": _runs(function, handle, background, background_times,
                                lib.PRC_MAX_BACKGROUND_RUNS),
            "factor": factor, "tolerance": wide, "tolerance_in_ppm": int(unit is None)}


def combine(function: "Function", handle: int, members: dict[str, Any]) -> Spectrum:
    """Combines scans; the caller holds the lock."""
    result = ffi.new("PrcSpectrum*")
    code = lib.PrcCombine(handle, function.number, function.process,
                          ffi.new("PrcCombining*", members), result)
    _check(code, function.run.path)
    mz = _taken(result.masses, "f4", result.count)
    intensity = _taken(result.intensities, "f4", result.count)
    scans = result.scan_count
    return Spectrum(mz, intensity, result.retention_time, not result.centroids,
                    f"{function.title}, {scans} {'scan' if scans == 1 else 'scans'} combined")


def save(function: "Function", handle: int, kind: int, members: dict[str, Any]) -> int:
    """Stores a step to a function as a processed data set; the caller holds the lock."""
    saved = ffi.new("int16_t*")
    step = ffi.new("PrcStep*", {"type": kind, **members})
    _check(lib.PrcSaveStep(handle, function.number, function.process, step, saved), function.run.path)
    return saved[0]


def repeat(function: "Function", handle: int) -> int:
    """Makes a processed data set once more; the caller holds the lock."""
    saved = ffi.new("int16_t*")
    _check(lib.PrcRepeat(handle, function.process, saved), function.run.path)
    return saved[0]


def smoothed_trace(trace: Union[str, Window]) -> dict[str, Any]:
    """Returns the members of a PrcStep that say which trace is smoothed."""
    if isinstance(trace, str):
        return {"trace": _choice(_TRACES, trace, "trace")}
    low, high = bounds(trace)
    return {"trace": lib.PRC_TRACE_MASSES, "low": low, "high": high}
