#!/usr/bin/env python3
"""Processes a folder of runs with Dask.

    dask_batch.py FOLDER TARGETS.csv OUT.csv|OUT.sqlite [--workers 2] [--retries 2] [--scheduler ADDRESS]

Starts a scheduler and workers as processes of this machine, or uses a scheduler that runs. Every run is a task. A
task that fails is tried again; one whose worker dies goes to another worker. OUT is written once, at the end:
a table of peaks as CSV with the chromatograms beside it (OUT.chromatograms.csv), or both as tables of an
SQLite file. Runs that failed are in OUT.failures.csv, or the table failures; then the exit status is 1.
"""

from __future__ import annotations

import argparse
import contextlib
import csv
import glob
import os
import sqlite3
import subprocess
import sys
import tempfile
import time
from typing import Any, Iterator

import peaks
from distributed import Client, as_completed

WORKER_THREADS = 1  # the library is for one thread of a process at a time


@contextlib.contextmanager
def cluster(workers: int, log: Any) -> Iterator[str]:
    """A scheduler and workers; gives the scheduler's address. Workers that die are not replaced."""
    here = os.path.dirname(os.path.abspath(__file__))
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join([here, os.environ.get("PYTHONPATH", "")]))
    with tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, "scheduler.json")

        def start(kind: str, *options: str) -> subprocess.Popen:
            return subprocess.Popen(
                [sys.executable, "-m", f"distributed.cli.dask_{kind}", "--scheduler-file", file,
                 "--no-dashboard", *options], stdout=log, stderr=log, env=environment, cwd=folder)

        running = [start("scheduler", "--host", "127.0.0.1", "--port", "0")]
        try:
            running += [start("worker", "--nthreads", str(WORKER_THREADS), "--no-nanny",
                              "--local-directory", folder, "--name", f"worker-{i}")
                        for i in range(workers)]
            while not os.path.exists(file) or not os.path.getsize(file):
                if running[0].poll() is not None:
                    raise RuntimeError("the scheduler did not start")
                time.sleep(0.05)
            yield file
        finally:
            for process in reversed(running):  # the scheduler last: workers wait for it
                process.terminate()
                try:
                    process.wait(timeout=20)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()


def write_csv(path: str, columns: list[str], rows: Any) -> None:
    with open(path, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file)
        writer.writerow(columns)
        writer.writerows(rows)


def write(path: str, done: list[dict], failures: list[tuple[str, str]]) -> None:
    """Writes everything beside `path` first, so that there is never half of it."""
    done.sort(key=lambda result: result["run"])
    rows = [peak for result in done for peak in result["peaks"]]
    points = ((run, target, *point) for result in done for run, target, times, values
              in result["chromatograms"] for point in zip(times, values))
    tables = {"peaks": (list(peaks.Peak._fields), rows),
              "chromatograms": (["run", "target", "time", "intensity"], points),
              "failures": (["run", "error"], sorted(failures))}
    stem, suffix = os.path.splitext(path)
    if suffix == ".sqlite":
        new = f"{path}.new"
        if os.path.exists(new):
            os.remove(new)
        with contextlib.closing(sqlite3.connect(new)) as database, database:
            for name, (columns, content) in tables.items():
                database.execute(f"CREATE TABLE {name} ({', '.join(columns)})")
                marks = ", ".join("?" * len(columns))
                database.executemany(f"INSERT INTO {name} VALUES ({marks})", content)
        os.replace(new, path)
        return
    for name, (columns, content) in tables.items():
        final = path if name == "peaks" else f"{stem}.{name}{suffix}"
        write_csv(f"{final}.new", columns, content)
        os.replace(f"{final}.new", final)


def process(client: Client, runs: list[str], targets: list[peaks.Target], retries: int,
            progress: Any = None) -> tuple[list[dict], list[tuple[str, str]]]:
    futures = {client.submit(peaks.process_run, run, targets, retries=retries, pure=False): run
               for run in runs}
    done, failures = [], []
    for future in as_completed(futures):
        run = os.path.basename(futures[future])
        if future.status == "finished":
            done.append(future.result())
        else:
            failures.append((run, str(future.exception())))
            print(f"failed: {failures[-1][1]}", file=sys.stderr)
        future.release()  # nothing has to be computed again for what is here
        if progress:
            progress(len(done) + len(failures))
    return done, failures


def main() -> int:
    parser = argparse.ArgumentParser(description="A table of peaks of a folder of runs.")
    parser.add_argument("folder")
    parser.add_argument("targets")
    parser.add_argument("out")
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--retries", type=int, default=2)
    parser.add_argument("--scheduler", help="address, tcp://HOST:8786, of one that runs")
    options = parser.parse_args()
    runs = sorted(os.path.abspath(p) for p in glob.glob(os.path.join(options.folder, "*.[Rr][Aa][Ww]")))
    targets = peaks.read_targets(options.targets)
    with contextlib.ExitStack() as stack:
        if options.scheduler:
            client = stack.enter_context(Client(options.scheduler))
            client.upload_file(peaks.__file__)
        else:
            log = stack.enter_context(tempfile.TemporaryFile())
            file = stack.enter_context(cluster(options.workers, log))
            client = stack.enter_context(Client(scheduler_file=file, timeout=60))
            client.wait_for_workers(options.workers, timeout=60)
        begin = time.perf_counter()
        done, failures = process(client, runs, targets, options.retries)
        seconds = time.perf_counter() - begin
        write(options.out, done, failures)
    print(f"{len(done)} runs in {seconds:.2f} s, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
