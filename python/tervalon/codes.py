"""The numbers of types, by the names that the headers give them. ``codes.pyi`` lists them."""

from __future__ import annotations

import enum
from typing import Any

from ._library import lib


def _family(name: str, prefix: str, *left_out: str) -> Any:
    return enum.IntEnum(name, {word[len(prefix) :]: getattr(lib, word) for word in dir(lib)
                               if word.startswith(prefix) and word not in left_out})


FunctionType = _family("FunctionType", "RAW_TYPE_")
DataType = _family("DataType", "RAW_DATA_")
StepType = _family("StepType", "RAW_STEP_", "RAW_STEP_PARAMETERS_SIZE")

_DATABASES = """METHOD_FIND INTERIM_REPORT PEAK_LIST METHOD_QUAN MS_FUNCTION SAMPLES TUNE QUAN_SAMPLE_LIST
    PEP_MOD PEP_ELEMENT PROBE AUTO_SAMPLER GC LC GC2 METHOD CURVE DIGEST NUC_MOD PERIODIC_TABLE""".split()

DatabaseType = enum.IntEnum("DatabaseType", {name: getattr(lib, f"DB3_{name}") for name in _DATABASES})


def known(family: Any, code: int) -> Any:
    """Returns the member of a number, or the number where it is not known."""
    return family(code) if code in family._value2member_map_ else code
