"""Writing runs, databases and settings."""

import os

import numpy as np
import pytest

import tervalon

from conftest import run_python


def write_small(path, **options):
    with tervalon.create(path, **options) as writer:
        survey = writer.add_function("TOF_MS", "STANDARD_CENTROID", (100, 900), "ES+")
        ions = writer.add_function(tervalon.FunctionType.MRM, 2, channels=[(300.5, 120.25), (400, 90)])
        flagged = writer.add_function("TOF_MS", "ENHANCED_MASS", (100, 900))
        for i in range(130):
            survey.add(i * 0.1, [200.5, 300.25], [10, i], segment=1)
            ions.add(i * 0.1 + 0.05, None, [1, 2])
        flagged.add(1, [128.5, 256.0], [4, 8], [3, 5])
        writer.analog([("UV", "mAU"), ("Pressure", "bar")], [0, 1, 2], [[1, 180], [2, 190], [4, 200]])
        made = writer.add_history(1, "_PROC001", tervalon.StepType.SMOOTH, created=10**9)
        writer.add_history(1, "again", tervalon.StepType.CENTER, parent=made)


def test_what_is_written_is_read():
    write_small("NEW.RAW", header={"sample_id": "S-7", "solvent_delay": 1.5, "user_name": "J\xf6rg"})
    assert sorted(os.listdir(".")) == ["FIRST.RAW", "NEW.RAW"]
    with tervalon.open("NEW.RAW") as run:
        assert (run.header["sample_id"], run.header["solvent_delay"]) == ("S-7", 1.5)
        assert run.header["user_name"] == "J\xf6rg" and run.header["acquired"].year > 2000
        survey, ions, flagged = run.functions
        assert (len(survey), len(ions), len(flagged)) == (130, 130, 1)
        assert survey.time_range == pytest.approx((0, 12.9)) and survey.mass_range == (100, 900)
        assert survey[-1].mz.tolist() == [200.5, 300.25] and survey[-1].intensity.tolist() == [10, 129]
        assert ions.channels == [(300.5, 120.25), (400, 90)] and ions[7].mz.tolist() == [300.5, 400]
        assert flagged[0].flags.tolist() == [3, 5]
        assert [(c.name, c.unit) for c in run.analog] == [("UV", "mAU"), ("Pressure", "bar")]
        assert run.analog[1].read().intensity.tolist() == [180, 190, 200]
        assert [(s.name, s.depth, s.type.name) for s in run.history] == [
            ("_PROC001", 0, "SMOOTH"), ("again", 1, "CENTER")]
        assert run.history[0].created.timestamp() == 10**9


def test_a_failure_leaves_nothing():
    write_small("OLD.RAW")
    before = sorted(os.listdir("OLD.RAW"))
    with pytest.raises(FileExistsError):
        tervalon.create("OLD.RAW")
    for error in (RuntimeError, KeyboardInterrupt):
        with pytest.raises(error):
            with tervalon.create("OLD.RAW", overwrite=True) as writer:
                writer.add_function().add(1, [500], [1])
                raise error
    abandoned = tervalon.create("GONE.RAW")
    abandoned.add_function()
    del abandoned
    run_python("import tervalon; w = tervalon.create('EXIT.RAW'); w.add_function().add(1, [5], [1])")
    assert sorted(os.listdir(".")) == ["FIRST.RAW", "OLD.RAW"]
    assert sorted(os.listdir("OLD.RAW")) == before
    with tervalon.create("OLD.RAW", overwrite=True, calibration=tervalon.open("FIRST.RAW")) as writer:
        writer.add_function(like=tervalon.open("FIRST.RAW")[1]).add(3, [200], [7])
    with pytest.raises(tervalon.ClosedError):
        writer.add_function()
    with tervalon.open("OLD.RAW") as run:
        assert len(run) == 1 and run[1].mass_range == (100, 900) and run[1][0].tic == 7
    assert sorted(os.listdir(".")) == ["FIRST.RAW", "OLD.RAW"]


