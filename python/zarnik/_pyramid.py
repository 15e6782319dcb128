"""Coarser levels of what is being written, part by part, as `coarser_levels` would give them."""

from __future__ import annotations

import math
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik._enumerations import ImageInterpretation

if TYPE_CHECKING:
    Array = numpy.ndarray[Any, Any]

#: no level is made of one whose longest side is this or less
COARSEST = 256
_MOST_LEVELS = 30


def is_nearest(image: Any, method: str | None) -> bool:
    """Tell whether elements are taken as they are, not their mean: by default those of labels and binary images."""
    if method not in (None, "mean", "nearest"):
        raise _classes.InvalidArgument(f"method {method!r} is neither 'mean' nor 'nearest'")
    if method is None:
        return image.interpretation in (ImageInterpretation.LABEL, ImageInterpretation.BINARY)
    return method == "nearest"


def shapes(shape: Sequence[int], axes: str, halving: str, levels: bool | int) -> list[tuple[int, ...]]:
    """Return the shape of each level, the finest first.

    :param halving: The axes that are halved; one of 1 element stays.
    :param levels: How many there are in all; True for as many as it takes to be small, False for one.
    """
    wanted = int(levels) if levels is not True else _MOST_LEVELS
    if wanted < 0:
        raise _classes.InvalidArgument(f"there are 1 or more levels, not {levels}")
    found = [tuple(shape)]
    while len(found) < wanted:
        last = found[-1]
        sides = [size for letter, size in zip(axes, last) if letter in halving]
        if max(sides, default=1) <= (COARSEST if levels is True else 1):
            break
        found.append(tuple(math.ceil(size / 2) if letter in halving else size for letter, size in zip(axes, last)))
    return found


def halved(array: Array, steps: Sequence[int], nearest: bool) -> Array:
    """Return an array with the mean of each block of elements, or its first; fewer at the far borders.

    Means are rounded to nearest, ties to even, where the elements are integers.
    """
    if nearest:
        return array[tuple(slice(None, None, step) for step in steps)]
    total, counted = array, None
    kind = numpy.int64 if array.dtype.kind in "iu" and array.dtype.itemsize <= 4 else numpy.float64
    for axis, step in enumerate(steps):
        if step == 2:
            size = total.shape[axis]
            first, second = (_every_second(total, axis, begin) for begin in (0, 1))
            total = first.astype(kind)
            if size % 2 and size > 1:
                _within(total, axis, size // 2)[...] += second
            elif size > 1:
                total += second
            counts = numpy.full(total.shape[axis], 2)
            counts[size // 2 :] = 1
            counts = counts.reshape([-1 if place == axis else 1 for place in range(array.ndim)])
            counted = counts if counted is None else counted * counts
    if counted is None:
        return array
    mean = total / counted
    return (numpy.rint(mean) if array.dtype.kind in "iu" else mean).astype(array.dtype)


def _every_second(array: Array, axis: int, begin: int) -> Array:
    return array[(slice(None),) * axis + (slice(begin, None, 2),)]


def _within(array: Array, axis: int, count: int) -> Array:
    return array[(slice(None),) * axis + (slice(count),)]
