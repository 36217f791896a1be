# %% [markdown]
# # A first look into a run
#
# `tervalon simulate FIRST.RAW` makes the run. Cells begin with `# %%`: Jupyter (with jupytext), Spyder and Visual
# Studio Code open this file as a notebook, Python runs it as a program.

# %%
import matplotlib.pyplot as plt

import tervalon

run = tervalon.open("FIRST.RAW")
run  # in a notebook: a table of the functions and the total ion current

# %% What the header says, and the functions
print(run.header["acquired"], run.header["sample_description"])
for function in run.functions:
    print(function, len(function), "scans", function.time_range, "min", function.mass_range, "m/z")

# %% The highest scan of the first function
function = run[1]
index = function.scans
highest = function[int(index["tic"].argmax())]
print(highest, "base peak", highest.base_peak)

# %% The chromatogram above the spectrum
figure, (above, below) = plt.subplots(2, 1, figsize=(9, 6), layout="constrained")
function.plot(above)
above.axvline(highest.time, color="grey", linewidth=0.8, linestyle=":")
highest.plot(below)
figure.savefig("first_look.png", dpi=110)

# %% The library's own pictures
with open("first_spectrum.svg", "w", encoding="utf-8") as file:
    file.write(highest._repr_svg_())
