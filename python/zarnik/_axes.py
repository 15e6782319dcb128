"""Axes of arrays: strings such as "TZYX", which read like a NumPy shape, slowest axis first.

::

    array.shape     (20, 30, 64, 48)
    axes "TZYX"       T   Z   Y   X
                      |   |   |   +-- COLUMN     along a row of the picture
                      |   |   +------ ROW        down the picture
                      |   +---------- SLICE      from picture to picture
                      +-------------- SEQUENCE   from moment to moment
    and "C":                          CHANNEL    the colours or components of a pixel, last of all

Lower case letters mean the same, and "S", which others write for the samples of a pixel, means "C".
"""

from __future__ import annotations

import itertools
import operator
import reprlib
from collections.abc import Iterable
from functools import lru_cache
from typing import Union

import zarnik._classes as _classes
from zarnik._classes import ImageType
from zarnik._enumerations import ImageDimension

#: What names the axes of an array: a string of letters, dimensions in the order of the axes, or an image type.
Axes = Union[str, Iterable[int], Iterable[str], ImageType]

#: The order in which the axes of an image stand in an array.
NUMPY_ORDER = (
    ImageDimension.SEQUENCE,
    ImageDimension.SLICE,
    ImageDimension.ROW,
    ImageDimension.COLUMN,
    ImageDimension.CHANNEL,
)

BY_LETTER = {dimension.letter: dimension for dimension in ImageDimension}

_BY_RANK = {1: "X", 2: "YX", 3: "ZYX", 4: "TZYX"}
# What others call their axes.
_SYNONYMS = {"S": "C"}
_HINTS = {
    "Q": "Q stands for an axis that nobody named: say which of T, Z and C it is",
    "I": "I stands for a series of images: say which of T and Z it is",
}


def letters(dimensions: Iterable[ImageDimension]) -> str:
    """Return the string of axes, e.g. "ZYX"."""
    return "".join(dimension.letter for dimension in dimensions)


def dimensions_of(axes: Axes) -> list[ImageDimension]:
    """Return the dimension of each axis, in the order of the array's axes.

    An image type has no order of its own: its dimensions come in the order T, Z, Y, X, C.
    """
    if isinstance(axes, str):
        return list(_dimensions_of_letters(axes))
    dimensions: list[ImageDimension]
    if isinstance(axes, ImageDimension):
        dimensions = [axes]
    elif isinstance(axes, _classes.ImageType):
        dimensions = [dimension for dimension in NUMPY_ORDER if axes.has(dimension)]
    else:
        try:
            dimensions = [
                _dimension_of(entry, axes) if isinstance(entry, str) else ImageDimension(entry) for entry in axes
            ]
        except TypeError:
            raise TypeError(f"axes must be a string, image dimensions or an ImageType, got {axes!r}") from None
    return _different(dimensions)


# Each file that is opened names its axes some times.
@lru_cache(maxsize=256)
def _dimensions_of_letters(axes: str) -> tuple[ImageDimension, ...]:
    return tuple(_different([_dimension_of(letter, axes) for letter in axes]))


def _different(dimensions: list[ImageDimension]) -> list[ImageDimension]:
    if len(set(dimensions)) != len(dimensions):
        raise ValueError(f"axes {reprlib.repr(letters(dimensions))} name an axis twice")
    return dimensions


def _dimension_of(letter: str, axes: object) -> ImageDimension:
    found = BY_LETTER.get(_SYNONYMS.get(letter.upper(), letter.upper()))
    if found is None:
        hint = _HINTS.get(letter.upper())
        raise ValueError(f"unknown axis {letter!r} in {axes!r}: {hint or 'the axes are T, Z, Y, X and C'}")
    return found


def extents_of(shape: int | Iterable[int]) -> tuple[int, ...]:
    """Return the extents of a shape, which may be an integer as in NumPy.

    :raises ValueError: if there are more than an image has axes; an endless shape is not gone through.
    """
    try:
        return (operator.index(shape),)  # type: ignore[arg-type]
    except TypeError:
        if not isinstance(shape, Iterable):
            raise TypeError(f"a shape is an integer or a sequence of integers, got {shape!r}") from None
    extents = tuple(operator.index(extent) for extent in itertools.islice(shape, len(ImageDimension) + 1))
    if len(extents) > len(ImageDimension):
        raise ValueError(f"an image has 1 to {len(ImageDimension)} axes, the shape has more: {reprlib.repr(shape)}")
    return extents


def dimensions_of_array(axes: Axes | None, shape: tuple[int, ...], what: str = "the array") -> list[ImageDimension]:
    """Return the dimension of each axis of an array; by its rank X, YX, ZYX or TZYX when axes is None."""
    if axes is None:
        if len(shape) == 5:
            raise ValueError(
                f"{what} has 5 axes, whose order cannot be guessed: pass axes, such as axes='TZYXC' or axes='TCZYX'"
            )
        if len(shape) not in _BY_RANK:
            raise ValueError(f"an image has 1 to 5 axes, {what} has {len(shape)}: its shape is {shape}")
        return dimensions_of(_BY_RANK[len(shape)])
    dimensions = dimensions_of(axes)
    if not dimensions or len(dimensions) != len(shape):
        raise ValueError(
            f"axes {letters(dimensions)!r} name {len(dimensions)} axes, {what} has {len(shape)}"
            + (f": its shape is {shape}" if any(shape) else "")
        )
    return dimensions
