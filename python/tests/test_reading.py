"""Reading runs, against values that another program computed and against the package's other ways."""

import csv
import gc
import json
import pathlib
import pickle
import random

import numpy as np
import pytest

import tervalon

from conftest import DATA


def table(path):
    with open(path, encoding="latin-1", newline="") as file:
        reader = csv.DictReader(file, delimiter="\t")
        rows = list(reader)
    return {name: [None if row[name] == "-" else float(row[name]) for row in rows]
            for name in reader.fieldnames}


def same(found, expected):
    assert len(found) == len(expected)
    for a, b in zip(found, expected):
        assert b is None or np.float32(a) == np.float32(b)


@pytest.mark.skipif(not DATA, reason="TERVALON_TEST_DATA is not set")
@pytest.mark.parametrize("name", ["LCMS", "HYBRID", "FORMATS"])
def test_expected_values(name):
    expected = pathlib.Path(DATA, f"{name}.expected")
    with tervalon.open(f"{DATA}/{name}.RAW") as run, \
            tervalon.open(f"{DATA}/{name}.RAW", calibrated=False) as stored:
        header = json.loads((expected / "header.json").read_text("utf-8"))["header"]
        for field in set(header) & set(run.header):
            found = run.header[field]
            assert (list(found) if isinstance(found, tuple) else found) == header[field], field
        compared = 0
        for path in sorted(expected.glob("function_*_scan_*.tsv")):
            number, scan_number = int(path.stem[9:11]), int(path.stem[-4:])
            points, scan = table(path), run[number].scan(scan_number)
            same(scan.mz, points["mass"])
            same(scan.intensity, points["intensity"])
            same(scan.flags, points["flags"])
            same(stored[number].scan(scan_number).mz, points["uncalibrated_mass"])
            compared += len(scan)
        assert compared > 100
        for function in run.functions:
            scans = table(expected / f"function_{function.number:02}_scans.tsv")
            index = function.scans
            same(index["time"], scans["time"])
            same(index["tic"], scans["tic"])
            same(index["points"], scans["points"])
            same(index["base_peak_intensity"], scans["base_intensity"])
            same(index["flags"] >> 3, scans["flag_d"])
            same(function.tic().intensity, scans["tic"])
            same(function.bpi().time, scans["time"])
            times = table(expected / f"function_{function.number:02}_times.tsv")
            same([function.at_time(t).number for t in times["time"]], times["scan"])
        if (expected / "analog.tsv").exists():
            samples = table(expected / "analog.tsv")
            for channel in run.analog:
                same(channel.read().intensity, samples[f"channel_{channel.number}"])
                same(channel.read().time, samples["time"])


def test_every_way_of_reading_gives_the_same():
    with tervalon.open("FIRST.RAW") as run:
        for function in run.functions:
            listed = list(function)
            assert [scan.number for scan in listed] == list(range(1, len(function) + 1))
            blocks = [np.concatenate(parts) for parts in zip(*(
                (b.mz.copy(), b.intensity.copy()) for b in function.blocks(7)))]
            every = function.points()
            numbers = list(range(1, len(function) + 1))
            random.Random(5).shuffle(numbers)
            shuffled = function.points(numbers)
            for at, number in enumerate(numbers):
                scan = function.scan(number)
                for points, place in ((every, number - 1), (shuffled, at)):
                    here = slice(*points.offsets[place : place + 2])
                    assert np.array_equal(points.mz[here], scan.mz)
                    assert np.array_equal(points.intensity[here], scan.intensity)
                assert np.array_equal(listed[number - 1].mz, scan.mz)
                assert (scan.time, scan.tic) == (function.scans["time"][number - 1],
                                                 function.scans["tic"][number - 1])
            assert np.array_equal(blocks[0], every.mz) and np.array_equal(blocks[1], every.intensity)
            low, high = 455.0, 456.0
            inside = (every.mz >= np.float32(low)) & (every.mz <= np.float32(high))
            sums = [every.intensity[a:b][inside[a:b]].sum(dtype=np.float64)
                    for a, b in zip(every.offsets[:-1], every.offsets[1:])]
            extracted = function.xic([(low, high), (455.5, "0.5Da"), (0, 3000)])
            assert extracted.intensity.shape == (3, len(function))
            np.testing.assert_allclose(extracted[0], sums, rtol=1e-6)
            np.testing.assert_array_equal(extracted[1], extracted[0])
            np.testing.assert_array_equal(extracted.time, function.scans["time"])


