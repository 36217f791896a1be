"""Memory for blocks of points, used again when the last array over it is gone.

A new array's pages cost more than reading points into them: whoever goes through a run scan by scan or block
by block gets the memory of the blocks before.
"""

from __future__ import annotations

from typing import Any, List

import numpy as np

from ._interface import ffi

_FLOATS = 1 << 18  # of a piece: a block's masses and intensities
_KEPT = 4

_pool: List[Any] = []
_allocate = ffi.new_allocator(should_clear_after_alloc=False)
_as_bytes = ffi.buffer
_tie = ffi.gc


def _give_back(piece: Any) -> None:
    if len(_pool) < _KEPT:
        _pool.append(piece)


def pair(points: int) -> tuple[np.ndarray, np.ndarray]:
    """Returns two float32 arrays of `points` elements, not initialised."""
    if points > _FLOATS // 2:
        return np.empty(points, np.float32), np.empty(points, np.float32)
    try:
        piece = _pool.pop()
    except IndexError:
        piece = _allocate("float[]", _FLOATS)
    both = np.frombuffer(_as_bytes(_tie(piece, _give_back), 4 * _FLOATS), np.float32)
    return both[:points], both[points : 2 * points]
