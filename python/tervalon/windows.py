"""Mass windows as callers write them."""

from __future__ import annotations

import math
import re
from typing import Tuple, Union

#: ``(low, high)`` in m/z, or ``(mz, "5ppm")`` or ``(mz, "0.01Da")``.
Window = Tuple[float, Union[float, str]]

_TOLERANCE = re.compile(r"\s*([0-9.]+(?:e-?[0-9]+)?)\s*(ppm|da|u|mda)\s*", re.IGNORECASE)
_UNITS = {"ppm": None, "da": 1.0, "u": 1.0, "mda": 1e-3}


def tolerance(mz: float, text: str) -> float:
    """Returns how far a tolerance reaches to each side of `mz`.

    >>> tolerance(500.0, "10 ppm")
    0.005
    """
    match = _TOLERANCE.fullmatch(text)
    if not match:
        raise ValueError(f"'{text}' is no tolerance such as '5ppm' or '0.01Da'")
    unit = _UNITS[match[2].lower()]
    return float(match[1]) * (mz * 1e-6 if unit is None else unit)


def bounds(window: Window) -> tuple[float, float]:
    """Returns the edges of a window, both inside it.

    >>> bounds((500.0, "10ppm"))
    (499.995, 500.005)
    """
    try:
        low, high = window
        low = float(low)
        if isinstance(high, str):
            reach = tolerance(low, high)
            low, high = low - reach, low + reach
        high = float(high)
    except (TypeError, ValueError) as wrong:
        raise ValueError(f"{window!r} is no mass window: {wrong}") from None
    if not (math.isfinite(low) and math.isfinite(high) and low <= high):
        raise ValueError(f"{window!r} is no mass window: its edges are not in order")
    if max(abs(low), abs(high)) > 3e38:
        raise ValueError(f"{window!r} is no mass window: its edges are out of range")
    return low, high
