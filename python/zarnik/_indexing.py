"""Images in square brackets: what a key selects, read and written piece by piece."""

from __future__ import annotations

import operator
from collections.abc import Iterator, Sequence
from itertools import product
from typing import TYPE_CHECKING, Any

import numpy

from zarnik import _direct
from zarnik._geometry import geometry_of
from zarnik._interop import shared_array
from zarnik._transfer import broadcast, convertible, may_share, read, write_converted

if TYPE_CHECKING:
    from zarnik._geometry import Layout


def read_part(view: Any, key: Any) -> Any:
    """Return what a key selects of an image as a new array, or a scalar."""
    layout, sizes = geometry_of(view)
    if type(key) is tuple and len(key) == layout.rank:
        element = _element(view, layout, sizes, key)
        if element is not None:
            return element
    if _is_simple(key, layout.rank):
        array = shared_array(view, layout)
        if array is not None:
            found = array[key]
            most = _ONE_PIECE_BYTES if found.flags.c_contiguous else _SMALL_BYTES
            if found.nbytes <= most:
                return found.copy() if isinstance(found, numpy.ndarray) else found
        box = _box(key if type(key) is tuple else (key,), layout, sizes)
        if box is not None:
            origin, size, within = box
            return read(view, layout, origin, size)[within]
    part = _Part(key, layout, sizes)
    if not part.steps:
        return read(view, layout, part.origin, part.size)[part.within]
    array = shared_array(view, layout)
    if array is not None:
        return array[part.key].copy()
    result = numpy.empty(part.shape(), layout.scalar)
    for origin, size, place in part.pieces():
        result[place] = read(view, layout, origin, size)[part.within]
    return result


# Up to this size NumPy copies a part in less time than a plan for it takes, and longer if it lies in one piece.
_SMALL_BYTES, _ONE_PIECE_BYTES = 2**14, 2**18


def _element(view: Any, layout: Layout, sizes: Sequence[int], key: tuple[Any, ...]) -> Any:
    """Return the element at a key of as many plain integers, within the image, as it has dimensions; else None."""
    origin = [0] * layout.rank
    for position, place in zip(layout.positions, key):
        if type(place) is not int or not 0 <= place < sizes[position]:
            return None
        origin[position] = place
    array = _direct.read_region(view, origin, layout.ones)
    return None if array is None else array[layout.first]


def _box(
    key: tuple[Any, ...], layout: Layout, sizes: Sequence[int]
) -> tuple[list[int], list[int], tuple[Any, ...]] | None:
    """Return the origin and size of what a simple key selects, and that within it; None if it takes steps or misses."""
    origin, size = [0] * layout.rank, list(sizes)
    within: list[Any] = []
    for position, entry in zip(layout.positions, key):
        extent = sizes[position]
        if type(entry) is int:
            if not -extent <= entry < extent:
                return None
            origin[position], size[position] = entry % extent, 1
            within.append(0)
        else:
            start, stop, step = entry.indices(extent)
            if step != 1:
                return None
            origin[position], size[position] = (start, stop - start) if start < stop else (0, 0)
            within.append(_ALL)
    return origin, size, tuple(within)


def _is_simple(key: Any, axis_count: int) -> bool:
    """Tell whether a key has integers and slices only, so that NumPy takes it for the same."""
    kind = type(key)
    if kind is not tuple:
        return kind is int or kind is slice
    return len(key) <= axis_count and _SIMPLE.issuperset(map(type, key))


_SIMPLE = frozenset((int, slice))


def write_part(view: Any, key: Any, values: Any) -> None:
    """Assign to what a key selects of an image, as to an array."""
    layout, sizes = geometry_of(view)
    part = _Part(key, layout, sizes)
    array = shared_array(view, layout)
    if array is not None and array.flags.writeable:
        # A single number is refused or not; of a list NumPy would write the items before the one that is refused.
        array[part.key] = values if isinstance(values, (int, float)) else convertible(values, layout.scalar)
        return
    values = broadcast(convertible(values, layout.scalar), part.shape())
    if values.size and may_share(view, layout, part.origin, part.size, values):
        values = values.copy()
    # An axis of the region where the key has a single index.
    as_region = tuple(numpy.newaxis if inside == 0 else inside for inside in part.within)
    for origin, size, place in part.pieces():
        if part.is_dense:
            write_converted(view, layout, origin, size, values[place][as_region])
            continue
        block = read(view, layout, origin, size)
        block[part.within] = values[place]
        write_converted(view, layout, origin, size, block)


