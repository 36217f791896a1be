"""The examples: a folder of runs on several processes, and the notebooks."""

import csv
import os
import pathlib
import runpy
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile

import pytest

from conftest import SOURCE, TOOL

BATCH = SOURCE / "examples/batch"
sys.path.insert(0, str(BATCH))


@pytest.fixture
def runs():
    os.mkdir("RUNS")
    for i in range(30):
        shutil.copytree("FIRST.RAW", f"RUNS/R{i:02}.RAW")
    os.mkdir("RUNS/BROKEN.RAW")
    return sorted(str(path.resolve()) for path in pathlib.Path("RUNS").iterdir())


def rows_of(path):
    with open(path, newline="", encoding="utf-8") as file:
        return list(csv.reader(file))


def test_a_killed_worker_and_a_broken_run_cost_nothing(runs):
    distributed = pytest.importorskip("distributed")
    import dask_batch
    import peaks

    targets = peaks.read_targets(str(BATCH / "targets.csv"))
    with tempfile.TemporaryFile() as log, dask_batch.cluster(2, log) as file, \
            distributed.Client(scheduler_file=file, timeout=60) as client:
        client.wait_for_workers(2, timeout=60)
        victim = sorted(client.run(os.getpid).values())[0]

        def kill(finished):
            if finished == 5:
                os.kill(victim, signal.SIGKILL)

        done, failures = dask_batch.process(client, runs, targets, 2, kill)
        assert len(client.scheduler_info()["workers"]) == 1
    assert sorted(result["run"] for result in done) == [os.path.basename(r) for r in runs[1:]]
    assert [run for run, _ in failures] == ["BROKEN.RAW"] and "BROKEN.RAW" in failures[0][1]
    expected = peaks.process_run(runs[1], targets)
    assert all([peak[1:] for peak in result["peaks"]] == [peak[1:] for peak in expected["peaks"]]
               for result in done)
    assert expected["peaks"][0].time == pytest.approx(4.6667, abs=1e-4)
    assert expected["peaks"][0].height == 319552
    for out in ("all.csv", "all.sqlite"):
        dask_batch.write(out, done, failures)
    database = sqlite3.connect("all.sqlite")
    assert database.execute("SELECT count(*) FROM peaks").fetchone() == (90,)
    assert database.execute("SELECT run FROM failures").fetchall() == [("BROKEN.RAW",)]
    points = len(rows_of("all.chromatograms.csv")) - 1
    assert database.execute("SELECT count(*) FROM chromatograms").fetchone() == (points,)
    assert len(rows_of("all.csv")) == 91 and rows_of("all.failures.csv")[1][0] == "BROKEN.RAW"
    assert not [name for name in os.listdir(".") if name.endswith(".new")]


def test_the_workflow_gives_the_same_table(runs):
    snakemake = shutil.which("snakemake") or pytest.skip("no snakemake")
    import peaks

    for run in runs[3:]:
        shutil.rmtree(run)
    subprocess.run([snakemake, "-q", "-s", BATCH / "Snakefile", "-j", "2", "--config", "folder=RUNS",
                    f"targets={BATCH / 'targets.csv'}", "out=peaks.csv", f"tervalon={TOOL}"],
                   check=True, capture_output=True, timeout=120)
    targets = peaks.read_targets(str(BATCH / "targets.csv"))
    expected = [peak for run in runs[1:3] for peak in peaks.process_run(run, targets)["peaks"]]
    found = rows_of("peaks.csv")[1:]
    assert [row[:2] for row in found] == [list(peak[:2]) for peak in expected]
    for row, peak in zip(found, expected):
        assert [float(text) for text in row[2:]] == pytest.approx(peak[2:], rel=1e-5)
    assert [row[0] for row in rows_of("peaks.failures.csv")[1:]] == ["BROKEN.RAW"]


@pytest.mark.parametrize("path", sorted((SOURCE / "examples/notebooks").glob("*.py")), ids=lambda p: p.stem)
def test_notebooks_run(path):
    """Each makes the pictures that it names, in the working directory."""
    pytest.importorskip("matplotlib").use("Agg")
    runpy.run_path(str(path), run_name="__main__")
    made = [name for name in os.listdir(".") if name.endswith((".png", ".svg"))]
    assert made and all(os.path.getsize(name) > 2000 for name in made)
