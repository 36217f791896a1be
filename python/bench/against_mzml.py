#!/usr/bin/env python3
"""Measures the package on a run against pymzml (Debian's python3-pymzml) on the same data as mzML.

    against_mzml.py [SCANS [POINTS]]

`tervalon export` makes the mzML file (TERVALON_TOOL names the program). Each task runs in a process of its own,
several times in turn; the median of the processor times is printed, imports not counted, and that both found the
same.
"""

import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

TASKS = ("first spectrum", "all TICs", "one chromatogram")
LOW, HIGH = 500.0, 500.5


def with_tervalon(task, path):
    import tervalon

    begin = time.process_time()
    with tervalon.open(path) as run:
        if task == TASKS[0]:
            found = float(run[1].scan(1).intensity.sum())
        elif task == TASKS[1]:
            found = float(run[1].tic().intensity.sum(dtype="f8"))
        else:
            found = float(run[1].xic([(LOW, HIGH)]).intensity.sum(dtype="f8"))
    return time.process_time() - begin, found


def with_pymzml(task, path):
    import pymzml.run

    begin = time.process_time()
    run = pymzml.run.Reader(path)
    found = 0.0
    for spectrum in run:
        if task == TASKS[1]:
            found += spectrum.TIC
            continue
        intensities = spectrum.i
        if task == TASKS[0]:
            found = float(intensities.sum())
            break
        masses = spectrum.mz
        found += float(intensities[(masses >= LOW) & (masses <= HIGH)].sum())
    return time.process_time() - begin, found


READERS = {"tervalon": with_tervalon, "pymzml": with_pymzml}


def write(path, scans, points):
    import numpy as np

    import tervalon

    random = np.random.default_rng(7)
    mz = np.linspace(100, 1100, points, dtype=np.float32)
    with tervalon.create(path) as writer:
        function = writer.add_function("TOF_MS", "STANDARD_CENTROID", (100, 1100), "ES+")
        for i in range(scans):
            function.add(i * 0.001, mz, random.integers(0, 8000, points))


def spell_out_groups(path):
    """Debian 12's pymzml stops at references to groups of parameters with its Python: puts them in their place."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    groups = dict(re.findall(r'<referenceableParamGroup id="([^"]+)">(.*?)</referenceableParamGroup>', text,
                             re.DOTALL))
    text = re.sub(r'<referenceableParamGroupRef ref="([^"]+)" ?/>', lambda m: groups[m[1]].strip(), text)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def main(scans=5000, points=200):
    tool = os.environ.get("TERVALON_TOOL", "tervalon")
    with tempfile.TemporaryDirectory() as folder:
        run, mzml = os.path.join(folder, "BENCH.RAW"), os.path.join(folder, "bench.mzML")
        write(run, scans, points)
        subprocess.run([tool, "export", run, "-o", mzml], check=True, stdout=subprocess.DEVNULL)
        spell_out_groups(mzml)
        print(f"{scans} scans of {points} points")
        for task in TASKS:
            seconds, found = {}, {}
            for _ in range(5):
                for name, path in (("tervalon", run), ("pymzml", mzml)):
                    said = subprocess.run([sys.executable, __file__, "--one", name, task, path], check=True,
                                          capture_output=True, text=True).stdout.split()
                    seconds.setdefault(name, []).append(float(said[0]))
                    found[name] = float(said[1])
            ours, theirs = (statistics.median(seconds[name]) for name in READERS)
            same = abs(found["tervalon"] - found["pymzml"]) <= 1e-5 * abs(found["pymzml"])
            print(f"{task:18} tervalon {ours * 1e3:9.3f} ms   pymzml {theirs * 1e3:9.3f} ms   "
                  f"{theirs / ours:7.1f} x   {'same result' if same else f'NOT THE SAME: {found}'}")


if __name__ == "__main__":
    if sys.argv[1:2] == ["--one"]:
        print(*READERS[sys.argv[2]](sys.argv[3], sys.argv[4]))
    else:
        main(*map(int, sys.argv[1:]))