class _Part:
    """What a key in square brackets selects.

    An axis that is stepped along is taken index by index, so that what lies between is not touched; but that of the
    first dimension, whose elements are next to each other, is read from the first to the last one.
    """

    __slots__ = ("_image_shape", "_layout", "is_dense", "key", "origin", "size", "steps", "within")

    def __init__(self, key: Any, layout: Layout, sizes: Sequence[int]) -> None:
        self._layout, self._image_shape = layout, layout.shape(sizes)
        self.key = _keys_of_all_axes(key, len(self._image_shape))
        #: the region around all that is selected
        self.origin, self.size = [0] * layout.rank, list(sizes)
        #: whether every element of the regions is selected
        self.is_dense = True
        #: the axes that are taken index by index, with their indices
        self.steps: dict[int, range] = {}
        within: list[Any] = []
        for axis, entry in enumerate(self.key):
            if axis >= layout.rank:  # the components of a pixel are read together
                within.append(_checked(entry, self._image_shape[axis], axis))
                self.is_dense &= entry == _ALL
                continue
            position = layout.positions[axis]
            self.origin[position], self.size[position], inside = _selection(entry, self._image_shape[axis], axis)
            if inside is not _ALL and isinstance(inside, slice) and inside.step != -1:
                if position:
                    self.steps[axis] = range(*entry.indices(self._image_shape[axis]))
                    inside = 0
                else:
                    self.is_dense = False
            within.append(inside)
        #: what is selected of each region
        self.within = tuple(within)

    def shape(self) -> tuple[int, ...]:
        """Return the shape of what is selected."""
        return numpy.broadcast_to(0, self._image_shape)[self.key].shape

    def pieces(self) -> Iterator[tuple[list[int], list[int], tuple[Any, ...]]]:
        """Return origins and sizes of the regions, and where each stands in the whole."""
        for indices in product(*(enumerate(chosen) for chosen in self.steps.values())):
            origin, size = list(self.origin), list(self.size)
            ordinals = {}
            for axis, (ordinal, index) in zip(self.steps, indices):
                position = self._layout.positions[axis]
                origin[position], size[position] = index, 1
                ordinals[axis] = ordinal
            place = [ordinals.get(axis, _ALL) for axis, entry in enumerate(self.key) if isinstance(entry, slice)]
            yield origin, size, tuple(place)


_ALL = slice(None)


def _keys_of_all_axes(key: Any, axis_count: int) -> tuple[Any, ...]:
    entries = key if isinstance(key, tuple) else (key,)
    dots = [place for place, entry in enumerate(entries) if entry is Ellipsis]
    missing = axis_count - len(entries) + len(dots)
    if missing < 0 or len(dots) > 1:
        given = len(entries) - len(dots)
        raise IndexError(f"too many indices for an image of {axis_count} axes: {given} and {len(dots)} ellipses")
    if not dots:
        return entries + (_ALL,) * missing
    return entries[: dots[0]] + (_ALL,) * missing + entries[dots[0] + 1 :]


def _selection(entry: Any, extent: int, axis: int) -> tuple[int, int, Any]:
    """Return the first element and the number of elements of the range around an entry, and the entry within it."""
    if not isinstance(entry, slice):
        return _checked(entry, extent, axis) % extent, 1, 0
    start, stop, step = entry.indices(extent)
    if step == 1:
        return (start, stop - start, _ALL) if start < stop else (0, 0, _ALL)
    chosen = range(start, stop, step)
    if not chosen:
        return 0, 0, _ALL
    first, last = min(chosen[0], chosen[-1]), max(chosen[0], chosen[-1])
    # The range begins and ends with a chosen element, so a step in either direction meets all of them.
    return first, last - first + 1, slice(None, None, step)


def _checked(entry: Any, extent: int, axis: int) -> Any:
    if isinstance(entry, slice):
        return entry
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
    return place
