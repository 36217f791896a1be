"""Nothing that a program in Python does crashes the interpreter."""

import gc
import math
import os
import subprocess
import sys
import threading

import numpy as np
import pytest

import tervalon

from conftest import run_python


def test_closed_runs_raise():
    run = tervalon.open("FIRST.RAW")
    function = run[1]
    scan, channels, iterator = function.scan(2), run.analog, iter(function)
    next(iterator)
    run.close()
    run.close()
    for use in (lambda: run[1], lambda: len(run), lambda: run.analog, lambda: run.history,
                lambda: run.processes, lambda: len(function), lambda: function.scan(2),
                lambda: function.scan(99), lambda: function[0], lambda: function.scans,
                lambda: function.tic(), lambda: function.xic([(1, 2)]), lambda: function.points([1]),
                lambda: function.at_time(1), lambda: list(function), lambda: run.__enter__(),
                *(channel.read for channel in channels)):
        with pytest.raises(tervalon.ClosedError):
            use()
    assert "closed" in repr(run) and repr(scan) and run.header["acquired_name"] is not None
    assert sum(len(scan) for scan in iterator) > 0  # what was read ahead is there


def test_handles_are_freed_in_any_order():
    for _ in range(30):  # more than there are handles
        run = tervalon.open("FIRST.RAW")
        function, scan, rest = run[1], run[1][0], iter(run[1])
        next(rest)
        for name in np.random.default_rng().permutation(["run", "function", "scan", "rest"]):
            if name == "run":
                del run
            elif name == "function":
                del function
            elif name == "scan":
                del scan
            else:
                del rest
    cycles = []
    for _ in range(25):  # unreachable, but only the collector finds that out
        run = tervalon.open("FIRST.RAW")
        run.itself = run
        del run
    for _ in range(19):
        cycles.append(tervalon.open("FIRST.RAW"))
    gc.collect()
    with pytest.raises(tervalon.Error) as caught:
        while True:
            cycles.append(tervalon.open("FIRST.RAW"))
    assert caught.value.code == 4001 and len(cycles) == 20
    assert all(len(run[1]) for run in cycles)


ODD = [None, 0, -1, 1, 33, 2**15, 2**31, -2**31, 2**63, 1.5, math.nan, math.inf, "", "1", b"x", [], [1],
       (1, 2), {}, "a\0b", "x" * 5000, np.arange(3), np.float32(2), np.zeros((2, 2)), object()]


def test_odd_arguments_raise_and_change_nothing():
    run = tervalon.open("FIRST.RAW")
    function = run[1]
    before = function.scan(141).intensity.sum()
    writer = tervalon.create("ODD.RAW")
    writing = writer.add_function()
    database = tervalon.Database("ODD.DBF", "PROBE", create=True)
    calls = [tervalon.open, run.function, run.process, run.get, function.scan, function.at_time,
             function.points, function.xic, lambda v: function.xic([v]), lambda v: function.xic([(v, v)]),
             lambda v: function[v], lambda v: list(function.blocks(v))[:1], tervalon.noise,
             lambda v: tervalon.noise([1, 2, 3], v), lambda v: tervalon.linearise(v, v, 1),
             lambda v: tervalon.linearise([1, 2], [1, 2], v), tervalon.trace,
             lambda v: tervalon.retention_index(v, [(1, 2), (2, 3)]),
             lambda v: tervalon.retention_index(1, v), lambda v: tervalon.Database(v, "LC"),
             lambda v: tervalon.Database("X.DBF", v), lambda v: database[v], database.append,
             lambda v: database.insert(v, {}), lambda v: tervalon.settings[v]["x"],
             lambda v: tervalon.settings["x"][v], writer.add_function, lambda v: writing.add(v, [1], [1]),
             lambda v: writing.add(1, v, v), lambda v: writing.add(1, [1], [1], v),
             lambda v: writing.add(1, [1], [1], segment=v), lambda v: writer.analog(v, v, v),
             lambda v: writer.add_history(v, "x"), lambda v: writer.add_history(1, v),
             lambda v: writer.add_history(1, "x", v), lambda v: writer.add_history(1, "x", 1, v),
             lambda v: tervalon.create("Q.RAW", header=v), lambda v: tervalon.Error("x", v),
             lambda v: tervalon.save_svg(v, [])]
    refused = 0
    for call in calls:
        for value in ODD:
            try:
                result = call(value)
                del result
            except (tervalon.Error, TypeError, ValueError, OSError, LookupError, OverflowError,
                    AttributeError):
                refused += 1
    assert refused > len(calls) * len(ODD) / 2
    assert function.scan(141).intensity.sum() == before
    writer.abandon()


