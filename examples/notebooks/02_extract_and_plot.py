# %% [markdown]
# # Extract chromatograms and plot them

# %%
import matplotlib.pyplot as plt
import numpy as np

import tervalon

run = tervalon.open("FIRST.RAW")
function = run[1]

# %% One window for each chromatogram: a mass and a tolerance, or two masses
traces = function.xic([(455.29, "50ppm"), (609.28, "0.05Da"), (195.0, 195.2)])
traces.plot(linewidth=1.2).figure.savefig("traces.png", dpi=110)

# %% Where each has its highest value
for trace in traces:
    at = int(trace.intensity.argmax())
    print(f"{trace.name:>20}  {trace.time[at]:.3f} min  {trace.intensity[at]:.0f}")

# %% A map of the run: all points of all scans are one pair of arrays
points = function.points()
times = np.repeat(function.scans["time"], np.diff(points.offsets))
figure, axes = plt.subplots(figsize=(9, 5), layout="constrained")
shown = points.intensity > 4 * tervalon.noise(points.intensity)
drawn = axes.scatter(times[shown], points.mz[shown], c=np.log10(points.intensity[shown]), s=4, cmap="viridis")
axes.set(xlabel="min", ylabel="m/z")
figure.colorbar(drawn, label="log10 counts")
figure.savefig("map.png", dpi=110)

# %% As a table
print(function.tic().to_pandas().describe())
