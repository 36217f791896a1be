"""What SciPy makes of the cases in a file, a line for each: a method, its numbers, a colon, values.

    savgol HALF_WIDTH DEGREE PASSES: VALUES     the smoothed values
    tops LEAST_HEIGHT LEAST_RISE: VALUES        of each peak the index, the prominence
"""
import sys

import numpy as np
from scipy.signal import find_peaks, savgol_filter


def savgol(values, half_width, degree, passes):
    for _ in range(int(passes)):
        values = savgol_filter(values, 2 * int(half_width) + 1, int(degree))
    return values


def tops(values, least_height, least_rise):
    found, what = find_peaks(values, height=least_height, prominence=least_rise)
    return np.column_stack((found, what["prominences"])).ravel()


with open(sys.argv[1]) as cases:
    for case in cases:
        options, values = case.split(":")
        method, *numbers = options.split()
        results = globals()[method](np.array(values.split(), float), *map(float, numbers))
        print(*map(repr, map(float, results)))
