"""Regions as Python values: pairs of origin and size."""

from __future__ import annotations

import operator
from collections.abc import Iterator, Sequence
from typing import TYPE_CHECKING, Any, Callable

import numpy

import _zarnik
import zarnik._classes as _classes
from zarnik._axes import Axes, dimensions_of_array
from zarnik._calls import flat
from zarnik._extension import extends
from zarnik._types import ELEMENT_TYPES
from zarnik._values import Value, as_array, items_of, nested
from zarnik._vectors import as_vector

_REGIONS = {
    _classes.Region2u64: _classes.Vector2u64,
    _classes.Region3u64: _classes.Vector3u64,
    _classes.Region4u64: _classes.Vector4u64,
    _classes.RegionXu64: _classes.VectorXu64,
}


def _places_of(axes: Axes | None, rank: int) -> list[int]:
    """Return, for each axis of an array, the place of its dimension in the library's order."""
    dimensions = dimensions_of_array(axes, (0,) * rank, what="a region")
    canonical = sorted(dimensions)
    return [canonical.index(dimension) for dimension in dimensions]


def _extent(entry: Any, length: int | None) -> tuple[int, int]:
    if not isinstance(entry, slice):
        index = operator.index(entry)
        if length is not None and -length <= index < length:
            return index % length, 1
        if length is None and index < 0:
            raise IndexError(f"{index} counts from the end: the shape of the array is needed")
        if length is not None:
            raise IndexError(f"index {index} is outside of an axis of length {length}")
        return index, 1
    if entry.step not in (None, 1):
        raise ValueError(f"a region has no step, got {entry}")
    if length is None:
        if entry.stop is None or entry.stop < 0 or (entry.start or 0) < 0:
            raise ValueError(f"{entry} counts from the end: the shape of the array is needed")
        start, stop = operator.index(entry.start or 0), operator.index(entry.stop)
    else:
        start, stop, _ = entry.indices(length)
    return start, max(stop - start, 0)


@extends("Region*")
class _Region(Value):
    """A region is a pair: `origin, size = region`."""

    if TYPE_CHECKING:

        def get_origin(self) -> Any: ...
        def get_size(self) -> Any: ...

    @property
    def origin(self) -> Any:
        """The first corner of the region, a copy."""
        return self.get_origin()

    @property
    def size(self) -> Any:
        """The extent of the region along each axis, a copy."""
        return self.get_size()

    def __len__(self) -> int:
        return 2

    def __iter__(self) -> Iterator[Any]:
        return iter((self.get_origin(), self.get_size()))

    def __getitem__(self, index: Any) -> Any:
        return (self.get_origin(), self.get_size())[index]

    def __eq__(self, given: object) -> Any:
        """Compare with a region or a pair of sequences; empty regions are equal if they have the same origin."""
        cls: Any = type(self)
        other: Any = given
        if not isinstance(given, cls):
            if type(given) in _REGIONS:
                items: list[Any] | None = [other.get_origin(), other.get_size()]
            else:
                items = items_of(other)
            if items is None or len(items) != 2:
                return NotImplemented
            try:
                other = cls(*items)
            except (TypeError, ValueError, OverflowError, _classes.Error):
                return False
        if len(other.get_origin()) != len(self.get_origin()):
            return False
        return getattr(flat, f"{cls.__name__}___eq__")(self, other)

    def __contains__(self, other: Any) -> bool:
        return self.contains(other)

    def contains(self, other: Any) -> bool:
        """Tell whether a region, or a point, is inside of this region.

        :raises InvalidArgument: if the other has not as many dimensions.
        """
        cls: Any = type(self)
        if not isinstance(other, cls):
            other = as_vector(_REGIONS[cls], other)
        return bool(getattr(flat, f"{cls.__name__}_contains")(self, other))

    def slices(self, axes: Axes | None = None) -> tuple[slice, ...]:
        """Return the region as slices of an array: `array[region.slices("ZYX")]` is what `read_region` reads.

        :param axes: The axes of the array, such as "TZYXC", as many as the region has; its own are those in the order
            X, Y, Z, C, T. By default X, YX, ZYX or TZYX by their number.
        """
        origin, size = tuple(self.get_origin()), tuple(self.get_size())
        return tuple(slice(origin[place], origin[place] + size[place]) for place in _places_of(axes, len(origin)))

    @classmethod
    def from_slices(cls, slices: Any, axes: Axes | None = None, shape: Sequence[int] | None = None) -> Any:
        """Make a region of slices, or indices of single elements, of the axes of an array.

        :param slices: One for each axis, of step 1.
        :param axes: The axes, see `slices`.
        :param shape: The shape of the array; only needed for slices without an end, or that count from it.
        """
        entries = slices if isinstance(slices, tuple) else (slices,)
        places = _places_of(axes, len(entries))
        if shape is not None and len(shape) != len(entries):
            raise ValueError(f"{len(entries)} slices do not fit an array of shape {tuple(shape)}")
        origin, size = [0] * len(entries), [0] * len(entries)
        for axis, (place, entry) in enumerate(zip(places, entries)):
            origin[place], size[place] = _extent(entry, None if shape is None else operator.index(shape[axis]))
        return cls(origin, size)

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), self._state()

    def __repr__(self) -> str:
        return f"{type(self).__name__}({', '.join(nested(corner) for corner in self._state())})"

    def _state(self) -> tuple[Any, ...]:
        return tuple(self.get_origin()), tuple(self.get_size())

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> numpy.ndarray[Any, Any]:
        return as_array(self._state(), dtype, ELEMENT_TYPES["u64"], copy)


_PLAIN = (tuple, list)
_NARROW = 2**31 - 1


def _region_constructor(generated: Any, vector: Any) -> Callable[..., None]:
    new = getattr(_zarnik, f"new_{generated.__name__}")
    explained = getattr(flat, f"new_{generated.__name__}")

    def __init__(self: Any, *arguments: Any) -> None:
        if len(arguments) == 2:
            made = None
            origin, size = arguments
            # The flat constructor reads 32 bits of each integer: it is for what fits.
            if type(origin) in _PLAIN and type(size) in _PLAIN:
                try:
                    if min(*origin, *size) >= 0 and max(*origin, *size) <= _NARROW:
                        made = new(origin, size)
                except (TypeError, ValueError, OverflowError, SystemError):
                    pass  # told below, with the item at fault
            if made is not None:
                self.this = made
                return
            arguments = tuple(
                corner if type(corner) is vector or items_of(corner) is None else vector(corner) for corner in arguments
            )
        self.this = explained(*arguments)

    __init__.__doc__ = generated.__init__.__doc__
    return __init__


for _generated, _vector in _REGIONS.items():
    _generated.__init__ = _region_constructor(_generated, _vector)  # type: ignore[method-assign]


@extends("RegionXu64")
class _WideRegion:
    @staticmethod
    def from_index(index: Any) -> Any:
        """Return the region of the one element at an index."""
        return flat.RegionXu64_from_index(as_vector(_classes.VectorXu64, index))

    @staticmethod
    def create_full_region(size: Any) -> Any:
        """Utility factory that create the region of origin [0, 0, 0] and given size."""
        return flat.RegionXu64_create_full_region(as_vector(_classes.VectorXu64, size))