def test_a_function_is_a_sequence_of_scans():
    with tervalon.open("FIRST.RAW") as run:
        function, count = run[1], len(run[1])
        assert [s.number for s in function[2:9:3]] == [3, 6, 9]
        assert (function[0].number, function[-1].number) == (1, count)
        assert [s.number for s in reversed(function[-3:])] == [count, count - 1, count - 2]
        assert function.points(slice(-2, None)).scans.tolist() == [count - 1, count]
        assert function.at_time(-5).number == 1 and function.at_time(99).number == count
        assert list(run) == [f.number for f in run.functions] and run.get(99) is None
        for wrong in (count, -count - 1, 2**31 - 1, 2**70):
            with pytest.raises(IndexError):
                function[wrong]
        for wrong in (0, -1, count + 1, 2**31, -2**40):
            with pytest.raises(IndexError) as caught:
                function.scan(wrong)
            assert isinstance(caught.value, tervalon.Error) and caught.value.path == run.path
            with pytest.raises(IndexError):
                function.points([1, wrong])


def test_arrays_are_the_librarys_memory_and_outlive_the_run():
    run = tervalon.open("FIRST.RAW")
    scan = run[1].scan(141)
    before = scan.mz.copy(), scan.intensity.copy()
    assert not scan.mz.flags.owndata and not scan.mz.flags.writeable
    with pytest.raises(ValueError):
        scan.intensity[0] = 1
    kept = [run[1].scan(n) for n in range(1, 200)] + list(run[1])[::50]
    content = [s.mz.copy() for s in kept]
    views = [s.mz[1:] for s in kept]
    del kept
    gc.collect()
    for _ in range(3):  # memory that is used again is nobody's
        assert sum(len(s) for s in run[1]) == len(run[1].points().mz)
    run.close()
    assert all(np.array_equal(v, c[1:]) for v, c in zip(views, content))
    assert np.array_equal(scan.mz, before[0]) and np.array_equal(scan.intensity, before[1])


def test_other_packages():
    pandas = pytest.importorskip("pandas")
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    with tervalon.open("FIRST.RAW") as run:
        scan = run[1].scan(141)
        frame = scan.to_pandas()
        assert frame["mz"][frame["intensity"].idxmax()] == pytest.approx(455.2907, abs=1e-4)
        assert run[1].to_pandas().loc[141, "tic"] == scan.tic
        assert isinstance(run[1].points([1, 2]).to_pandas(), pandas.DataFrame)
        table = run[1].xic([(455, 456), (100, 200)]).to_pandas()
        assert table.shape == (len(run[1]), 2) and table.iloc[140, 0] > 300000
        entry = scan.to_dict()
        assert entry["m/z array"] is scan.mz and entry["scan start time"] == scan.time
        for shown in (scan, run[1], run[1].tic(), run[1].xic([(455, 456)])):
            axes = shown.plot()
            assert axes.get_xlabel() in ("min", "m/z")
            assert shown._repr_svg_().lstrip().startswith("<?xml")
        assert "<svg" in run._repr_html_() and "TOF MS" in run._repr_html_()


def test_parts_of_a_run():
    with tervalon.open("FIRST.RAW") as run:
        function = run[1]
        assert (function.type, function.ion_mode) == (tervalon.FunctionType.TOF_MS, "ES+")
        assert function.mass_range == (100, 900)
        assert all(step.function in run for step in run.history)
        for number, polynomials in run.calibration.items():
            stored = tervalon.open("FIRST.RAW", calibrated=False)[number].scan(1).mz
            if len(polynomials) == 1 and run[number].data_type != tervalon.DataType.SIR:
                np.testing.assert_allclose(polynomials[0](stored), run[number].scan(1).mz, rtol=1e-6)
        assert pickle.loads(pickle.dumps(function)).scan(3).tic == function.scan(3).tic
        for number in run.processes:
            assert len(run.process(number)) > 0
        with pytest.raises(IndexError):
            run.process(200)
    with pytest.raises(FileNotFoundError) as caught:
        tervalon.open("ABSENT.RAW")
    assert caught.value.code == 2001 and "ABSENT.RAW" in str(caught.value)
    assert pickle.loads(pickle.dumps(caught.value)).code == 2001
