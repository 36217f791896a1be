"""A peak for each target of a run: what both the Dask program and the workflow compute.

The peak is simple on purpose: its apex is the highest value of the extracted chromatogram, and it reaches to both
sides as long as values fall and stay above a twentieth of the apex. Its area is the trapezoids' below it, above
zero, in counts x seconds.
"""

from __future__ import annotations

import csv
from typing import Any, NamedTuple, Sequence

EDGE = 0.05  # of the apex


class Target(NamedTuple):
    name: str
    function: int
    mz: float
    tolerance: str


class Peak(NamedTuple):
    run: str
    target: str
    time: float
    """Of the apex, minutes."""
    height: float
    """Counts; 0 where there is nothing."""
    area: float
    """Counts x seconds."""
    start: float
    end: float


def read_targets(path: str) -> list[Target]:
    with open(path, newline="", encoding="utf-8") as file:
        return [Target(row["name"], int(row["function"]), float(row["mz"]), row["tolerance"])
                for row in csv.DictReader(file)]


def find_peak(run: str, target: str, times: Sequence[float], values: Sequence[float]) -> Peak:
    if not len(values) or max(values) <= 0:
        return Peak(run, target, 0.0, 0.0, 0.0, 0.0, 0.0)
    apex = max(range(len(values)), key=values.__getitem__)
    least = EDGE * values[apex]

    def edge(step: int) -> int:
        at = apex
        while 0 <= at + step < len(values) and least <= values[at + step] <= values[at]:
            at += step
        return at

    first, last = edge(-1), edge(1)
    area = sum((values[i] + values[i + 1]) / 2 * (times[i + 1] - times[i]) * 60
               for i in range(first, last))
    return Peak(run, target, times[apex], values[apex], area, times[first], times[last])


def process_run(path: str, targets: Sequence[Target]) -> dict[str, Any]:
    """Reads a run: its peaks, and the chromatograms that they are in."""
    import os

    import tervalon

    name = os.path.basename(path)
    peaks, chromatograms = [], []
    with tervalon.open(path) as run:
        for number in sorted({target.function for target in targets}):
            here = [target for target in targets if target.function == number]
            found = run[number].xic([(target.mz, target.tolerance) for target in here])
            times = found.time.tolist()
            for target, values in zip(here, found.intensity.tolist()):
                peaks.append(find_peak(name, target.name, times, values))
                chromatograms.append((name, target.name, times, values))
    return {"run": name, "peaks": peaks, "chromatograms": chromatograms}
