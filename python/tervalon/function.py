"""Functions: the repeated experiments of a run, as sequences of scans."""

from __future__ import annotations

import operator
from typing import TYPE_CHECKING, Any, Iterable, Iterator, Optional, Sequence, Union, overload

import numpy as np

from . import _memory, errors, processing
from ._library import NULL, check, ffi, floats, lib, lock, text
from .chromatogram import Chromatogram, Chromatograms
from .codes import DataType, FunctionType, known
from .scan import INDEX_TYPE, Block, Points, Scan
from .windows import Window, bounds

if TYPE_CHECKING:
    from .run import Run


_PROFILES = {DataType.CONTINUUM, DataType.MCA, DataType.MCB}
_FLAGGED = {DataType.ENHANCED_SIR, DataType.ENHANCED_MASS}
# Read ahead: enough to make a call cheap for each scan, little enough to stay in the processor's cache.
_address = ffi.from_buffer
_MASK = lib.RAW_SCAN_POINTS_MASK
_BLOCK_SCANS = 256
_BLOCK_POINTS = 1 << 17


class Function(Sequence[Scan]):
    """A function of a run, or a processed data set made from one: a sequence of scans.

    As of any sequence ``function[0]`` is the first scan and ``function[-1]`` the last, and a slice is a
    list of scans; ``function.scan(1)`` counts as the data system does, from 1. A function that is being
    acquired grows: ``len`` counts what is there now.
    """

    def __init__(self, run: "Run", number: int, process: int = 0) -> None:
        self._run = run
        self._record = ffi.new("RawFunctionRecord*")
        found = ffi.new("int16_t*", number)
        with lock:
            handle = run._handle
            if process == 0:
                code = lib.RawReadFuncInfo(handle, number, self._record, NULL) if number else 1
            else:
                code = lib.RawReadProcFunction(handle, process, found, self._record)
        if process == 0 and code == lib.RAW_BAD_ARGUMENT:
            raise errors.AbsentError(f"there is no function {number}", run.path, code)
        if process != 0 and code == lib.RAW_BAD_ARGUMENT:
            raise errors.Error(f"nothing tells the function that processed data set {process} was made "
                               f"from: say it, as in run.process({process}, function=1)", run.path, code)
        if process != 0 and code == lib.RAW_MEMBER_NOT_OPENED:
            raise errors.AbsentError(f"there is no processed data set {process}", run.path, code)
        check(code, run.path)
        self._number, self._process = found[0], process
        self._block: Optional[Block] = None
        self._ahead = _BLOCK_SCANS if process == 0 else 1  # scans of processed sets may be replaced
        self._flagged = self.data_type in _FLAGGED

    @property
    def run(self) -> "Run":
        """The run that the function belongs to."""
        return self._run

    @property
    def number(self) -> int:
        """The function's number, 1 to 32; of a processed set that of the function it was made from."""
        return self._number

    @property
    def process(self) -> int:
        """The number of the processed data set, 1 to 255; 0 for acquired data."""
        return self._process

    @property
    def type(self) -> Any:
        """A FunctionType, or the number of one that is not known."""
        return known(FunctionType, lib.RawGetFuncType(self._record))

    @property
    def data_type(self) -> Any:
        """A DataType, or the number of one that is not known."""
        return known(DataType, lib.RawGetFuncDataType(self._record))

    @property
    def is_profile(self) -> bool:
        """Whether points sample a profile; otherwise each is a peak of its own."""
        return self.data_type in _PROFILES

    @property
    def ion_mode(self) -> str:
        """The ionisation mode: ``"ES+"``; empty where it is not known."""
        name = ffi.new("char[8]")
        lib.RawGetIonModeDesc(lib.RawGetFuncIonMode(self._record), name)
        return text(name)

    @property
    def time_range(self) -> tuple[float, float]:
        """First and last retention time, minutes; a last one of 0 is not known."""
        low, high = ffi.new("float*"), ffi.new("float*")
        lib.RawGetFuncTimeRange(self._record, low, high)
        return low[0], high[0]

    @property
    def mass_range(self) -> tuple[float, float]:
        """The range in which masses lie, m/z."""
        low, high = ffi.new("float*"), ffi.new("float*")
        lib.RawGetFuncMassRange(self._record, low, high)
        return low[0], high[0]

    @property
    def channels(self) -> list[tuple[float, float]]:
        """Mass and daughter mass (0: none) of each channel; empty for functions that scan."""
        mass, daughter = ffi.new("float*"), ffi.new("float*")
        found: list[tuple[float, float]] = []
        while lib.RawGetFuncChannel(self._record, len(found) + 1, mass, daughter):
            found.append((mass[0], daughter[0]))
        return found

    # Scans

    def __len__(self) -> int:
        count = ffi.new("int32_t*")
        with lock:
            # With function 0 a set is found again; of a function the number says it.
            code = lib.RawReadScanCount(self._run._handle, self._number, self._process, count)
        check(code, self._run.path)
        return count[0]

    def scan(self, number: int) -> Scan:
        """Returns scan `number`, from 1. Raises IndexError when there is none."""
        block = self._block
        if block is None or not block.first <= number < block.end:
            # Who asks for the scan behind the last one will ask for the next ones, too.
            follows = block is not None and number == block.end
            block = self._read_block(operator.index(number), self._ahead if follows else 1)
        elif self._run._closed:
            self._run._handle  # raises
        at = number - block.first
        begin, end = block.offsets[at : at + 2]
        scan = Scan()
        scan._block, scan._at = block, at
        scan.mz, scan.intensity = block.mz[begin:end], block.intensity[begin:end]
        return scan

    def at_time(self, minutes: float) -> Scan:
        """Returns the scan nearest to a retention time. Raises IndexError without scans."""
        found = ffi.new("int32_t*")
        with lock:
            handle = self._open()
            code = lib.RawReadTimeScan(handle, self._number, self._process, self._record,
                                       float(minutes), found)
        check(code, self._run.path)
        return self.scan(found[0])

    def __iter__(self) -> Iterator[Scan]:
        number, count = 1, len(self)
        while number <= count:
            block = self._read_block(number, min(self._ahead, count - number + 1))
            mz, intensity, end = block.mz, block.intensity, 0
            for at, next_end in enumerate(block.offsets[1:]):
                begin, end = end, next_end
                scan = Scan()  # without an __init__, which takes longer than all of this
                scan._block, scan._at = block, at
                scan.mz, scan.intensity = mz[begin:end], intensity[begin:end]
                yield scan
            number = block.end

    @overload
    def __getitem__(self, index: int) -> Scan: ...
    @overload
    def __getitem__(self, index: slice) -> list[Scan]: ...
    def __getitem__(self, index: Union[int, slice]) -> Union[Scan, list[Scan]]:
        if isinstance(index, slice):
            return [self.scan(i + 1) for i in range(*index.indices(len(self)))]
        position = operator.index(index)
        if position < 0:
            position += len(self)
        if position < 0 or position >= 0x7FFFFFFF:
            raise errors.AbsentError("there is no such scan", self._run.path)
        return self.scan(position + 1)

    @property
    def scans(self) -> np.ndarray:
        """The index: a structured array with a row for each scan, scan s in row s - 1.

        Fields: points, flags (bit 0 flag B or a calibration, 1 E, 2 A, 3 D), tic (counts), time
        (minutes), base_peak_mz (not calibrated), base_peak_intensity, low_mz, high_mz, flag_c, segment.
        """
        with lock:
            return self._read_index(1, len(self))

    def points(self, scans: Union[slice, Sequence[int], np.ndarray, None] = None) -> Points:
        """Reads many scans into one pair of arrays.

        Args:
            scans: Scan numbers in any order; a slice of them as of ``list(function)``, so that
                ``slice(0, 10)`` is scans 1 to 10; None for all.

        Raises:
            IndexError: A scan that there is not.
        """
        if scans is None:
            scans = slice(None)
        if isinstance(scans, slice):
            chosen = range(1, len(self) + 1)[scans]
            numbers = np.arange(chosen.start, chosen.stop, chosen.step, dtype=np.int32)
        else:
            wide = np.atleast_1d(np.asarray(scans))
            if wide.ndim != 1 or (wide.size and not np.issubdtype(wide.dtype, np.integer)):
                raise TypeError("scan numbers are integers in one dimension")
            if wide.size and (wide.min() < 1 or wide.max() > 0x7FFFFFFF):
                raise errors.AbsentError("there is no such scan", self._run.path, lib.RAW_SCAN_ABSENT)
            numbers = np.ascontiguousarray(wide, dtype=np.int32)
        return self._read_points(numbers)

    def blocks(self, scans: int = _BLOCK_SCANS) -> Iterator[Points]:
        """Reads the function as blocks of at most `scans` scans, the fastest way through all of it."""
        if scans < 1:
            raise ValueError("a block has at least one scan")
        end = len(self) + 1
        for first in range(1, end, scans):
            yield self._read_points(np.arange(first, min(first + scans, end), dtype=np.int32))

    # Chromatograms

    def tic(self) -> Chromatogram:
        """Returns the total ion current of every scan, from the index."""
        return self._index_chromatogram(lib.RAW_CHROM_TOTAL_ION, "TIC")

    def bpi(self) -> Chromatogram:
        """Returns the base peak intensity of every scan, from the index."""
        return self._index_chromatogram(lib.RAW_CHROM_BASE_PEAK, "BPI")

    def xic(self, windows: Sequence[Window]) -> Chromatograms:
        """Extracts chromatograms: the sum of the points inside a window, for every scan.

        Args:
            windows: One window for each chromatogram: ``(low, high)`` in m/z, both inside, or
                ``(mz, "5ppm")`` or ``(mz, "0.01Da")``, which reaches as far to both sides.

        Returns:
            One chromatogram for each window: ``intensity`` is float32, shape (windows, scans).

        Raises:
            ValueError: A window that is none.
        """
        edges = [bounds(window) for window in windows]
        if len(edges) > 0x7FFF:
            raise ValueError("at most 32767 windows at once")
        count = len(self)
        values = np.zeros((len(edges), count), np.float32)
        times = np.zeros(count, np.float32)
        native = ffi.new("RawTraceWindow[]", [{"low": low, "high": high} for low, high in edges])
        traces = ffi.new("RawTrace[]", len(edges))
        for i, trace in enumerate(traces):
            trace.window_count, trace.windows = 1, native + i
        base = floats(values)
        rows = ffi.new("float*[]", [base + i * count for i in range(len(edges))])
        with lock:
            handle = self._open()
            code = lib.RawReadChromTraces(handle, self._number, self._process, 1, count, len(edges),
                                          traces, rows, NULL)
            if code == 0:
                code = lib.RawReadChrom(handle, self._number, self._process, 1, count, NULL,
                                        floats(times), 1)
        check(code, self._run.path)
        return Chromatograms(times, values, [f"{low:g}-{high:g}" for low, high in edges], self.title)

    # Processing

    def combine(self, scans: Iterable[processing.Range] = (), *, times: Iterable[processing.Range] = (),
                background: Iterable[processing.Range] = (),
                background_times: Iterable[processing.Range] = (), factor: float = 1.0,
                method: str = "mean", tolerance: Union[str, float] = 0.05,
                points: Optional[str] = None) -> processing.Spectrum:
        """Combines scans to one spectrum, less a background.

        Args:
            scans: Up to four scan numbers, or first and last of ranges: ``[(130, 150), 160]``.
            times: The same by retention times, minutes.
            background: Up to two ranges of scans whose mean is subtracted.
            background_times: The same by retention times.
            factor: Times the background is subtracted.
            method: ``"mean"`` or ``"sum"``.
            tolerance: How near to a higher one centroids are added to it: ``0.05`` or ``"20ppm"``.
            points: ``"profile"`` or ``"centroids"``, where the data type does not say it.

        Raises:
            IndexError: Scans that there are not.
            ValueError: Arguments that make no sense.
        """
        with lock:
            handle = self._open()
            members = processing.combining(self, handle, scans, times, background, background_times,
                                           factor, method, tolerance, points)
            return processing.combine(self, handle, members)

    def smooth(self, scan: int, **options: Any) -> processing.Spectrum:
        """Returns a scan smoothed; options are those of ``tervalon.smooth``."""
        return self.scan(scan).smooth(**options)

    def centroid(self, scan: int, **options: Any) -> processing.Spectrum:
        """Returns the peaks of a profile scan; options are those of ``tervalon.centroid``."""
        return self.scan(scan).centroid(**options)

    def peaks(self, window: Optional[Window] = None, **options: Any) -> np.ndarray:
        """Finds and integrates the peaks of a chromatogram.

        Args:
            window: Of ``xic``; None for the total ion current.
            options: Those of ``tervalon.peaks``, whose result this is.
        """
        chromatogram = self.tic() if window is None else self.xic([window])[0]
        return chromatogram.peaks(**options)

    def save_combined(self, scans: Iterable[processing.Range] = (), *,
                      times: Iterable[processing.Range] = (),
                      background: Iterable[processing.Range] = (),
                      background_times: Iterable[processing.Range] = (), factor: float = 1.0,
                      method: str = "mean", tolerance: Union[str, float] = 0.05,
                      points: Optional[str] = None) -> "Function":
        """Stores what ``combine`` returns as a processed data set with its history, and returns that."""
        with lock:
            handle = self._open()
            members = processing.combining(self, handle, scans, times, background, background_times,
                                           factor, method, tolerance, points)
            return self._saved(lib.RAW_STEP_COMBINE, {"combining": members})

    def save_smoothed(self, scan: int = 0, *, trace: Union[str, Window, None] = None, grid: float = 0,
                      method: str = "savitzky-golay", window: int = 7, degree: int = 2,
                      passes: int = 1) -> "Function":
        """Stores a scan or trace smoothed as a processed data set with its history, and returns that.

        Args:
            scan: Its number, or 0 for a trace.
            trace: ``"TIC"``, ``"BPI"`` or a window of ``xic``.
            grid: The distance, m/z or minutes, of the points that it is brought onto first; 0: as it is.
            method, window, degree, passes: Those of ``tervalon.smooth``.
        """
        members = {"smoothing": processing.smoothing(method, window, degree, passes), "scan": scan,
                   "grid": grid, **({} if trace is None else processing.smoothed_trace(trace))}
        return self._saved(lib.RAW_STEP_SMOOTH, members)

    def save_centroids(self, scan: int, *, threshold: processing.Threshold = "3x", rise: float = 0.1,
                       top: float = 0.8, resolution: float = 0, area: bool = False) -> "Function":
        """Stores the peaks of a scan as a processed data set with its history, and returns that.

        Options are those of ``tervalon.centroid``.
        """
        how = processing.centroiding(threshold, rise, top, resolution, area)
        return self._saved(lib.RAW_STEP_CENTER, {"centroiding": how, "scan": scan})

    def repeat(self) -> "Function":
        """Makes a processed data set once more, as the history says how, and returns the new one."""
        with lock:
            return Function(self._run, self._number, processing.repeat(self, self._run._handle))

    def _saved(self, kind: int, members: dict[str, Any]) -> "Function":
        with lock:
            return Function(self._run, self._number, processing.save(self, self._open(), kind, members))

    def to_pandas(self) -> Any:
        """Returns the index as a DataFrame with the scan numbers as its index."""
        from . import _optional

        index = self.scans
        frame: Any = _optional.pandas().DataFrame({name: index[name] for name in INDEX_TYPE.names or ()})
        frame.index += 1
        return frame.rename_axis("scan")

    def plot(self, axes: Any = None, **options: Any) -> Any:
        """Draws the total ion current with matplotlib, into `axes` or new ones, and returns them."""
        return self.tic().plot(axes, **options)

    def _repr_svg_(self) -> Optional[str]:
        return self.tic()._repr_svg_()

    @property
    def title(self) -> str:
        """The function in words: ``"Function 1: TOF MS ES+"``."""
        kind = self.type.name if isinstance(self.type, FunctionType) else f"type {self.type}"
        words = kind.replace("_", " ")
        made = f"Process {self._process} of function" if self._process else "Function"
        return f"{made} {self._number}: {words} {self.ion_mode}".rstrip()

    def __repr__(self) -> str:
        return f"<{self.title}>"

    def __eq__(self, other: object) -> bool:
        return (isinstance(other, Function) and self._run is other._run
                and (self._number, self._process) == (other._number, other._process))

    def __hash__(self) -> int:
        return hash((id(self._run), self._number, self._process))

    def __reduce__(self) -> tuple:
        return _function_of, (self._run, self._number, self._process)

    # How it is read; the callers of these hold the lock or do not care.

    def _open(self) -> int:
        return self._run._open_function(self._number, self._process, self._record)

    def _index_chromatogram(self, kind: int, name: str) -> Chromatogram:
        count = len(self)
        values, times = np.empty(count, np.float32), np.empty(count, np.float32)
        with lock:
            code = lib.RawReadChrom(self._open(), self._number, self._process, 1, count,
                                    floats(values), floats(times), kind)
        check(code, self._run.path)
        return Chromatogram(times, values, name, self.title)

    def _read_index(self, first: int, count: int) -> np.ndarray:
        index = np.empty(count, INDEX_TYPE)
        address = _address("RawScanHeader[]", index)
        check(lib.RawReadScanHeaders(self._open(), self._number, self._process, first, count, address),
              self._run.path)
        words = index["points"]
        if words.max(initial=0) > _MASK:
            index["flags"] |= words >> 31 << 3
            words &= _MASK
        return index

    def _read_points(self, numbers: np.ndarray, claimed: int = -1) -> Points:
        """`claimed` is how many points the index says that they have, -1 when the caller does not know."""
        offsets = np.empty(len(numbers) + 1, np.int64)
        scans = _address("int32_t[]", numbers)
        ends = _address("int64_t[]", offsets)
        code = lib.RAW_OK
        with lock:
            here = (self._open(), self._number, self._process, len(numbers), scans)
            if claimed < 0:
                code = lib.RawReadSpectra(*here, 0, ends, NULL, NULL, NULL)
                claimed = int(offsets[-1])
            mz, intensity = _memory.pair(claimed)
            flags = np.empty(claimed, np.uint8) if self._flagged else None
            if code == lib.RAW_OK and claimed:
                code = lib.RawReadSpectra(*here, claimed, ends, floats(mz), floats(intensity),
                                          NULL if flags is None else _address("uint8_t[]", flags))
                if code == lib.RAW_BAD_ARGUMENT:  # another program has replaced a scan meanwhile
                    return self._read_points(numbers)
            elif claimed == 0:
                offsets[:] = 0
        if code != lib.RAW_OK:
            check(code, self._run.path)
        read = int(offsets[-1])
        if read < claimed:  # the data are cut off
            mz, intensity = mz[:read], intensity[:read]
            flags = flags if flags is None else flags[:read]
        return Points(numbers, offsets, mz, intensity, flags)

    def _read_block(self, first: int, wanted: int) -> Block:
        if not 1 <= first <= 0x7FFFFFFF:
            raise errors.AbsentError(f"there is no scan {first}", self._run.path, lib.RAW_SCAN_ABSENT)
        with lock:
            try:
                index = self._read_index(first, wanted)
            except errors.AbsentError:
                wanted = min(wanted, len(self) - first + 1)
                if wanted < 1:
                    raise errors.AbsentError(f"there is no scan {first}", self._run.path,
                                             lib.RAW_SCAN_ABSENT) from None
                index = self._read_index(first, wanted)
            claimed = int(index["points"].sum(dtype=np.int64))
            if claimed > _BLOCK_POINTS and wanted > 1:
                ends = np.cumsum(index["points"], dtype=np.int64)
                index = index[: max(1, int(np.searchsorted(ends, _BLOCK_POINTS, "right")))]
                claimed = int(ends[len(index) - 1])
            numbers = np.arange(first, first + len(index), dtype=np.int32)
            block = Block(self, first, index, self._read_points(numbers, claimed))
        self._block = block
        return block


def _function_of(run: "Run", number: int, process: int) -> Function:
    return run.process(process, number) if process else run.function(number)
