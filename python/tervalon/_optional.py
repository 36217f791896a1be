"""Packages that are used where they are installed."""

from __future__ import annotations

import importlib
from typing import Any


def pandas() -> Any:
    return importlib.import_module("pandas")


def pyplot() -> Any:
    return importlib.import_module("matplotlib.pyplot")
