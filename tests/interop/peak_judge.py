#!/usr/bin/env python3
"""Compares centroids with those of another peak picker over the same profiles.

    peak_judge.py TERVALON DIRECTORY FUNCTION PICKED.mzML MISSING

Of all peaks above ten times the noise (the median of what is above 0) that either has, at most MISSING
may be missing in the other. Masses of a pair differ by at most a tenth of the peak's width at half height;
where the peak itself is lopsided (its top is farther than that from the middle of what is above half or four
fifths of its height, or there are several tops in it), top and centre are different places, and half a width is allowed. All that is not
the same is listed.
"""

import json
import subprocess
import sys

# Debian's pymzml calls what Python's XML elements have not had since 3.9. Those written in C take no
# new methods.
sys.modules["_elementtree"] = None
from xml.etree import ElementTree  # noqa: E402

ElementTree.Element.getiterator = ElementTree.Element.iter

import numpy  # noqa: E402
import pymzml  # noqa: E402

LEVELS = 10  # of the noise
PART = 0.1  # of a peak's width
TOP = "0.2"  # the other's masses are those of tops


def ask(program, *words):
    return json.loads(subprocess.run([program, *words, "--json"], capture_output=True, check=True).stdout)


class Profile:
    def __init__(self, points):
        self.mz = numpy.array(points["mass"], float)
        self.heights = numpy.array(points["intensity"], float)
        self.level = LEVELS * numpy.median(self.heights[self.heights > 0])

    def crossing(self, inner, outer, level):
        """Where the line between two points comes down to a level."""
        if not 0 <= outer < len(self.mz):
            return self.mz[inner]
        part = (self.heights[inner] - level) / (self.heights[inner] - self.heights[outer])
        return self.mz[inner] + part * (self.mz[outer] - self.mz[inner])

    def measure(self, mass):
        """Width of the peak at a mass, and whether it is lopsided."""
        top = int(numpy.argmin(abs(self.mz - mass)))
        for step in (-1, 1):
            while 0 <= top + step < len(self.mz) and self.heights[top + step] > self.heights[top]:
                top += step
        low, high, tops = self.chord(top, 0.5)
        low_at_top, high_at_top, _ = self.chord(top, 0.8)
        reach = PART * (high - low)
        lopsided = abs((low + high) / 2 - mass) > reach or abs((low_at_top + high_at_top) / 2 - mass) > reach
        return high - low, lopsided or tops > 1

    def chord(self, top, share):
        """From where to where a peak is above a share of its height, and how many tops are there."""
        level, first, last = self.heights[top] * share, top, top
        while first > 0 and self.heights[first - 1] > level:
            first -= 1
        while last + 1 < len(self.mz) and self.heights[last + 1] > level:
            last += 1
        inside = self.heights[first : last + 1]
        tops = sum(inside[1:-1] >= numpy.maximum(inside[:-2], inside[2:])) if len(inside) > 2 else 1
        return self.crossing(first, first - 1, level), self.crossing(last, last + 1, level), tops


def main():
    program, directory, function, picked, missing = sys.argv[1:]
    spectra = [numpy.array([s.mz, s.i]) for s in pymzml.run.Reader(picked)
               if not isinstance(s, pymzml.spec.Chromatogram)]
    both, alone, lopsided, wrong = 0, [], [], []
    for scan, theirs in enumerate(spectra, 1):
        where = [directory, "-f", function, "-s", str(scan)]
        profile = Profile(ask(program, "spectrum", *where)["points"])
        points = ask(program, "centroid", *where, "--top", TOP)["points"]
        ours = numpy.array([points["mass"], points["intensity"]], float)
        for kind, (masses, heights), others in (("theirs", theirs, ours[0]), ("ours", ours, theirs[0])):
            for mass, height in zip(masses, heights):
                if height < profile.level:
                    continue
                width, is_lopsided = profile.measure(mass)
                parts = min(abs(others - mass), default=numpy.inf) / width
                said = f"scan {scan}: {mass:.4f}, height {height:.0f}, width {width:.4f}"
                if parts > 0.5:
                    alone.append(f"only {kind}: {said}")
                elif kind == "theirs":
                    both += 1
                    if parts > PART:
                        (lopsided if is_lopsided else wrong).append(f"{said}: {parts:.2f} widths off")
    print(f"{both} peaks of both, {len(alone)} of one, masses of {len(lopsided)} lopsided peaks differ")
    print(*alone, *(f"lopsided: {one}" for one in lopsided), *(f"WRONG: {one}" for one in wrong), sep="\n")
    sys.exit(bool(wrong) or both == 0 or len(alone) > int(missing))


main()
