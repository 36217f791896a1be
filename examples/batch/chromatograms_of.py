"""What the workflow does around the program `tervalon`: its options, and the table of what it printed."""

from __future__ import annotations

import csv
import os
from typing import Sequence

import peaks


def options(targets: Sequence[peaks.Target], function: int) -> str:
    """The masses of a function's targets, as `tervalon chrom` takes them."""
    words = []
    for target in (t for t in targets if t.function == function):
        reach = target.tolerance.lower()
        width = (float(reach[:-3]) * target.mz * 1e-6 if reach.endswith("ppm")
                 else float(reach.removesuffix("da")))
        words.append(f"--mass {target.mz - width!r}-{target.mz + width!r}")
    return " ".join(words)


def table(paths: Sequence[str], targets: Sequence[peaks.Target], out: str) -> None:
    """Writes the peaks of all chromatograms that were printed."""
    rows, failures = [], []
    for path in paths:
        run, function = os.path.basename(path)[:-4].rsplit(".", 1)
        if not os.path.getsize(path):
            with open(f"{path[:-4]}.log", encoding="utf-8") as file:
                failures.append((run, file.read().strip()))
            continue
        with open(path, newline="", encoding="utf-8") as file:
            columns = list(zip(*list(csv.reader(file))[1:])) or [(), ()]
        times = [float(text) for text in columns[1]]
        here = [target for target in targets if target.function == int(function)]
        for target, values in zip(here, columns[2:]):
            rows.append(peaks.find_peak(run, target.name, times, [float(text) for text in values]))
    for name, columns, content in (
        (f"{os.path.splitext(out)[0]}.failures.csv", ("run", "error"), sorted(failures)),
        (out, peaks.Peak._fields, sorted(rows, key=lambda peak: peak.run)),
    ):
        with open(f"{name}.new", "w", newline="", encoding="utf-8") as file:
            csv.writer(file).writerows([columns, *content])
        os.replace(f"{name}.new", name)
