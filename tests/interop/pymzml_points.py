#!/usr/bin/env python3
"""The points of an mzML file as pymzml reads them."""

import sys
import zlib

# Debian's pymzml calls what Python's XML elements have not had since 3.9. Those written in C take no
# new methods.
sys.modules["_elementtree"] = None
from xml.etree import ElementTree  # noqa: E402

ElementTree.Element.getiterator = ElementTree.Element.iter

import numpy  # noqa: E402
import pymzml  # noqa: E402


def checksum(values):
    return "%08x" % zlib.crc32(numpy.asarray(values, dtype="<f4").tobytes())


def main():
    run = pymzml.run.Reader(sys.argv[1])
    for entry in run:
        name = entry.element.get("id")
        if isinstance(entry, pymzml.spec.Chromatogram):
            times, values = entry.time, entry.i
            print("C %s n=%d %s %s" % (name, len(times), checksum(times), checksum(values)))
            continue
        masses = entry.get_array("wavelength array") if entry.ms_level is None else entry.mz
        print("S %s time=%.9g tic=%.9g n=%d %s %s" % (
            name, numpy.float32(entry.scan_time_in_minutes()), numpy.float32(entry.TIC),
            len(masses), checksum(masses), checksum(entry.i)))


main()
