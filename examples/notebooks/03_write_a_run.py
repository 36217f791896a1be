# %% [markdown]
# # Write a run
#
# A smoothed copy of a function becomes a run of its own, with the signal of a detector beside it.

# %%
import matplotlib.pyplot as plt
import numpy as np

import tervalon

source = tervalon.open("FIRST.RAW")
function = source[1]

# %% Every scan, with the counts of faint points taken away. It takes its place when it is complete.
level = 10 * tervalon.noise(function.points().intensity)
with tervalon.create("CLEAN.RAW", overwrite=True, header={"sample_id": "FIRST, above noise"}) as writer:
    clean = writer.add_function(like=function)
    for scan in function:
        strong = scan.intensity > level
        # These masses are calibrated already.
        clean.add(scan.time, scan.mz[strong], scan.intensity[strong], calibrated=True)
    minutes = np.linspace(0, 8, 481)
    writer.analog([("UV 254 nm", "uAU")], minutes, 4000 * np.exp(-((minutes - 4.5) ** 2))[:, None])
    writer.add_history(1, "above noise", tervalon.StepType.REFINE)

# %% What was written
with tervalon.open("CLEAN.RAW") as run:
    print(run.header["sample_id"], run.history, run.analog)
    figure, axes = plt.subplots(figsize=(9, 4), layout="constrained")
    function.tic().plot(axes, color="silver")
    run[1].tic().plot(axes)
    run.analog[0].read().plot(axes.twinx(), color="tab:orange")
    axes.legend(["as acquired", "above noise"], loc="upper left", frameon=False)
    figure.savefig("clean.png", dpi=110)
