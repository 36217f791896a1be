"""Scans: the points of one, or of many in one pair of arrays."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterator, NamedTuple, Optional

import numpy as np

from . import _optional, pictures, processing

if TYPE_CHECKING:
    from .function import Function

#: The index of a function, a row for each scan: the layout in which the library fills it.
INDEX_TYPE = np.dtype([
    ("points", "u4"), ("flags", "u4"), ("tic", "f4"), ("time", "f4"), ("base_peak_mz", "f4"),
    ("base_peak_intensity", "f4"), ("low_mz", "f4"), ("high_mz", "f4"), ("flag_c", "u4"),
    ("segment", "u4"),
])  # fmt: skip


class Points(NamedTuple):
    """The points of several scans, one scan's behind the other's.

    Those of ``scans[i]`` are elements ``offsets[i]`` to ``offsets[i + 1] - 1`` of the arrays.
    """

    scans: np.ndarray
    """Scan numbers, int32, shape (n,)."""
    offsets: np.ndarray
    """int64, shape (n + 1,)."""
    mz: np.ndarray
    """m/z of the points, float32."""
    intensity: np.ndarray
    """Counts, float32."""
    flags: Optional[np.ndarray]
    """The flag nibbles of the points, uint8; None when the data type stores none."""

    def to_pandas(self) -> Any:
        """Returns a DataFrame with a row for each point: scan, mz, intensity."""
        scans = np.repeat(self.scans, np.diff(self.offsets))
        columns = {"scan": scans, "mz": self.mz, "intensity": self.intensity}
        return _optional.pandas().DataFrame(columns)


class Block:
    """Scans that were read together. Scans refer to it, and keep it as long as they live."""

    __slots__ = ("function", "first", "end", "index", "offsets", "mz", "intensity", "flags")

    def __init__(self, function: "Function", first: int, index: np.ndarray, points: Points) -> None:
        self.function = function
        self.first = first
        self.end = first + len(index)
        self.index = index
        self.offsets = points.offsets.tolist()
        self.mz, self.intensity, self.flags = points.mz, points.intensity, points.flags
        for array in (self.mz, self.intensity, self.flags):
            if array is not None:
                array.setflags(write=False)  # the next reader of the scan gets the same memory


class Scan:
    """One scan of a function.

    Its arrays are views of what was read, without a copy, and read-only: copy what is to be changed.
    They stay valid when the run is closed.

    Attributes:
        mz: The m/z of the points, calibrated as the run was opened: float32, shape (points,).
        intensity: The counts of the points: float32, shape (points,).
    """

    __slots__ = ("_block", "_at", "mz", "intensity")

    _block: Block
    _at: int
    mz: np.ndarray
    intensity: np.ndarray

    @property
    def number(self) -> int:
        """The scan's number in its function, from 1."""
        return self._block.first + self._at

    @property
    def function(self) -> "Function":
        """The function that the scan belongs to."""
        return self._block.function

    @property
    def flags(self) -> np.ndarray:
        """The flag nibbles of the points: uint8, shape (points,); 0 in types that store none."""
        if self._block.flags is None:
            return np.zeros(len(self.mz), np.uint8)
        begin, end = self._block.offsets[self._at : self._at + 2]
        return self._block.flags[begin:end]

    @property
    def index(self) -> np.void:
        """The scan's row of ``function.scans``: INDEX_TYPE."""
        return self._block.index[self._at]

    @property
    def time(self) -> float:
        """Retention time, minutes."""
        return float(self._block.index["time"][self._at])

    @property
    def tic(self) -> float:
        """Total ion current, counts, as the index has it."""
        return float(self._block.index["tic"][self._at])

    @property
    def base_peak(self) -> tuple[float, float]:
        """m/z and counts of the highest point, as the index has it: its m/z is not calibrated."""
        row = self.index
        return float(row["base_peak_mz"]), float(row["base_peak_intensity"])

    @property
    def is_profile(self) -> bool:
        """Whether the points sample a profile; otherwise each is a peak of its own."""
        return self.function.is_profile

    def __len__(self) -> int:
        return len(self.mz)

    def __iter__(self) -> Iterator[tuple[float, float]]:
        return zip(self.mz.tolist(), self.intensity.tolist())

    def to_numpy(self) -> np.ndarray:
        """Returns m/z and counts as one new array: float32, shape (points, 2)."""
        return np.column_stack((self.mz, self.intensity))

    def to_pandas(self) -> Any:
        """Returns a DataFrame with the columns mz and intensity. Raises ImportError without pandas."""
        return _optional.pandas().DataFrame({"mz": self.mz, "intensity": self.intensity})

    def to_dict(self) -> dict[str, Any]:
        """Returns the scan under the names that readers of mzML use; the time is in minutes."""
        mz, intensity = self.base_peak
        return {
            "index": self.number - 1,
            "id": f"function={self.function.number} process={self.function.process} "
            f"scan={self.number}",
            "scan start time": self.time,
            "total ion current": self.tic,
            "base peak m/z": mz,
            "base peak intensity": intensity,
            "m/z array": self.mz,
            "intensity array": self.intensity,
        }

    def smooth(self, **options: Any) -> processing.Spectrum:
        """Returns it smoothed; options are those of ``tervalon.smooth``."""
        return self._spectrum().smooth(**options)

    def centroid(self, **options: Any) -> processing.Spectrum:
        """Returns the peaks of a profile; options are those of ``tervalon.centroid``."""
        return self._spectrum().centroid(**options)

    def _spectrum(self) -> processing.Spectrum:
        title = f"{self.function.title}, scan {self.number}"
        return processing.Spectrum(self.mz, self.intensity, self.time, self.is_profile, title)

    def plot(self, axes: Any = None, **options: Any) -> Any:
        """Draws the scan with matplotlib, into `axes` or new ones, and returns them."""
        return pictures.plot(self._series(), axes, **options)

    def _series(self) -> list[pictures.Series]:
        title = f"scan {self.number}, {self.time:.4f} min"
        return [pictures.Series(self.mz, self.intensity, title, "m/z", sticks=not self.is_profile)]

    def _repr_svg_(self) -> Optional[str]:
        return pictures.svg(self._series(), self.function.title)

    def __repr__(self) -> str:
        return f"<Scan {self.number} at {self.time:.4f} min, {len(self)} points>"
