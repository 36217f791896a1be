"""Chromatograms: values over retention time."""

from __future__ import annotations

from typing import Any, Iterator, Optional, Sequence

import numpy as np

from . import _optional, pictures, processing


class Chromatogram:
    """One value for each scan, or for each sample of an analog channel.

    Attributes:
        time: Retention times, minutes: float32, shape (n,).
        intensity: Counts, or an analog channel's unit: float32, shape (n,).
        name: What it shows: "TIC", "BPI", a mass window, a channel.
        source: Where it comes from.
    """

    def __init__(self, time: np.ndarray, intensity: np.ndarray, name: str, source: str) -> None:
        self.time, self.intensity = time, intensity
        self.name, self.source = name, source

    def __len__(self) -> int:
        return len(self.time)

    def __array__(self, dtype: Any = None, copy: Optional[bool] = None) -> np.ndarray:
        return np.asarray(self.intensity, dtype)

    def to_numpy(self) -> np.ndarray:
        """Returns times and values as one new array: float32, shape (n, 2)."""
        return np.column_stack((self.time, self.intensity))

    def to_pandas(self) -> Any:
        """Returns a Series over the time. Raises ImportError without pandas."""
        return _optional.pandas().Series(self.intensity, index=self.time, name=self.name)

    def smooth(self, **options: Any) -> "Chromatogram":
        """Returns it smoothed; options are those of ``tervalon.smooth``."""
        smoothed = processing.smooth(self.intensity, self.time, **options)
        return Chromatogram(self.time, smoothed, f"{self.name}, smoothed", self.source)

    def peaks(self, **options: Any) -> np.ndarray:
        """Finds and integrates its peaks; options and result are those of ``tervalon.peaks``."""
        return processing.peaks(self.time, self.intensity, **options)

    def plot(self, axes: Any = None, **options: Any) -> Any:
        """Draws it with matplotlib, into `axes` or new ones, and returns them."""
        return pictures.plot([self._series()], axes, **options)

    def _series(self) -> pictures.Series:
        return pictures.Series(self.time, self.intensity, self.name, "min")

    def _repr_svg_(self) -> Optional[str]:
        return pictures.svg([self._series()], self.source)

    def __repr__(self) -> str:
        return f"<Chromatogram {self.name} of {self.source}, {len(self)} values>"


class Chromatograms(Sequence[Chromatogram]):
    """Several chromatograms over the same scans: a sequence of Chromatogram.

    Attributes:
        time: Retention times, minutes: float32, shape (scans,).
        intensity: Counts: float32, shape (chromatograms, scans).
        names: One text for each.
        source: Where they come from.
    """

    def __init__(self, time: np.ndarray, intensity: np.ndarray, names: list[str], source: str) -> None:
        self.time, self.intensity = time, intensity
        self.names, self.source = names, source

    def __len__(self) -> int:
        return len(self.names)

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return Chromatograms(self.time, self.intensity[index], self.names[index], self.source)
        return Chromatogram(self.time, self.intensity[index], self.names[index], self.source)

    def __iter__(self) -> Iterator[Chromatogram]:
        return (self[i] for i in range(len(self)))

    def __array__(self, dtype: Any = None, copy: Optional[bool] = None) -> np.ndarray:
        return np.asarray(self.intensity, dtype)

    def to_numpy(self) -> np.ndarray:
        """Returns the values: float32, shape (chromatograms, scans)."""
        return self.intensity

    def to_pandas(self) -> Any:
        """Returns a DataFrame with a column for each, over the time."""
        frame = _optional.pandas().DataFrame(self.intensity.T, index=self.time)
        frame.columns = self.names
        return frame

    def plot(self, axes: Any = None, **options: Any) -> Any:
        """Draws all of them with matplotlib, into `axes` or new ones, and returns them."""
        return pictures.plot([one._series() for one in self], axes, **options)

    def _repr_svg_(self) -> Optional[str]:
        return pictures.svg([one._series() for one in self], self.source)

    def __repr__(self) -> str:
        return f"<{len(self)} chromatograms of {self.source}, {len(self.time)} scans>"
