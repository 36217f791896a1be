"""Runs of a mass-spectrometry data system, read and written.

>>> import tervalon
>>> with tervalon.open("FIRST.RAW") as run:
...     function = run[1]
...     print(len(function), function.type.name, function.ion_mode)
...     print(function.tic().intensity.max())
...     print(function.xic([(455.29, "50ppm"), (100, 900)]).intensity.shape)
240 TOF_MS ES+
447034.0
(2, 240)

Scans, functions and processes count from 1 where they are numbers, as everywhere in the data system, and
from 0 where a sequence is indexed. Times are minutes, masses m/z, intensities counts. Any number of threads
may use the package, one of them at a time is in the library; processes run side by side.
"""

from ._library import ffi as _ffi
from ._library import lib as _lib
from .chromatogram import Chromatogram, Chromatograms
from .codes import DatabaseType, DataType, FunctionType, StepType
from .database import Database
from .errors import AbsentError, ClosedError, Error, LibraryMemoryError, NotFoundError
from .function import Function
from .numbers import Grid, Trace, linearise, noise, retention_index, trace
from .parts import Channel, Polynomial, Step
from .pictures import save_svg
from .processing import PEAK_TYPE, Spectrum, centroid, peaks, smooth
from .run import Run, open  # noqa: A004
from .scan import INDEX_TYPE, Points, Scan
from .settings import settings
from .writing import FunctionWriter, Writer, create

__version__ = _ffi.string(_lib.TvVersion(_ffi.NULL)).decode()

__all__ = [
    "AbsentError", "Channel", "Chromatogram", "Chromatograms", "ClosedError", "DataType", "Database",
    "DatabaseType", "Error", "Function", "FunctionType", "FunctionWriter", "Grid", "INDEX_TYPE",
    "LibraryMemoryError", "NotFoundError", "PEAK_TYPE", "Points", "Polynomial", "Run", "Scan", "Spectrum", "Step", "StepType",
    "Trace", "Writer", "centroid", "create", "linearise", "noise", "open", "peaks", "retention_index", "save_svg",
    "settings", "smooth", "trace",
]  # fmt: skip
