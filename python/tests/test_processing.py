"""Processing, against numpy's arithmetic and against the program's commands over the same runs."""

import json
import subprocess

import numpy as np
import pytest

import tervalon

from conftest import TOOL


def command(*words):
    return json.loads(subprocess.run([TOOL, *words, "--json"], capture_output=True, text=True,
                                     check=True).stdout)


def test_as_the_commands():
    with tervalon.open("FIRST.RAW") as run:
        profile = run[2]
        combined = profile.combine([(130, 150), 160], background_times=[(4.0, 4.3)], factor=1.5)
        said = command("combine", "FIRST.RAW", "-f", "2", "-s", "130-150,160", "--background-time",
                       "4.0-4.3", "--factor", "1.5")
        assert combined.is_profile and combined.time == pytest.approx(said["time"])
        for name, array in (("mass", combined.mz), ("intensity", combined.intensity)):
            assert np.array_equal(array, np.float32(said["points"][name]))
        centroids = profile.centroid(141, threshold="1%", area=True)
        said = command("centroid", "FIRST.RAW", "-f", "2", "-s", "141", "--threshold", "1%", "--area")
        assert np.array_equal(centroids.mz, np.float32(said["points"]["mass"]))
        assert np.array_equal(profile.scan(141).centroid(threshold="1%", area=True).mz, centroids.mz)
        assert centroids.to_numpy().shape == (said["point_count"], 2) and "centroids" in repr(centroids)
        smoothed = profile.smooth(141, window=11, passes=2)
        said = command("smooth", "FIRST.RAW", "-f", "2", "-s", "141", "--window", "11", "--passes", "2")
        assert np.array_equal(smoothed.intensity, np.float32(said["points"]["intensity"]))
        found = run[1].peaks(baseline="tangent", calibration=[(1, 100), (7, 700)])
        said = command("peaks", "FIRST.RAW", "--baseline", "tangent")["peaks"]
        assert len(found) == len(said) == 7
        assert found["area"].tolist() == [peak["area"] for peak in said]
        assert (found["apex"] + 1).tolist() == [peak["scan"] for peak in said]
        assert found["retention_index"] == pytest.approx(100 * found["time"], abs=1)
        only = run[1].peaks((455.29, "0.5Da"), threshold="2%")
        assert len(only) == 1 and only["time"][0] == pytest.approx(4.678, abs=0.01)


def test_as_arithmetic():
    with tervalon.open("FIRST.RAW") as run:
        scans = run[2]
        total = scans.combine([(7, 9)], method="sum")
        assert np.array_equal(total.intensity, sum(scans.scan(n).intensity.astype("f8")
                                                   for n in (7, 8, 9)).astype("f4"))
        assert run[1].combine([(130, 150)], tolerance="20ppm").is_profile is False
        tic = run[1].tic()
        ends = np.r_[tic.intensity[0], np.convolve(tic.intensity, np.ones(3) / 3, "valid"),
                     tic.intensity[-1]]
        assert tic.smooth(method="mean", window=3).intensity == pytest.approx(ends, rel=1e-6)
        points = scans.scan(141)
        whole = points.centroid(threshold=0, rise=0, top=1, area=True)
        assert whole.intensity.sum() == pytest.approx(points.intensity.clip(0).sum(), rel=1e-5)
    assert tervalon.PEAK_TYPE.itemsize == 72 == tervalon._ffi.sizeof("PrcPeak")


def test_saved_sets_and_their_history():
    with tervalon.open("FIRST.RAW") as run:
        made = run[2].combine([(130, 150)], background=[(120, 125)])
        saved = run[2].save_combined([(130, 150)], background=[(120, 125)])
        assert saved.process in run.processes and len(saved) == 1
        assert saved.scan(1).intensity == pytest.approx(made.intensity, rel=1e-5, abs=1e-2)
        peaks = saved.save_centroids(1, threshold="1%")
        smoothed = run[1].save_smoothed(trace="TIC", window=9)
        tic = run[1].tic().smooth(window=9)
        assert np.array_equal(smoothed.tic().intensity, tic.intensity)
        steps = {step.name: step for step in run.history}
        assert "Combine (130:150-" in steps[f"_PROC{saved.process:03}"].description
        assert steps[f"_PROC{peaks.process:03}"].type == tervalon.StepType.CENTER
        again = peaks.repeat()
        assert again.process != peaks.process
        assert np.array_equal(again.scan(1).mz, peaks.scan(1).mz)
        before = len(run.processes)
        for wrong in (lambda: run[2].save_combined([(1, 999)]), lambda: run[2].save_centroids(999),
                      lambda: run[1].save_smoothed(trace="AN1"), lambda: run[1].repeat()):
            with pytest.raises((ValueError, tervalon.Error)):
                wrong()
        assert len(run.processes) == before


@pytest.mark.parametrize("call", [
    lambda run: tervalon.smooth([1, 2, 3], window=4),
    lambda run: tervalon.smooth([1, 2, 3], window=5),
    lambda run: tervalon.smooth([1, 2, 3], [1, 2], window=3),
    lambda run: tervalon.smooth([1, 2, 3, 4], [1, 2, 3, 9], window=3, degree=1),
    lambda run: tervalon.smooth([1, np.nan, 3], window=3, method="mean"),
    lambda run: tervalon.smooth([1, 2, 3], window=3, method="median"),
    lambda run: tervalon.centroid([], []),
    lambda run: tervalon.centroid([1, 2], [3, 4], top=0),
    lambda run: tervalon.centroid([1, 2], [3, 4], threshold="loud"),
    lambda run: tervalon.peaks([1, 2], [3, 4]),
    lambda run: tervalon.peaks([3, 2, 1], [3, 4, 3], smooth=None),
    lambda run: tervalon.peaks([1, 2, 3], [3, 4, 3], calibration=[(1, 2)]),
    lambda run: run[2].combine(),
    lambda run: run[2].combine([0]),
    lambda run: run[2].combine([1, 2, 3, 4, 5]),
    lambda run: run[2].combine([1], tolerance="near"),
    lambda run: run[2].combine([(1, 999)]),
    lambda run: run[2].combine(times=[(30, 40)]),
])
def test_what_makes_no_sense(call):
    with tervalon.open("FIRST.RAW") as run, pytest.raises((ValueError, IndexError)):
        call(run)
