"""Images in square brackets: what a key selects, read and written piece by piece."""

from __future__ import annotations

import operator
from collections.abc import Iterator, Sequence
from itertools import product
from typing import TYPE_CHECKING, Any

import numpy

from zarnik._geometry import geometry_of, region_of
from zarnik._interop import shared_array
from zarnik._transfer import read, write

if TYPE_CHECKING:
    from zarnik._geometry import Layout


def read_part(view: Any, key: Any) -> Any:
    """Return what a key selects of an image as a new array, or a scalar."""
    layout, sizes = geometry_of(view)
    part = _Part(key, layout, sizes)
    if not part.steps:
        ((region, size, within, _),) = part.pieces()
        return read(view, layout, region, size)[within]
    array = shared_array(view, layout)
    if array is not None:
        return array[part.key].copy()
    result = numpy.empty(part.shape(), layout.scalar)
    for region, size, within, place in part.pieces():
        result[place] = read(view, layout, region, size)[within]
    return result


def write_part(view: Any, key: Any, values: Any) -> None:
    """Assign to what a key selects of an image, as to an array."""
    layout, sizes = geometry_of(view)
    part = _Part(key, layout, sizes)
    if part.steps:
        array = shared_array(view, layout)
        if array is not None and array.flags.writeable:
            array[part.key] = values
            return
        values = numpy.broadcast_to(values, part.shape())
    for region, size, within, place in part.pieces():
        block = layout.to_array_axes(layout.buffer(size)) if part.is_dense else read(view, layout, region, size)
        block[within] = values[place] if part.steps else values
        write(view, layout, region, size, block)


class _Part:
    """What a key in square brackets selects.

    An axis that is stepped along is taken index by index, so that what lies between is not touched; but that of the
    first dimension, whose elements are next to each other, is read from the first to the last one.
    """

    __slots__ = ("_image_shape", "_layout", "_origin", "_size", "_sizes", "_within", "is_dense", "key", "steps")

    def __init__(self, key: Any, layout: Layout, sizes: Sequence[int]) -> None:
        self._layout, self._sizes, self._image_shape = layout, sizes, layout.shape(sizes)
        entries = _keys_of_all_axes(key, self._image_shape)
        self.key = tuple(entries)
        self._origin, self._size = [0] * layout.rank, list(sizes)
        self._within: list[Any] = []
        #: whether every element of the regions is selected
        self.is_dense = True
        #: the axes that are taken index by index, with their indices
        self.steps: dict[int, range] = {}
        for axis, entry in enumerate(entries):
            first, count, inside = _selection(entry, self._image_shape[axis], axis)
            if axis >= layout.rank:  # the components of a pixel are read together
                self._within.append(entry)
                self.is_dense &= entry == slice(None)
                continue
            position = layout.positions[axis]
            self._origin[position], self._size[position] = first, count
            if isinstance(inside, slice) and inside.step not in (1, -1):
                if position:
                    self.steps[axis] = range(*entry.indices(self._image_shape[axis]))
                    inside = 0
                else:
                    self.is_dense = False
            self._within.append(inside)

    def shape(self) -> tuple[int, ...]:
        """Return the shape of what is selected."""
        return numpy.broadcast_to(0, self._image_shape)[self.key].shape

    def pieces(self) -> Iterator[tuple[Any, Sequence[int], tuple[Any, ...], tuple[Any, ...]]]:
        """Return regions of the image and their sizes, what is selected of each, and where that stands in the whole."""
        within = tuple(self._within)
        for indices in product(*(enumerate(chosen) for chosen in self.steps.values())):
            origin, size = list(self._origin), list(self._size)
            ordinals = {}
            for axis, (ordinal, index) in zip(self.steps, indices):
                position = self._layout.positions[axis]
                origin[position], size[position] = index, 1
                ordinals[axis] = ordinal
            place = tuple(
                ordinals.get(axis, slice(None)) for axis, entry in enumerate(self.key) if isinstance(entry, slice)
            )
            yield (*region_of((origin, size), self._sizes), within, place)


def _keys_of_all_axes(key: Any, shape: tuple[int, ...]) -> list[Any]:
    entries = list(key) if isinstance(key, tuple) else [key]
    dots = [place for place, entry in enumerate(entries) if entry is Ellipsis]
    given = len(entries) - len(dots)
    if given > len(shape) or len(dots) > 1:
        raise IndexError(f"too many indices for an image of {len(shape)} axes: {given} and {len(dots)} ellipses")
    place = dots[0] if dots else len(entries)
    entries[place : place + len(dots)] = [slice(None)] * (len(shape) - given)
    return entries


def _selection(entry: Any, extent: int, axis: int) -> tuple[int, int, Any]:
    """Return the first element and the number of elements of the range around an entry, and the entry within it."""
    if isinstance(entry, slice):
        chosen = range(*entry.indices(extent))
        if not chosen:
            return 0, 0, slice(None, None, 1)
        first, last = min(chosen[0], chosen[-1]), max(chosen[0], chosen[-1])
        # The range begins and ends with a chosen element, so a step in either direction meets all of them.
        return first, last - first + 1, slice(None, None, chosen.step)
    try:
        if isinstance(entry, (bool, numpy.bool_)):
            raise TypeError
        place = operator.index(entry)
    except TypeError:
        raise TypeError(
            f"an image is indexed with integers, slices and '...', got {entry!r}: to_numpy() gives an array, which "
            "takes more"
        ) from None
    if not -extent <= place < extent:
        raise IndexError(f"index {place} is out of bounds for axis {axis} with size {extent}")
    return place % extent, 1, 0