def test_threads_share_a_run():
    run = tervalon.open("FIRST.RAW")
    expected = [scan.tic for scan in run[1]]
    failures = []

    def read(seed):
        numbers = np.random.default_rng(seed).permutation(len(expected)) + 1
        try:
            for number in numbers.tolist():
                scan = run[1].scan(number)
                assert scan.tic == expected[number - 1]
                assert abs(scan.intensity.sum(dtype=np.float64) - scan.tic) <= scan.tic * 1e-6
                if number % 50 == 0:
                    with tervalon.open("FIRST.RAW") as another:
                        assert another[1].tic().intensity.tolist() == expected
                        another[1].scan(5)._repr_svg_()
        except BaseException as error:  # noqa: B902 - told below
            failures.append(error)

    threads = [threading.Thread(target=read, args=(seed,)) for seed in range(6)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


@pytest.mark.skipif(not hasattr(os, "fork"), reason="no fork")
def test_a_forked_process_reads_on_and_harms_nothing():
    run_python("""
import os, threading, tervalon
run = tervalon.open("FIRST.RAW"); writer = tervalon.create("W.RAW"); function = writer.add_function()
function.add(1, [500], [1])
stop = False
def busy():
    while not stop: run[1].tic()
thread = threading.Thread(target=busy); thread.start()
for _ in range(20):
    child = os.fork()
    if child == 0:
        try:
            ok = run[1].scan(141).number == 141
            try: function.add(2, [500], [1]); ok = False
            except tervalon.Error: pass
            del function, writer
        finally: os._exit(0 if ok else 1)
    assert os.waitpid(child, 0)[1] == 0
stop = True; thread.join()
writer.close()
assert len(tervalon.open("W.RAW")[1]) == 1
""")


def test_processes_side_by_side():
    code = """
import sys, tervalon
with tervalon.open("FIRST.RAW") as run: print(sum(scan.tic for scan in run[1]))
with tervalon.create(sys.argv[1]) as writer:
    function = writer.add_function()
    for i in range(500): function.add(i, [500], [i])
"""
    running = [subprocess.Popen([sys.executable, "-c", code, f"P{i}.RAW"], stdout=subprocess.PIPE)
               for i in range(4)]
    assert len({process.communicate(timeout=60)[0] for process in running}) == 1
    assert [len(tervalon.open(f"P{i}.RAW")[1]) for i in range(4)] == [500] * 4


def test_damaged_files_raise_or_give_less(simulated):
    random = np.random.default_rng(11)
    members = [name for name in os.listdir("FIRST.RAW")]
    for round_number in range(60):
        name = members[round_number % len(members)]
        original = (simulated / name).read_bytes()
        damaged = bytearray(original)
        for place in random.integers(0, len(damaged), 12):
            damaged[place] = random.integers(0, 256)
        cut = random.integers(1, len(damaged)) if round_number % 3 == 0 else len(damaged)
        with open(os.path.join("FIRST.RAW", name), "wb") as file:
            file.write(damaged[:cut])
        try:
            with tervalon.open("FIRST.RAW") as run:
                for function in run.functions:
                    function.tic(), function.xic([(100, 900)]), function.scans
                    repr(run), [len(scan) for scan in function]
                [channel.read() for channel in run.analog], run.history, run.calibration
        except (tervalon.Error, IndexError, MemoryError):
            pass
        with open(os.path.join("FIRST.RAW", name), "wb") as file:
            file.write(original)
