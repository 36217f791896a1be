#!/usr/bin/env python3
"""Measures how examples/batch grows with its workers: runs a second, on runs of five million points."""

import os
import pathlib
import statistics
import sys
import tempfile
import time

import numpy as np

import tervalon

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "examples/batch"))
import dask_batch  # noqa: E402
import peaks  # noqa: E402
from distributed import Client  # noqa: E402

WORKERS, RUNS, ROUNDS = (1, 2, 4), 32, 3


def spent(client):
    """Processor seconds of the workers, the scheduler, and this process."""
    return (sum(client.run(time.process_time).values()), client.run_on_scheduler(time.process_time),
            time.process_time())


def main():
    targets = [peaks.Target(f"target {mz}", 1, float(mz), "50ppm") for mz in range(200, 1000, 100)]
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryFile() as log:
        path = os.path.join(folder, "LONG.RAW")
        mz = np.linspace(100, 1100, 2500, dtype=np.float32)
        with tervalon.create(path) as writer:
            function = writer.add_function("TOF_MS", "STANDARD_CENTROID", (100, 1100), "ES+")
            for i in range(2000):
                function.add(i * 0.005, mz, mz * (i % 50))
        print(f"{os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}")
        costs = []
        figures = {count: [] for count in WORKERS}
        for _ in range(ROUNDS):
            for count in WORKERS:
                with dask_batch.cluster(count, log) as file, Client(scheduler_file=file, timeout=60) as client:
                    client.wait_for_workers(count, timeout=60)
                    dask_batch.process(client, [path] * count * 2, targets, 0)  # imports
                    before = spent(client)
                    begin = time.perf_counter()
                    done, failures = dask_batch.process(client, [path] * RUNS, targets, 0)
                    assert len(done) == RUNS, failures
                    figures[count].append(RUNS / (time.perf_counter() - begin))
                    costs.append([(b - a) / RUNS * 1e3 for a, b in zip(before, spent(client))])
        base = statistics.median(figures[WORKERS[0]])
        for count, rates in figures.items():
            rate = statistics.median(rates)
            print(f"{count} workers: {rate:7.1f} runs/s  {rate / base:5.2f} x")
        worker, scheduler, client = (statistics.median(cost) for cost in zip(*costs))
        print(f"processor time of a run: {worker:.1f} ms of a worker, {scheduler:.1f} of the scheduler, "
              f"{client:.1f} of the program")


if __name__ == "__main__":
    main()
