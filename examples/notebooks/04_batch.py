# %% [markdown]
# # Many runs
#
# Runs are sent to other processes by their paths. `examples/batch` does the same with Dask, for a folder of
# thousands.

# %%
import concurrent.futures
import shutil

import matplotlib.pyplot as plt
import numpy as np

import tervalon

WINDOWS = [(455.29, "50ppm"), (609.28, "50ppm")]


# %% A run becomes a row
def heights(path):
    with tervalon.open(path) as run:
        return run[1].xic(WINDOWS).intensity.max(axis=1)


# %% As many runs as it takes to see something: copies that are diluted
def dilute(path, factor):
    with tervalon.open("FIRST.RAW") as run, tervalon.create(path, overwrite=True) as writer:
        diluted = writer.add_function(like=run[1])
        for scan in run[1]:
            diluted.add(scan.time, scan.mz, scan.intensity * factor, calibrated=True)


def main():
    factors = np.linspace(1, 0.1, 8)
    paths = [f"DILUTED{i}.RAW" for i in range(len(factors))]
    with concurrent.futures.ProcessPoolExecutor(2) as processes:
        list(processes.map(dilute, paths, factors))
        rows = np.array(list(processes.map(heights, paths)))
    figure, axes = plt.subplots(figsize=(6, 4), layout="constrained")
    axes.plot(factors, rows, "o-")
    axes.set(xlabel="dilution", ylabel="counts at the apex")
    axes.legend([f"m/z {mz} {width}" for mz, width in WINDOWS], frameon=False)
    figure.savefig("dilution.png", dpi=110)
    for path in paths:
        shutil.rmtree(path)


if __name__ == "__main__":
    main()