def test_wrong_scans_and_functions():
    with tervalon.create("NEW.RAW") as writer:
        function = writer.add_function()
        for mz, intensity, flags in (([1], [1, 2], None), ([[1]], [[1]], None), (None, [1], None),
                                     ([1, 2], [1, 2], [1])):
            with pytest.raises(ValueError):
                function.add(1, mz, intensity, flags)
        for arguments in ({"type": "NONE"}, {"data_type": 99}, {"ion_mode": "??"}, {"type": "SIR"},
                          {"channels": [1]}, {"type": "SIR", "channels": range(1, 40)}):
            with pytest.raises(ValueError):
                writer.add_function(**arguments)
        with pytest.raises(ValueError):
            writer.analog([("a", "b")], [1, 2], [[1]])
        for _ in range(31):
            writer.add_function()
        with pytest.raises(IndexError):
            writer.add_function()
    with pytest.raises(ValueError):
        tervalon.create("TWO.RAW", header={"no_such": 1})
    with pytest.raises(ValueError):
        tervalon.create("TWO.RAW", header={"sample_id": "x" * 80})
    assert not any("TWO" in name for name in os.listdir("."))


@pytest.mark.parametrize("kind", tervalon.DatabaseType)
def test_every_database_type_keeps_what_it_is_given(kind):
    with tervalon.Database("ONE.DBF", kind, create=True) as database:
        given = {}
        for field in database.fields:
            if field.kind is str:
                given[field.name] = "abc"[: field.size]
            elif field.kind in (int, float):
                given[field.name] = field.kind(min(7, 10 ** max(field.width - field.decimals - 1, 1) - 1))
            else:
                given[field.name] = True if field.kind is bool else (1, 2)
        database.append({})
        database.append(given)
        for name, value in database[1].items():
            assert value == given[name], name
        assert len(database) == 2
    with tervalon.Database("ONE.DBF", kind.name) as database:
        assert database[-1] == {**database[1], **given}


def test_a_database_is_a_sequence():
    with tervalon.Database("P.DBF", "PEP_MOD", create=True) as database:
        text = next(f.name for f in database.fields if f.kind is str)
        number = next(f for f in database.fields if f.kind in (int, float))
        database.extend({text: letter} for letter in "bcd")
        database.insert(0, {text: "a"})
        database.update(1, **{number.name: 3})
        del database[2:3]
        assert [r[text] for r in database] == ["a", "b", "d"] and database[1][number.name] == 3
        assert database[1][text] == "b"
        with pytest.raises(IndexError):
            database[3]
        with pytest.raises(KeyError):
            database.append({"NO SUCH": 1})
        for wrong in ({number.name: 10**300}, {number.name: "x"}, {text: "x" * 999}):
            with pytest.raises((ValueError, TypeError)):
                database.append(wrong)
        assert len(database) == 3
        with pytest.raises(tervalon.Error):  # another of the type is open
            tervalon.Database("P.DBF", "PEP_MOD")
    with pytest.raises(tervalon.ClosedError):
        len(database)
    with pytest.raises(FileNotFoundError):
        tervalon.Database("ABSENT.DBF", "LC")
    with pytest.raises(tervalon.Error):
        tervalon.Database("P.DBF", "TUNE")


def test_settings():
    said = run_python("""
from tervalon import settings
settings["Python"]["Key"] = 12.5
assert dict(settings["Python"]) == {"Key": "12.5"} and "Python" in settings, dict(settings["Python"])
for name, error in (("Absent", KeyError), ("", KeyError)):
    try: settings["Python"][name]
    except error: continue
    raise SystemExit(name)
for value in ("x" * 600, "two\\nlines", "zero\\0"):
    try: settings["Python"]["Key"] = value
    except ValueError: continue
    raise SystemExit(value)
print(len(settings["None"]), settings["Python"]["Key"])
""")
    assert said.split() == ["0", "12.5"]
    with open("TERVALON.INI", encoding="latin-1") as file:
        assert "[Python]" in file.read()


def test_numbers():
    values = np.random.default_rng(3).normal(100, 5, 4000) + np.linspace(0, 50, 4000)
    assert tervalon.noise(values) == pytest.approx(5, rel=0.1)
    grid = tervalon.linearise([0, 1, 2, 4], [1, 2, 3, 4], 0.5)
    assert grid.values.dtype == np.float32 and len(grid.positions) == len(grid.values)
    for call in (lambda: tervalon.noise([1], 3), lambda: tervalon.noise([], 0),
                 lambda: tervalon.linearise([], [], 1), lambda: tervalon.linearise([1], [1, 2], 1),
                 lambda: tervalon.linearise([1, 2], [1, 2], float("nan")),
                 lambda: tervalon.retention_index(9, [(1, 600), (2, 700)]),
                 lambda: tervalon.trace("184+"[:0]), lambda: tervalon.trace("1++2"),
                 lambda: tervalon.trace("1,2")):
        with pytest.raises(ValueError):
            call()
    for text in ("184.1", "184+200-150", "100_200", "100_200-150"):
        assert str(tervalon.trace(text)) == text
