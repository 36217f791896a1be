#!/usr/bin/env python3
"""Measures the package against a C program over the same library, in processor time.

    ratios.py LOOPS    LOOPS is loops.c, compiled with the library that the package loads

Prints the median of interleaved rounds, and the ratio to the C loop.
"""

import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

begin = time.process_time()
import tervalon  # noqa: E402 - this is measured

import_time = time.process_time() - begin
SCANS, POINTS = 100_000, 200
LONG_SCANS, LONG_POINTS = 20_000, 2_000


def write(path, scans, points):
    random = np.random.default_rng(7)
    mz = np.linspace(100, 1100, points, dtype=np.float32)
    counts = random.integers(0, 60000, (64, points)).astype(np.float32)
    with tervalon.create(path) as writer:
        function = writer.add_function("TOF_MS", "STANDARD_CENTROID", (100, 1100), "ES+")
        for i in range(scans):
            function.add(i * 0.001, mz, counts[i % 64])


def timed(task):
    before = time.process_time()
    task()
    return time.process_time() - before


def one_by_one(function):
    for scan in function:
        scan.mz, scan.intensity


def by_number(function):
    for number in range(1, SCANS + 1):
        scan = function.scan(number)
        scan.mz, scan.intensity


def as_blocks(function):
    for block in function.blocks():
        block.mz, block.intensity


def main(loops):
    with tempfile.TemporaryDirectory() as folder:
        short, long = os.path.join(folder, "SHORT.RAW"), os.path.join(folder, "LONG.RAW")
        write(short, SCANS, POINTS)
        write(long, LONG_SCANS, LONG_POINTS)
        of_short, of_long = tervalon.open(short)[1], tervalon.open(long)[1]
        rounds = {}
        for _ in range(7):
            c = subprocess.run([loops, short], capture_output=True, text=True, check=True).stdout
            c_long = subprocess.run([loops, long], capture_output=True, text=True, check=True).stdout
            for name, seconds in (
                ("C loop", float(c.split()[0])),
                ("one by one, for scan in function", timed(lambda: one_by_one(of_short))),
                ("one by one, function.scan(n)", timed(lambda: by_number(of_short))),
                ("blocks", timed(lambda: as_blocks(of_short))),
                ("C chromatogram", float(c_long.split()[1])),
                ("function.xic", timed(lambda: of_long.xic([(500.0, 500.5)]))),
            ):
                rounds.setdefault(name, []).append(seconds)
        medians = {name: statistics.median(seconds) for name, seconds in rounds.items()}
        for name, seconds in medians.items():
            base = medians["C chromatogram" if "chrom" in name or "xic" in name else "C loop"]
            print(f"{name:36}{seconds:8.4f} s  {seconds / base:5.2f} x")
        print(f"{'import, without numpy':36}{import_time:8.4f} s")


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]))
