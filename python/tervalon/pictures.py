"""Pictures: the library's own as SVG, and matplotlib's."""

from __future__ import annotations

import math
import os
import pathlib
from typing import Any, NamedTuple, Optional, Sequence

import numpy as np

from . import _optional
from ._library import NULL, WINDOWS, Path, ffi, floats, full_path, lib, lock, path_bytes

_WIDTH, _HEIGHT, _RESOLUTION = 720, 300, 96
_LABELS = 12


class Series(NamedTuple):
    """A line of a plot."""

    x: np.ndarray
    y: np.ndarray
    title: str
    x_title: str
    sticks: bool = False


def plot(series: Sequence[Series], axes: Any = None, **options: Any) -> Any:
    """Draws with matplotlib; options go to its lines."""
    if axes is None:
        axes = _optional.pyplot().subplots()[1]
    for one in series:
        if one.sticks:
            axes.vlines(one.x, 0, one.y, label=one.title, **options)
        else:
            axes.plot(one.x, one.y, label=one.title, **options)
    if series:
        axes.set_xlabel(series[0].x_title)
        axes.set_ylim(bottom=min(0, axes.get_ylim()[0]))
        axes.legend(loc="upper right", frameon=False)
    return axes


def svg(series: Sequence[Series], title: str = "") -> Optional[str]:
    """Returns the library's own picture; None where the platform has none (Windows)."""
    if WINDOWS or not series:
        return None
    import tempfile  # only for those who draw

    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "plot.svg")
        save_svg(path, series, title)
        return pathlib.Path(path).read_text("utf-8")


def save_svg(path: Path, series: Sequence[Series], title: str = "") -> None:
    """Writes the library's picture as an SVG file. Raises OSError when it cannot be written."""
    name = full_path(path)
    with lock:
        dc = lib.TvCreateSvgDC(path_bytes(name), _WIDTH, _HEIGHT, _RESOLUTION)
        if dc == NULL:
            raise OSError(f"{name}: cannot be written")
        axes = lib.AxsCreate(1, 0, 1, 1)
        try:
            _draw(dc, axes, series, title)
        finally:
            lib.AxsDelete(axes)
            written = lib.TvDeleteDC(dc)
    if not written:
        raise OSError(f"{name}: cannot be written")


def _draw(dc: Any, axes: int, series: Sequence[Series], title: str) -> None:
    x_low, x_high = _range([one.x for one in series])
    y_low, y_high = _range([one.y for one in series])
    if series[0].sticks:  # none on the axes themselves
        edge = max((x_high - x_low) / 50, 0.5)
        x_low, x_high = x_low - edge, x_high + edge
    lib.AxsSetRanges(axes, x_low, x_high, min(y_low, 0.0), max(y_high, 0.0))
    x_title = series[0].x_title.encode("latin-1", "replace")
    margins, area = ffi.new("TvRect*"), ffi.new("TvRect*")
    lib.AxsGetBorder(dc, margins, x_title, NULL, 0)
    line = lib.AxsGetBorder(dc, ffi.new("TvRect*"), x_title, NULL, 0) + 4
    margins.top = max(margins.top, line * (1 + len(series)) + line // 2)
    edge = 8
    area.left = area.top = edge
    area.right, area.bottom = _WIDTH - 1 - edge, _HEIGHT - 1 - edge
    lib.AxsSize(axes, area, margins)
    _headers(dc, axes, series, title, line, y_high)
    for number, one in enumerate(series):
        # The arrays stay referenced while the block does.
        x = np.ascontiguousarray(one.x, np.float32)
        y = np.ascontiguousarray(one.y, np.float32)
        labels = ffi.new("AxsPlotLabel[]", [(float(x[i]), float(y[i]), NULL) for i in _peaks(one, y)])
        block = ffi.new("AxsPlotBlock*")
        block.flags = lib.AXS_PLOT_TRACE | (lib.AXS_PLOT_ANNOTATE if number == 0 else 0)
        block.mode = lib.AXS_PLOT_STICKS if one.sticks else lib.AXS_PLOT_JOINED
        block.x, block.y, block.count = floats(x), floats(y), len(x)
        block.style = number % lib.PLT_DATA_STYLES
        block.labels, block.label_count = labels, len(labels)
        block.label_decimals = 2
        lib.AxsPlotData(dc, axes, block)
    decimals = min(max(1 - math.floor(math.log10(max(x_high - x_low, 1e-6) / 10)), 0), 4)
    lib.AxsDisplayDefaultAxes(dc, axes, x_title, decimals, NULL, 0)


def _headers(dc: Any, axes: int, series: Sequence[Series], title: str, line: int, top: float) -> None:
    lib.AxsHdrExcludeRect(0, NULL)
    colour = ffi.new("TvColour*")
    lines = [(title, 0, 0)] + [(one.title, lib.AXS_HEADER_RIGHT, i) for i, one in enumerate(series)]
    for position, (words, flags, number) in enumerate(lines):
        if flags:
            lib.AxsGetDataPenDC(dc, number, colour, NULL, 1)
            words += f", 100% = {top:.3g}" if number == 0 else ""
        encoded = words.encode("utf-8")
        lib.AxsDisplayHeaderAndExclude(dc, axes, NULL, colour[0] if flags else 0, flags, encoded,
                                       1 + line * position)


def _range(arrays: Sequence[np.ndarray]) -> tuple[float, float]:
    finite = [part for part in (a[np.isfinite(a)] for a in map(np.asarray, arrays)) if len(part)]
    if not finite:
        return 0.0, 1.0
    return min(float(part.min()) for part in finite), max(float(part.max()) for part in finite)


def _peaks(series: Series, y: np.ndarray) -> list[int]:
    """The highest local maxima, the highest first and none beside a higher one: what is worth a label."""
    if len(y) < 3:
        return list(range(len(y)))
    padded: Any = np.pad(y, 1, constant_values=-np.inf)
    found = np.flatnonzero((y > padded[:-2]) & (y >= padded[2:]) & (y > 0.01 * y.max()))
    beside = (float(series.x[-1]) - float(series.x[0])) / 24
    chosen: list[int] = []
    for i in found[np.argsort(-y[found], kind="stable")].tolist():
        if all(abs(series.x[i] - series.x[j]) > beside for j in chosen):
            chosen.append(i)
            if len(chosen) == _LABELS:
                break
    return chosen
